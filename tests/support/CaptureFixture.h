// A board whose sensor streams, with the capture area set to the sensor's whole image.
#pragma once

#include <cstdint>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {

class CaptureFixture : public BoardFixture {
 protected:
  // Streams frames of one byte a pixel, 100 a second.
  void stream(unsigned width, unsigned height);

  // The same, with the capture machinery released and in continuous mode.
  void streamAndRelease(unsigned width, unsigned height);

  // Whether the bytes are one of the first frames.
  bool isAFrame(const std::uint8_t* bytes, std::size_t count) const;

  static constexpr std::uint8_t mark = 0xA5;
};

}  // namespace kvexa::test

// An array capture, and the transfers of its start and its stop.
#pragma once

#include <string>

#include "tests/usb/FrameRing.h"

namespace kvexa::test {

class ArrayFixture : public FrameRingTest {
 protected:
  std::int32_t start(std::uint32_t milliseconds = timeout) {
    return kVexaMultiShotCapArrayStart(&handle, frameBytes, ring->size(), ring->buffers.data(), milliseconds,
                                       ring->handles.data(), wordAddress());
  }

  std::int32_t stop() {
    const auto code = kVexaMultiShotCapArrayStop(&handle);
    join();
    return code;
  }

  // Starts with a worker that ends without a frame, on a board whose engine has drained at the n-th
  // reading of its status after the stop, and stops.
  std::int32_t stopDrainingAt(unsigned n, std::uint32_t milliseconds);

  static std::string startTransfers(unsigned control) {
    return boardRead(0x0104) + boardWrite(0x0104, control | 2U) + boardWrite(0x0104, control & ~2U) +
           command(1) + boardWrite(0x0404, 0) + boardWrite(0x0102, 2);
  }

  static std::string drainPolls(unsigned count) { return repeat(count, sleep(10) + simpleRead(2)); }

  static std::string stopTransfers(unsigned control, unsigned polls) {
    return boardWrite(0x0102, 0) + drainPolls(polls) + simpleWrite(2, 0) + boardRead(0x0104) +
           boardWrite(0x0104, control | 2U) + boardWrite(0x0104, control & ~2U) + command(1);
  }
};

}  // namespace kvexa::test

// Frames as the checks get them: when each came, its number, and whether it is like the ones before.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "selftest/Check.h"
#include "selftest/Rig.h"

namespace cli::selftest {

struct Arrival {
  std::uint64_t at = 0;      // microseconds
  std::uint32_t number = 0;  // as the sensor draws it
  std::vector<std::uint8_t> bytes;
};

// A manual-reset event and a capture's result word go with every capture.
inline constexpr std::uint32_t guardBytes = 512;
inline constexpr std::uint8_t guardMark = 0xC3;

// Whether the sensor's numbers can be read from frames of these parameters.
bool showsNumbers(const Rig& rig, const CapParam& parameters);

// The number that the sensor draws: a row of cells of 4 pixels, white for 1, most significant bit first.
std::uint32_t drawnNumber(std::span<const std::uint8_t> frame);

// So many frames by kVexaMultiShotCaptureEx, which counts.
std::vector<Arrival> captureCounted(const Rig& rig, std::uint32_t frames);

// So many frames of a USB board through a ring or an array of buffers.
enum class Buffers { ring, array };
std::vector<Arrival> captureThrough(const Rig& rig, Buffers kind, std::uint32_t frames);

// Frames follow one another, none is late, and nothing but the number changes.
void expectSequence(const Rig& rig, const std::vector<Arrival>& frames);
void expectNumbers(const Rig& rig, const std::vector<Arrival>& frames);

}  // namespace cli::selftest

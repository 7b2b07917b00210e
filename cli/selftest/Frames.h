// Frames as the checks get them: when each came, its number, and whether it is like the ones before.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "cli/selftest/Check.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

struct Arrival {
  std::uint64_t at = 0;      // microseconds
  std::uint32_t number = 0;  // as the sensor draws it
  std::vector<std::uint8_t> bytes;
};

// Behind the memory of a capture, where nothing may be written.
inline constexpr std::uint32_t guardBytes = 512;
inline constexpr std::uint8_t guardMark = 0xC3;

// Whether all of it holds the mark.
bool isMarked(std::span<const std::uint8_t> bytes);

// Whether the sensor's numbers can be read from frames of these parameters.
bool showsNumbers(const Rig& rig, const CapParam& parameters);

// The number that the sensor draws: a row of cells of 4 pixels, white for 1, most significant bit first.
std::uint32_t drawnNumber(std::span<const std::uint8_t> frame);

// So many frames by kVexaMultiShotCaptureEx, which counts.
std::vector<Arrival> captureCounted(const Rig& rig, std::uint32_t frames);

Arrival arrivalOf(const Rig& rig, std::span<const std::uint8_t> bytes, std::uint64_t at);

// So many frames of a USB board through a ring or an array of buffers.
enum class Buffers { ring, array };
std::vector<Arrival> captureThrough(const Rig& rig, Buffers kind, std::uint32_t frames);

// Frames follow one another, none is late, and nothing but the number changes.
void expectSequence(const Rig& rig, const std::vector<Arrival>& frames);
void expectBehind(std::uint32_t before, std::uint32_t step, std::uint32_t found);
void expectNumbers(const Rig& rig, const std::vector<Arrival>& frames);

}  // namespace cli::selftest

// What is wrong with one simulated board by its build, as long as it lives. Faults happen to requests; a
// defect is there in every one of them.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace sim {

enum class Defect : unsigned {
  // registers of the board
  stuckBit,          // bit 4 of the capture area's registers reads 1
  swappedBytes,      // the two low bytes of what a board register reads change places
  stuckAddressLine,  // the registers of the lines' range answer as those of the columns' range
  lostWrite,         // every seventh write of a board register is lost
  deadSupply,        // the second supply does not come on
  crossedSupplies,   // the two supplies change places when they are read
  changingVersion,   // the version differs from one reading to the next
  frozenOutputs,     // the output lines keep what was first written

  // the sensor bus
  wrongAcknowledge,  // something acknowledges at every address
  unpoweredSensor,   // the sensor answers without supply and clock
  lyingStatus,       // errors of the sensor bus are not told
  stayingStatus,     // USB: an error stays in the status until the next good transfer
  lostSensorBit,     // bit 0 of what is read from the sensor is 0
  repeatedAddress,   // a block write writes all its bytes to its first register
  repeatedRead,      // a block read reads all its bytes from its first register
  shortBatch,        // USB: of the transfers of a packet the first alone is made
  staleAnswer,       // USB: a read of a board register answers with what the one before it read
  keptRegisters,     // a reset leaves the sensor's registers as they are

  // frames
  lateFrame,         // every fifth frame comes half a period late
  shortFrame,        // frames lack their last lines
  longFrame,         // USB: frames have lines too many
  repeatedFrame,     // every fourth frame shows the one before it
  lostFrame,         // every sixth frame is lost and nothing tells
  unreportedDrop,    // USB: frames that find no room are not told
  falseDrop,         // USB: frames count as dropped that were not
  rateOff,           // the frame period reads two percent too long
  heightOff,         // the measured height lacks a line
  ignoredArea,       // the capture area begins in the corner
  ignoredReduction,  // every column and line is captured
  ignoredSkip,       // no frame is passed over
  swappedSamples,    // neighbouring bytes of a frame change places
  flippedPixel,      // a pixel of every third frame is wrong
  swappedStorage,    // USB: stored frames leave the memory in the wrong order
  earlySync,         // USB: waiting for the vertical sync ends at once

  // how captures end
  ignoredAbort,      // a stop does nothing
  doubleCompletion,  // PCIe: an interval is told twice
  slowTimeout,       // time-outs take twice as long
  sharedCapture,     // PCIe: a second capture does not hear that one runs

  // PCIe boards
  looseUnlock,  // memory is unlocked that was not locked
  brokenLut,    // bit 9 of the look-up table's words behind the first block is 0

  count
};

// The name of a defect in a description: "stuck-bit".
struct DefectName {
  std::string_view name;
  Defect defect;
  bool onUsb;
  bool onPcie;
};
std::span<const DefectName> defectNames();

// May be asked on any thread.
class Defects {
 public:
  void add(Defect defect) { all_.fetch_or(bit(defect)); }
  bool has(Defect defect) const { return (all_.load() & bit(defect)) != 0; }

  // ---- what they make of things

  // Microseconds by which a frame comes after its end.
  std::uint64_t lateness(std::uint64_t frame, std::uint64_t period) const;

  bool loses(std::uint64_t frame) const { return has(Defect::lostFrame) && frame % 6 == 5; }

  // The number of the frame that is shown in the place of a frame.
  std::uint64_t shown(std::uint64_t frame) const {
    return has(Defect::repeatedFrame) && frame % 4 == 3 ? frame - 1 : frame;
  }

  // The same where frames fill a stream without gaps: one that is lost is never seen.
  std::uint64_t shownInStream(std::uint64_t frame) const {
    return has(Defect::lostFrame) ? frame + frame / 6 : shown(frame);
  }

  // How long frames are, and what is in them.
  std::uint64_t bytes(std::uint64_t whole) const;
  void spoil(std::uint64_t frame, std::vector<std::uint8_t>& bytes) const;

  // A period of frames as a register tells it.
  std::uint32_t period(std::uint32_t word) const;

  // A board register of the capture area as the host reads it, and a word of any register.
  std::uint32_t areaWord(std::uint32_t value) const { return has(Defect::stuckBit) ? value | 0x10 : value; }
  std::uint32_t word(std::uint32_t value) const;
  std::uint32_t switches(std::uint32_t value) const;

  // Counts a write; whether it is lost.
  bool losesWrite() { return has(Defect::lostWrite) && ++writes_ % 7 == 0; }

 private:
  static_assert(static_cast<unsigned>(Defect::count) <= 64);
  static constexpr std::uint64_t bit(Defect defect) {
    return std::uint64_t{1} << static_cast<unsigned>(defect);
  }

  std::atomic<std::uint64_t> all_{0};
  std::atomic<unsigned> writes_{0};
};

}  // namespace sim

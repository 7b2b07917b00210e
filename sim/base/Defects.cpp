#include "sim/base/Defects.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

constexpr std::uint64_t lineBytes = 1024;  // so much of a frame lacks, or is too much

constexpr DefectName names[] = {
    {"stuck-bit", Defect::stuckBit, true, true},
    {"swapped-bytes", Defect::swappedBytes, true, true},
    {"stuck-address-line", Defect::stuckAddressLine, true, true},
    {"lost-write", Defect::lostWrite, true, true},
    {"dead-supply", Defect::deadSupply, true, true},
    {"crossed-supplies", Defect::crossedSupplies, true, true},
    {"changing-version", Defect::changingVersion, true, true},
    {"frozen-outputs", Defect::frozenOutputs, true, true},
    {"wrong-acknowledge", Defect::wrongAcknowledge, true, true},
    {"unpowered-sensor", Defect::unpoweredSensor, true, true},
    {"lying-status", Defect::lyingStatus, true, true},
    {"staying-status", Defect::stayingStatus, true, false},
    {"lost-sensor-bit", Defect::lostSensorBit, true, true},
    {"repeated-address", Defect::repeatedAddress, true, true},
    {"repeated-read", Defect::repeatedRead, true, true},
    {"short-batch", Defect::shortBatch, true, false},
    {"stale-answer", Defect::staleAnswer, true, false},
    {"kept-registers", Defect::keptRegisters, true, true},
    {"late-frame", Defect::lateFrame, true, true},
    {"short-frame", Defect::shortFrame, true, true},
    {"long-frame", Defect::longFrame, true, false},
    {"repeated-frame", Defect::repeatedFrame, true, true},
    {"lost-frame", Defect::lostFrame, true, true},
    {"unreported-drop", Defect::unreportedDrop, true, false},
    {"false-drop", Defect::falseDrop, true, false},
    {"rate-off", Defect::rateOff, true, true},
    {"height-off", Defect::heightOff, true, true},
    {"ignored-area", Defect::ignoredArea, true, true},
    {"ignored-reduction", Defect::ignoredReduction, true, true},
    {"ignored-skip", Defect::ignoredSkip, true, true},
    {"swapped-samples", Defect::swappedSamples, true, true},
    {"flipped-pixel", Defect::flippedPixel, true, true},
    {"swapped-storage", Defect::swappedStorage, true, false},
    {"early-sync", Defect::earlySync, true, false},
    {"ignored-abort", Defect::ignoredAbort, true, true},
    {"double-completion", Defect::doubleCompletion, false, true},
    {"slow-time-out", Defect::slowTimeout, true, true},
    {"shared-capture", Defect::sharedCapture, false, true},
    {"loose-unlock", Defect::looseUnlock, false, true},
    {"broken-lut", Defect::brokenLut, false, true},
};
static_assert(std::size(names) == static_cast<unsigned>(Defect::count));

}  // namespace

std::span<const DefectName> defectNames() { return names; }

std::uint64_t Defects::lateness(std::uint64_t frame, std::uint64_t period) const {
  return has(Defect::lateFrame) && frame % 5 == 4 ? period / 2 : 0;
}

std::uint64_t Defects::bytes(std::uint64_t whole) const {
  if (has(Defect::shortFrame)) return whole - std::min(whole, lineBytes);
  return has(Defect::longFrame) && whole != 0 ? whole + lineBytes : whole;
}

void Defects::spoil(std::uint64_t frame, std::vector<std::uint8_t>& bytes) const {
  if (has(Defect::swappedSamples)) {
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
  }
  if (has(Defect::flippedPixel) && frame % 3 == 2 && !bytes.empty()) bytes[bytes.size() / 2] ^= 0x20;
}

std::uint32_t Defects::period(std::uint32_t word) const {
  constexpr std::uint32_t toggle = 0x8000;
  if (!has(Defect::rateOff)) return word;
  const std::uint32_t units = word & (toggle - 1);
  return (word & toggle) | std::min(units + (units + 25) / 50, toggle - 1);
}

std::uint32_t Defects::word(std::uint32_t value) const {
  if (!has(Defect::swappedBytes)) return value;
  return (value & 0xFFFF0000U) | (value & 0xFFU) << 8 | (value >> 8 & 0xFFU);
}

std::uint32_t Defects::switches(std::uint32_t value) const {
  if (!has(Defect::crossedSupplies)) return value;
  return (value & ~3U) | (value & 1U) << 1 | (value >> 1 & 1U);
}

}  // namespace sim

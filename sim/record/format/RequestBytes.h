// What of a driver request's buffers belongs into a recording, and what of it is the same in every run.
#pragma once

#include <cstdint>
#include <span>

#include "sim/record/format/Line.h"

namespace sim::record {

// Bytes of the record that go to the driver: without the room for data that come back.
std::uint32_t bytesThatGoIn(std::uint32_t code, std::span<const std::uint8_t> record);

// Up to the last byte that the driver has changed.
std::uint32_t changedBytes(std::span<const std::uint8_t> before, std::span<const std::uint8_t> after);

// Whether the byte of what goes in is part of an address or a handle, which differs from run to run.
bool isAddress(std::uint32_t code, std::uint32_t at);

// The first byte in which two requests' inputs differ, addresses left out; their size when they are alike,
// and no more than the smaller size when one is longer.
std::uint32_t firstDifference(std::uint32_t code, const Bytes& a, const Bytes& b);

inline bool sameInput(std::uint32_t code, const Bytes& a, const Bytes& b) {
  return a.size == b.size && firstDifference(code, a, b) == a.size;
}

// The first word that came out; 0 when none did.
std::uint32_t statusWord(const Line& line);

// Whether an answer tells of a failure.
bool isFailure(const Line& line);

inline bool sameBytes(const Bytes& a, const Bytes& b) { return sameInput(0, a, b); }

}  // namespace sim::record

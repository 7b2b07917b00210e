// Sensor transfers of the PCIe board: single words, and blocks that may come in several chunks.
#pragma once

#include <cstdint>
#include <span>

#include "sim/base/Faults.h"
#include "sim/sensor/Sensor.h"

namespace sim::pcie {

// One register byte a word, in the word's low byte. Each takes the request's record, fills what it reads, and
// gives the driver's status word.
std::uint32_t transferSensorWord(Sensor& sensor, const Faults& faults, bool isWrite,
                                 std::span<std::uint32_t> record);
std::uint32_t transferSensorBlock(Sensor& sensor, const Faults& faults, bool isWrite,
                                  std::span<std::uint32_t> record);

}  // namespace sim::pcie

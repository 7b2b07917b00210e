// Result codes in words.
#pragma once

#include <cstdint>
#include <string>

namespace cli {

// "-57 (the device on the sensor bus did not acknowledge)"
std::string describe(std::int32_t result);

}  // namespace cli

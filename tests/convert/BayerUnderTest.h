// The converter that these tests call: through the DLL on Windows, directly in the native build.
#pragma once

#include <cstdint>

namespace kvexa::test::undertest {

std::int32_t raw8ToRgb888(const std::uint8_t* source, std::uint8_t* destination, std::uint32_t width,
                          std::uint32_t height, std::uint32_t pattern);

}  // namespace kvexa::test::undertest

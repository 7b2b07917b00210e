// The file readers and frame sizes that these tests call: through the DLL on Windows (with the content
// in a temporary file), directly in the native build.
#pragma once

#include <cstdint>
#include <string>

#include "kvexa.h"

namespace kvexa::test::undertest {

std::int32_t readCapParam(const std::string& content, CapParam& param);

std::int32_t readRegisterTable(const std::string& content, RegisterTableEntry* table,
                               std::uint32_t& lineCount);

std::uint32_t calcFrameSize(const CapParam& param, std::uint32_t alignment);

std::int32_t calcFrameSizeEx(const CapParam* param, std::uint32_t* frameBytes, std::uint32_t* bytesPerUnit,
                             std::uint32_t* width, std::uint32_t* height, std::uint32_t alignment);

}  // namespace kvexa::test::undertest

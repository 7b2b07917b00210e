// The version in the resources of a file.
#pragma once

#include <cstdint>

namespace kvexa::win32 {

// The four digits of the file's product version, as hexadecimal digits: 1.0.2.3 gives 0x1023. Each product
// version that the file has is also printed to the standard output; the last one counts. False when the file
// has none, or one of another number of digits; then the version stays as it was.
bool readFileVersion(const char* path, std::uint32_t& version);

// The same for a driver's file, by its name.
bool readDriverVersion(const char* name, std::uint32_t& version);

// The same for this library's own file.
bool readLibraryVersion(std::uint32_t& version);

}  // namespace kvexa::win32

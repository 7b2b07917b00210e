// Names of files: arguments and the library's names are in the ANSI code page, the rest of the tool asks
// Windows with wide characters, and JSON and descriptions of boards are UTF-8.
#pragma once

#include <filesystem>
#include <string>

namespace cli {

std::filesystem::path toPath(const std::string& ansi);
std::string toUtf8(const std::string& ansi);

// For people, in the ANSI code page; characters that it lacks are replaced.
std::string shownName(const std::filesystem::path& path);

// From the root of its drive, in UTF-8.
std::string absoluteUtf8(const std::string& ansi);

// The ending of a name in lower case, with its point: ".bmp"; empty without one.
std::string endingOf(const std::string& name);

bool isFolder(const std::string& ansi);

}  // namespace cli

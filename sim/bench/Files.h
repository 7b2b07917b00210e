// Files of a description. Their names are UTF-8, so that every name of Windows can be said.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

std::wstring wideText(std::string_view utf8);
std::string utf8Text(std::wstring_view wide);

// The whole file; nothing when it cannot be read or is larger.
std::optional<std::string> readWholeFile(const std::string& path, std::uint64_t mostBytes);

// "C:\boards" of "C:\boards\two.toml"; "." of a name alone.
std::string folderOf(const std::string& path);

// The path of a file that a description in the folder names.
std::string inFolder(const std::string& folder, const std::string& name);

// From the root of its drive.
std::string absolutePath(const std::string& path);

}  // namespace sim

#include "sim/machine/SystemFiles.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace sim {

namespace {

// The layout of a block is this simulation's own: a mark, the number of entries, the table of languages and
// code pages as Windows has it, then a text with its end for each entry.
constexpr std::string_view mark = "simulated version block";
constexpr std::size_t countAt = 24;
constexpr std::size_t tableAt = countAt + 4;
constexpr std::size_t pairBytes = 4;
constexpr char missing = 1;  // in the place of a text that is not there

void append(std::vector<std::uint8_t>& block, const void* bytes, std::size_t count) {
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  block.insert(block.end(), first, first + count);
}

std::uint32_t countOf(const char* block) {
  std::uint32_t count = 0;
  std::memcpy(&count, block + countAt, sizeof count);
  return count;
}

std::string nameOf(const std::uint16_t* pair) {
  char name[64];
  std::snprintf(name, sizeof name, "\\StringFileInfo\\%04x%04x\\ProductVersion", pair[0], pair[1]);
  return name;
}

}  // namespace

SystemFiles::SystemFiles() {
  for (const char* driver : {"KVEXAu.sys", "KVEXAPCIE.sys"}) {
    set(driverPath(driver), {{0x0409, 0x04B0, "1.0.0.0"}});
  }
}

std::string SystemFiles::driverPath(const std::string& name) const {
  return windowsDirectory_ + "\\System32\\drivers\\" + name;
}

void SystemFiles::set(const std::string& path, const std::vector<ProductVersion>& versions) {
  const std::lock_guard lock(mutex_);
  files_[key(path)] = versions;
}

void SystemFiles::remove(const std::string& path) {
  const std::lock_guard lock(mutex_);
  files_.erase(key(path));
}

std::optional<std::vector<std::uint8_t>> SystemFiles::versionBlock(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(key(path));
  std::vector<std::uint8_t> block;
  if (found == files_.end()) {
    const bool isOurs = key(path).starts_with(key(windowsDirectory_) + "\\");
    return isOurs ? std::optional(block) : std::nullopt;
  }
  if (found->second.empty()) return block;
  append(block, mark.data(), mark.size());
  block.resize(countAt);
  const auto count = static_cast<std::uint32_t>(found->second.size());
  append(block, &count, sizeof count);
  for (const ProductVersion& version : found->second) {
    append(block, &version.language, sizeof version.language);
    append(block, &version.codePage, sizeof version.codePage);
  }
  for (const ProductVersion& version : found->second) {
    const std::string text = version.text.value_or(std::string(1, missing));
    append(block, text.c_str(), text.size() + 1);
  }
  return block;
}

bool SystemFiles::isBlock(const void* block) {
  return std::memcmp(block, mark.data(), std::min<std::size_t>(mark.size(), 4)) == 0;
}

const void* SystemFiles::query(const void* block, const std::string& name, std::uint32_t& length) {
  const auto* bytes = static_cast<const char*>(block);
  const std::uint32_t count = countOf(bytes);
  if (name == "\\VarFileInfo\\Translation") {
    length = static_cast<std::uint32_t>(count * pairBytes);
    return bytes + tableAt;
  }
  const char* text = bytes + tableAt + count * pairBytes;
  for (std::uint32_t i = 0; i < count; ++i, text += std::strlen(text) + 1) {
    std::uint16_t pair[2];
    std::memcpy(pair, bytes + tableAt + i * pairBytes, sizeof pair);
    if (name != nameOf(pair) || *text == missing) continue;
    length = static_cast<std::uint32_t>(std::strlen(text) + 1);
    return text;
  }
  return nullptr;
}

std::string SystemFiles::key(const std::string& path) {
  std::string lower = path;
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower;
}

}  // namespace sim

// Reads a TIFF file as its format says, and refuses what is not allowed.
#pragma once

#include <map>
#include <stdexcept>
#include <vector>

#include "tests/pictures/Samples.h"

namespace samples {

struct Tag {
  std::uint32_t type = 0;
  std::uint32_t count = 0;
  pictures::Bytes value;

  std::vector<std::uint32_t> numbers() const {
    const unsigned size = type == 3 ? 2 : type == 1 || type == 2 ? 1 : 4;
    std::vector<std::uint32_t> result;
    for (std::size_t i = 0; i < value.size(); i += size) result.push_back(littleAt(value, i, size));
    return result;
  }
  std::string text() const { return {value.begin(), value.end() - 1}; }
};

inline std::map<std::uint32_t, Tag> readTags(const pictures::Bytes& file) {
  const std::map<std::uint32_t, std::uint32_t> sizes{{1, 1}, {2, 1}, {3, 2}, {4, 4}, {5, 8}, {10, 8}};
  if (littleAt(file, 0, 2) != 0x4949 || littleAt(file, 2, 2) != 42)
    throw std::runtime_error("no TIFF header");
  std::size_t place = littleAt(file, 4, 4);
  const std::uint32_t count = littleAt(file, place, 2);
  place += 2;
  std::map<std::uint32_t, Tag> tags;
  for (std::uint32_t i = 0; i < count; ++i, place += 12) {
    const std::uint32_t number = littleAt(file, place, 2);
    if (!tags.empty() && tags.rbegin()->first >= number) throw std::runtime_error("tags are not in order");
    Tag tag{littleAt(file, place + 2, 2), littleAt(file, place + 4, 4), {}};
    const std::size_t bytes = std::size_t{tag.count} * sizes.at(tag.type);
    const std::size_t from = bytes <= 4 ? place + 8 : littleAt(file, place + 8, 4);
    if (from % 2 != 0 || from + bytes > file.size()) throw std::runtime_error("a value is misplaced");
    tag.value.assign(file.begin() + static_cast<std::ptrdiff_t>(from),
                     file.begin() + static_cast<std::ptrdiff_t>(from + bytes));
    tags[number] = tag;
  }
  if (littleAt(file, place, 4) != 0) throw std::runtime_error("there is a second directory");
  return tags;
}

// The bytes of the one strip, which end the file.
inline pictures::Bytes readStrip(const pictures::Bytes& file) {
  const auto tags = readTags(file);
  const std::uint32_t offset = tags.at(273).numbers().at(0);
  const std::uint32_t length = tags.at(279).numbers().at(0);
  if (std::size_t{offset} + length != file.size())
    throw std::runtime_error("the strip does not end the file");
  return {file.begin() + offset, file.end()};
}

}  // namespace samples

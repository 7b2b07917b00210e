#include "cli/pictures/TagDirectory.h"

#include <utility>

namespace pictures {

namespace {

// Types of values.
constexpr std::uint16_t byteType = 1;
constexpr std::uint16_t textType = 2;
constexpr std::uint16_t shortType = 3;
constexpr std::uint16_t longType = 4;
constexpr std::uint16_t ratioType = 5;
constexpr std::uint16_t signedRatioType = 10;

constexpr std::uint16_t stripOffsets = 273;
constexpr std::uint16_t stripByteCounts = 279;

constexpr std::size_t headerSize = 8;
constexpr std::size_t entrySize = 12;
constexpr std::size_t inEntry = 4;  // bytes of a value that stand in its entry

Bytes ratioBytes(std::span<const Ratio> values) {
  Bytes bytes;
  for (const Ratio& ratio : values) {
    appendLittle<4>(bytes, static_cast<std::uint32_t>(ratio.numerator));
    appendLittle<4>(bytes, static_cast<std::uint32_t>(ratio.denominator));
  }
  return bytes;
}

}  // namespace

void TagDirectory::add(std::uint16_t tag, std::uint16_t type, std::size_t count, Bytes value) {
  entries_[tag] = {type, static_cast<std::uint32_t>(count), std::move(value)};
}

void TagDirectory::addBytes(std::uint16_t tag, std::initializer_list<std::uint8_t> values) {
  add(tag, byteType, values.size(), values);
}

void TagDirectory::addText(std::uint16_t tag, const std::string& text) {
  Bytes bytes(text.begin(), text.end());
  bytes.push_back(0);
  const std::size_t count = bytes.size();
  add(tag, textType, count, std::move(bytes));
}

void TagDirectory::addShorts(std::uint16_t tag, std::initializer_list<std::uint16_t> values) {
  Bytes bytes;
  for (const std::uint16_t value : values) appendLittle<2>(bytes, value);
  add(tag, shortType, values.size(), std::move(bytes));
}

void TagDirectory::addLongs(std::uint16_t tag, std::initializer_list<std::uint32_t> values) {
  Bytes bytes;
  for (const std::uint32_t value : values) appendLittle<4>(bytes, value);
  add(tag, longType, values.size(), std::move(bytes));
}

void TagDirectory::addRatios(std::uint16_t tag, std::span<const Ratio> values) {
  add(tag, ratioType, values.size(), ratioBytes(values));
}

void TagDirectory::addSignedRatios(std::uint16_t tag, std::span<const Ratio> values) {
  add(tag, signedRatioType, values.size(), ratioBytes(values));
}

Bytes TagDirectory::fileAround(std::span<const std::uint8_t> samples) {
  addLongs(stripByteCounts, {static_cast<std::uint32_t>(samples.size())});
  addLongs(stripOffsets, {0});
  const std::size_t valuesStart = headerSize + 2 + entries_.size() * entrySize + 4;
  std::size_t end = valuesStart;
  for (const auto& [tag, entry] : entries_) {
    if (entry.value.size() > inEntry) end += (entry.value.size() + 1) / 2 * 2;  // offsets are even
  }
  addLongs(stripOffsets, {static_cast<std::uint32_t>(end)});

  Bytes file{'I', 'I'};
  file.reserve(end + samples.size());
  appendLittle<2>(file, 42);
  appendLittle<4>(file, headerSize);  // where the directory stands
  appendLittle<2>(file, static_cast<std::uint32_t>(entries_.size()));
  std::size_t place = valuesStart;
  for (const auto& [tag, entry] : entries_) {
    appendLittle<2>(file, tag);
    appendLittle<2>(file, entry.type);
    appendLittle<4>(file, entry.count);
    if (entry.value.size() > inEntry) {
      appendLittle<4>(file, static_cast<std::uint32_t>(place));
      place += (entry.value.size() + 1) / 2 * 2;
    } else {
      file.insert(file.end(), entry.value.begin(), entry.value.end());
      file.resize(file.size() + inEntry - entry.value.size());
    }
  }
  appendLittle<4>(file, 0);  // no further directory
  for (const auto& [tag, entry] : entries_) {
    if (entry.value.size() <= inEntry) continue;
    file.insert(file.end(), entry.value.begin(), entry.value.end());
    file.resize(file.size() + file.size() % 2);
  }
  file.insert(file.end(), samples.begin(), samples.end());
  return file;
}

}  // namespace pictures

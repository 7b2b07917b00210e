// The tags of a TIFF file, of which DNG is a kind: little-endian, one directory, one strip.
#pragma once

#include <initializer_list>
#include <map>
#include <span>
#include <string>

#include "cli/pictures/Bytes.h"

namespace pictures {

struct Ratio {
  std::int32_t numerator;
  std::int32_t denominator;
};

class TagDirectory {
 public:
  void addBytes(std::uint16_t tag, std::initializer_list<std::uint8_t> values);
  void addText(std::uint16_t tag, const std::string& text);
  void addShorts(std::uint16_t tag, std::initializer_list<std::uint16_t> values);
  void addLongs(std::uint16_t tag, std::initializer_list<std::uint32_t> values);
  void addRatios(std::uint16_t tag, std::span<const Ratio> values);  // not below 0
  void addSignedRatios(std::uint16_t tag, std::span<const Ratio> values);

  // The whole file: header, directory, the values that do not fit into it, the samples. The strip's offset
  // and length are added.
  Bytes fileAround(std::span<const std::uint8_t> samples);

 private:
  struct Entry {
    std::uint16_t type;
    std::uint32_t count;
    Bytes value;
  };

  void add(std::uint16_t tag, std::uint16_t type, std::size_t count, Bytes value);

  std::map<std::uint16_t, Entry> entries_;  // in the order in which a file must have them
};

}  // namespace pictures

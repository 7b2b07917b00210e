// The keys of the capture-parameter file in the order of the record, and texts of such files.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kvexa.h"

namespace kvexa::test {

struct CapParamField {
  const char* key;
  std::uint16_t CapParam::*member;
};

inline constexpr std::array<CapParamField, 26> capParamFields = {{
    {"CAMPORT", &CapParam::CAMPORT},
    {"SYNCMODE", &CapParam::SYNCMODE},
    {"SOLCODE", &CapParam::SOLCODE},
    {"EOLCODE", &CapParam::EOLCODE},
    {"SOFCODE", &CapParam::SOFCODE},
    {"EOFCODE", &CapParam::EOFCODE},
    {"HPOR", &CapParam::HPOR},
    {"VPOR", &CapParam::VPOR},
    {"HOFF", &CapParam::HOFF},
    {"HCNT", &CapParam::HCNT},
    {"VOFF", &CapParam::VOFF},
    {"VCNT", &CapParam::VCNT},
    {"HREDUCT", &CapParam::HREDUCT},
    {"VREDUCT", &CapParam::VREDUCT},
    {"FRMSKP", &CapParam::FRMSKP},
    {"FRMDROP", &CapParam::FRMDROP},
    {"HWEXCHG", &CapParam::HWEXCHG},
    {"SPACK", &CapParam::SPACK},
    {"PORTMSBBIT", &CapParam::PORTMSBBIT},
    {"BITWIDTH", &CapParam::BITWIDTH},
    {"B2R", &CapParam::B2R},
    {"SMIAIN", &CapParam::SMIAIN},
    {"SMIACLASS", &CapParam::SMIACLASS},
    {"CAMERAFORMAT", &CapParam::CAMERAFORMAT},
    {"INPUTFORMAT", &CapParam::INPUTFORMAT},
    {"EXCHGFORMAT", &CapParam::EXCHGFORMAT},
}};

// The record as its 26 words, in memory order.
inline std::array<std::uint16_t, 26> wordsOf(const CapParam& param) {
  std::array<std::uint16_t, 26> words;
  std::memcpy(words.data(), &param, sizeof param);
  return words;
}

// A record whose every word is `value`.
inline CapParam filledCapParam(std::uint16_t value) {
  CapParam param;
  std::array<std::uint16_t, 26> words;
  words.fill(value);
  std::memcpy(&param, words.data(), sizeof param);
  return param;
}

// The lines of a good file, CAMPORT:1001 to EXCHGFORMAT:1026 and END, to be spoiled by a test.
class CapFileText {
 public:
  CapFileText() {
    unsigned value = 1001;
    for (const auto& field : capParamFields) {
      lines_.push_back(std::string(field.key) + ":" + std::to_string(value++));
    }
    lines_.push_back("END");
  }

  // The line of the key becomes another one.
  CapFileText& replace(const std::string& key, const std::string& line) {
    *find(key) = line;
    return *this;
  }

  CapFileText& remove(const std::string& key) {
    lines_.erase(find(key));
    return *this;
  }

  CapFileText& insertBefore(const std::string& key, const std::string& line, std::size_t count = 1) {
    lines_.insert(find(key), count, line);
    return *this;
  }

  CapFileText& append(const std::string& line) {
    lines_.push_back(line);
    return *this;
  }

  CapFileText& reverseKeys() {
    std::reverse(lines_.begin(), lines_.end() - 1);
    return *this;
  }

  std::string text(const std::string& lineEnd = "\n") const {
    std::string result;
    for (const auto& line : lines_) result += line + lineEnd;
    return result;
  }

  // The last line without its line feed.
  std::string textWithoutLastLineFeed() const {
    std::string result = text();
    result.pop_back();
    return result;
  }

 private:
  std::vector<std::string>::iterator find(const std::string& key) {
    return std::find_if(lines_.begin(), lines_.end(),
                        [&key](const std::string& line) { return line.substr(0, line.find(':')) == key; });
  }

  std::vector<std::string> lines_;
};

}  // namespace kvexa::test

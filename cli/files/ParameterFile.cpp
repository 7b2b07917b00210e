#include "cli/files/ParameterFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <map>
#include <utility>

#include "cli/base/Failure.h"
#include "files/CapParamReader.h"

namespace cli {

namespace {

using kvexa::files::capParamEndKey;
using kvexa::files::capParamKeys;
using kvexa::files::capParamLineLimit;

constexpr std::uint32_t largestValue = 0xFFFF;

std::string upper(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::toupper(c); });
  return result;
}

bool isKey(std::string_view text) {
  return std::ranges::any_of(capParamKeys, [text](const auto& key) { return key.name == text; });
}

// A line as the library takes it apart: a blank drops what follows up to the next colon, and what follows
// every colon is appended to the value.
struct Parts {
  std::string key;
  std::string value;
  bool hasColon = false;
  bool blankAfterColon = false;
  unsigned values = 0;  // pieces that the value is made of
};

Parts take(std::string_view line) {
  enum class State { key, value, dropping } state = State::key;
  Parts parts;
  char before = '\0';
  for (const char byte : line) {
    if (byte == ':') {
      parts.hasColon = true;
      state = State::value;
    } else if (byte == ' ') {
      parts.blankAfterColon = parts.blankAfterColon || (before == ':' && parts.value.empty());
      state = State::dropping;
    } else if (state == State::key) {
      parts.key += byte;
    } else if (state == State::value) {
      if (before == ':') ++parts.values;
      parts.value += byte;
    }
    before = byte;
  }
  return parts;
}

std::string withoutReturn(std::string_view text) {
  return std::string(text.ends_with('\r') ? text.substr(0, text.size() - 1) : text);
}

class Examination {
 public:
  explicit Examination(std::string_view content) {
    if (content.starts_with(byteOrderMark)) {
      remarks_.addFault(1, "",
                        "begins with a byte-order mark, which is read as part of its key: save the file "
                        "without one");
    }
    for (const TextLine& line : linesOf(content)) {
      if (line.number > capParamLineLimit || isEnded_) break;
      examine(line);
    }
    for (const auto& key : capParamKeys) {
      if (!seen_.contains(key.name)) remarks_.addFault(0, key.name, "is missing");
    }
    if (!isEnded_)
      remarks_.addFault(0, capParamEndKey,
                        "is missing, so the library reads on to line " + std::to_string(capParamLineLimit) +
                            " and refuses the file");
  }

  Remarks result() { return std::move(remarks_); }

 private:
  void examine(const TextLine& line) {
    const Parts parts = take(line.text);
    if (line.text.ends_with('\r')) {
      if (!hasReturns_) {
        remarks_.addFault(line.number, "",
                          "ends in a carriage return (so may others); \"END\" with one is not recognised");
      }
      hasReturns_ = true;
    }
    if (!line.isEnded)
      remarks_.addFault(line.number, "", "is the last one and has no line feed, so the file is refused");
    if (parts.key == capParamEndKey) {
      isEnded_ = line.isEnded;
      return;
    }
    if (isKey(parts.key)) {
      examineValue(line.number, parts);
    } else {
      examineOther(line.number, parts);
    }
  }

  void examineValue(unsigned line, const Parts& parts) {
    const auto [place, isNew] = seen_.emplace(parts.key, line);
    if (!isNew) {
      remarks_.add(line, parts.key,
                   "was set in line " + std::to_string(place->second) + " already; the later one counts");
      place->second = line;
    }
    const std::string value = withoutReturn(parts.value);
    if (value.empty()) {
      remarks_.add(
          line, parts.key,
          parts.blankAfterColon ? "a blank after the colon leaves the value empty: 0" : "has no value: 0");
      return;
    }
    if (parts.values > 1)
      remarks_.add(line, parts.key, "a second colon appends to the value: " + quoted(value));
    examineNumber(line, parts.key, value);
  }

  void examineNumber(unsigned line, const std::string& key, const std::string& value) {
    const bool isHexadecimal = value.starts_with("0x") || value.starts_with("0X");
    const bool isOctal = !isHexadecimal && value.size() > 1 && value[0] == '0';
    const std::string digits = isHexadecimal ? value.substr(2) : value;
    const char* allowed = isHexadecimal ? "0123456789abcdefABCDEF" : isOctal ? "01234567" : "0123456789";
    const std::uint32_t number = kvexa::files::parseUnsigned(value.c_str());
    if (digits.empty() || digits.find_first_not_of(allowed) != std::string::npos) {
      remarks_.add(line, key, quoted(value) + " is no whole number; it is read as " + std::to_string(number));
    } else if (isOctal) {
      remarks_.add(line, key, value + " is octal: " + std::to_string(number));
    }
    if (number > largestValue) {
      remarks_.add(line, key, value + " is cut to 16 bits: " + std::to_string(number & largestValue));
    }
  }

  void examineOther(unsigned line, const Parts& parts) {
    const std::string key = withoutReturn(parts.key);
    if (key.empty() && !parts.hasColon) return;  // an empty line
    if (key == capParamEndKey) return;           // reported as a carriage return already
    if (isKey(upper(key))) {
      remarks_.add(line, quoted(key), "is not " + upper(key) + ": keys are in capitals");
    } else if (upper(key) == capParamEndKey) {
      remarks_.add(line, quoted(key), "is not END: it is in capitals");
    } else if (parts.hasColon && !key.starts_with('#') && !key.starts_with('/') && !key.starts_with(';')) {
      remarks_.add(line, quoted(key), "is an unknown key and ignored");
    }
  }

  Remarks remarks_;
  std::map<std::string, unsigned, std::less<>> seen_;
  bool isEnded_ = false;
  bool hasReturns_ = false;
};

}  // namespace

Remarks examineParameters(std::string_view content) { return Examination(content).result(); }

std::string causeOfRefusal(const std::string& path) {
  if (!kvexa::files::isCapParamName(path)) return "the name must end in \"dat\", in lower case";
  return examineParameters(readTextFile(path)).fault();
}

std::string describeFormat(const CapParam& parameters) {
  return format("INPUTFORMAT %u with BITWIDTH %u and SPACK %u, SMIAIN %u, %u x %u", parameters.INPUTFORMAT,
                parameters.BITWIDTH, parameters.SPACK, parameters.SMIAIN, parameters.HCNT, parameters.VCNT);
}

}  // namespace cli

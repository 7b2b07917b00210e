#include "files/CapParamReader.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "files/File.h"

namespace kvexa::files {

const std::array<CapParamKey, 26> capParamKeys{{
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

namespace {

constexpr std::size_t valueLimit = 255;

// One line as it is collected. A key has no limit, but what is longer than any key matches none.
class Line {
 public:
  void clear() { *this = Line(); }

  void put(char byte) {
    if (byte == ':') {
      state_ = State::value;
    } else if (byte == ' ') {
      state_ = State::dropping;
    } else if (state_ == State::key) {
      if (keyLength_ < key_.size()) key_[keyLength_++] = byte;
    } else if (state_ == State::value && valueLength_ < valueLimit) {
      value_[valueLength_++] = byte;
    }
  }

  std::string_view key() const { return {key_.data(), keyLength_}; }
  const char* value() const { return value_.data(); }
  bool valueIsFull() const { return valueLength_ >= valueLimit; }

 private:
  enum class State { key, value, dropping };

  State state_ = State::key;
  std::array<char, 32> key_{};
  std::size_t keyLength_ = 0;
  std::array<char, valueLimit + 1> value_{};  // always ends in a zero
  std::size_t valueLength_ = 0;
};

// Stores values in the record and remembers which keys were there.
class Collector {
 public:
  explicit Collector(CapParam& param) : param_(param) {}

  void take(const Line& line) {
    for (std::size_t i = 0; i < capParamKeys.size(); ++i) {
      if (capParamKeys[i].name != line.key()) continue;
      param_.*capParamKeys[i].field = static_cast<std::uint16_t>(parseUnsigned(line.value()));
      seen_ |= 1U << i;
    }
  }

  bool isComplete() const { return std::popcount(seen_) == static_cast<int>(capParamKeys.size()); }

 private:
  CapParam& param_;
  std::uint32_t seen_ = 0;
};

enum class LineEnd { lineFeed, refused };

// Reads up to the next line feed. After the end of the file there are only empty lines.
LineEnd readLine(std::FILE* file, Line& line) {
  line.clear();
  for (int byte = std::getc(file); byte != EOF && byte != '\n'; byte = std::getc(file)) {
    line.put(static_cast<char>(byte));
    const int next = std::getc(file);
    if (next == EOF || line.valueIsFull()) return LineEnd::refused;
    std::ungetc(next, file);
  }
  return LineEnd::lineFeed;
}

}  // namespace

std::uint32_t parseUnsigned(const char* text) {
  constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
  const std::uint64_t number = std::strtoull(text, nullptr, 0);
  const bool isNegative = text[std::strspn(text, " \t\n\v\f\r")] == '-';
  const std::uint64_t magnitude = isNegative ? 0 - number : number;
  if (magnitude > largest) return static_cast<std::uint32_t>(largest);
  return static_cast<std::uint32_t>(number);
}

std::int32_t readCapParam(std::FILE* file, CapParam& param) {
  Collector collector(param);
  std::int32_t result = KVEXA_BAD_ARGUMENT;  // no "END" within the line limit
  Line line;
  for (unsigned i = 0; i < capParamLineLimit; ++i) {
    if (readLine(file, line) == LineEnd::refused) return KVEXA_BAD_FILE;
    collector.take(line);
    if (line.key() == capParamEndKey) {
      result = KVEXA_OK;
      break;
    }
  }
  return collector.isComplete() ? result : KVEXA_BAD_FILE;
}

std::int32_t readCapParamFile(const char* path, CapParam* param) {
  if (path == nullptr || param == nullptr) return KVEXA_BAD_ARGUMENT;
  if (!isCapParamName(path)) return KVEXA_BAD_FILE;
  const File file = openForReading(path);
  return file ? readCapParam(file.get(), *param) : KVEXA_FILE_NOT_OPENED;
}

}  // namespace kvexa::files

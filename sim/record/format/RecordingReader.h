// Reads a recording from its beginning, line by line, in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>

#include "sim/record/format/Line.h"
#include "sim/record/format/LineReader.h"

namespace sim::record {

// File, line and reason.
struct RecordingError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class RecordingReader {
 public:
  // The next bytes of the file; 0 at its end.
  using Source = std::function<std::size_t(std::span<char> buffer)>;

  // Reads the header. Throws RecordingError, as next() does. `name` is what errors call the file.
  RecordingReader(Source source, std::string name);

  // Its texts stay good as long as the reader.
  const Header& header() const { return header_; }

  // False behind the last line. Bytes of the line stay good until the next call.
  bool next(Line& line);

  // Of the line that was read last, from 1; and where it begins in the file.
  std::uint64_t lineNumber() const { return number_; }
  std::uint64_t lineStart() const { return start_; }

  // Whether the last line was the one that a program writes when it ends in order.
  bool hasEnd() const { return hasEnd_; }

 private:
  bool nextText(std::string_view& text);
  void fill();
  void checkOrder(const Line& line);
  [[noreturn]] void fail(const std::string& reason) const;

  Source source_;
  std::string name_;
  std::string window_;
  std::size_t at_ = 0;
  std::uint64_t windowStart_ = 0;  // in the file
  std::uint64_t start_ = 0;
  std::uint64_t number_ = 0;
  std::uint64_t lastEnd_ = 0;
  bool sourceEnded_ = false;
  bool hasEnd_ = false;
  LineMemory headerMemory_;
  LineMemory memory_;
  Header header_;
};

}  // namespace sim::record

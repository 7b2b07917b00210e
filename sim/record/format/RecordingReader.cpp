#include "sim/record/format/RecordingReader.h"

#include <algorithm>
#include <utility>

namespace sim::record {

namespace {

constexpr std::size_t chunkBytes = 0x10000;

}  // namespace

RecordingReader::RecordingReader(Source source, std::string name)
    : source_(std::move(source)), name_(std::move(name)) {
  std::string_view text;
  if (!nextText(text)) {
    number_ = 1;
    fail("is empty, so no recording");
  }
  try {
    header_ = readHeader(text, headerMemory_);
  } catch (const LineError& error) {
    fail(std::string("is no recording: ") + error.what());
  }
  if (header_.format > Header::version) {
    fail("is a recording of format " + std::to_string(header_.format) +
         "; this program reads formats up to " + std::to_string(Header::version));
  }
}

bool RecordingReader::next(Line& line) {
  std::string_view text;
  if (!nextText(text)) return false;
  if (hasEnd_) fail("follows the last line");
  try {
    line = readLine(text, memory_);
  } catch (const LineError& error) {
    fail(error.what());
  }
  checkOrder(line);
  hasEnd_ = line.call == Call::end;
  return true;
}

void RecordingReader::checkOrder(const Line& line) {
  if (line.call == Call::lost || line.call == Call::end) return;
  if (line.e <= lastEnd_)
    fail("comes out of order: e is " + std::to_string(line.e) + " after " + std::to_string(lastEnd_));
  lastEnd_ = line.e;
}

bool RecordingReader::nextText(std::string_view& text) {
  std::size_t end = window_.find('\n', at_);
  while (end == std::string::npos && !sourceEnded_) {
    const std::size_t looked = window_.size() - at_;
    fill();
    end = window_.find('\n', at_ + looked);
  }
  if (at_ == window_.size()) return false;
  start_ = windowStart_ + at_;
  ++number_;
  if (end == std::string::npos) fail("is cut off: the line does not end");
  text = std::string_view(window_).substr(at_, end - at_);
  at_ = end + 1;
  return true;
}

void RecordingReader::fill() {
  windowStart_ += at_;
  window_.erase(0, at_);
  at_ = 0;
  if (window_.size() > longestLine) {
    ++number_;
    fail("is longer than a line of a recording");
  }
  const std::size_t before = window_.size();
  window_.resize(before + chunkBytes);
  const std::size_t count = source_(std::span(window_).subspan(before));
  window_.resize(before + count);
  sourceEnded_ = count == 0;
}

void RecordingReader::fail(const std::string& reason) const {
  throw RecordingError(name_ + ":" + std::to_string(number_) + ": " + reason);
}

}  // namespace sim::record

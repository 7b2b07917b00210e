// The reader of recordings: any bytes give lines or an error that names the line, and what was read is
// written and read again as the same.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sim/record/format/LineReader.h"
#include "sim/record/format/LineText.h"
#include "sim/record/format/RecordingReader.h"

using namespace sim::record;

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

std::string written(const Line& line) {
  static std::vector<char> buffer(longestLine);
  return {buffer.data(), writeLine(line, buffer)};
}

void requireRoundTrip(const Line& line) {
  // Longer texts are cut when they are written.
  const std::string first = written(line);
  LineMemory memory;
  const Line again = readLine(std::string_view(first).substr(0, first.size() - 1), memory);
  require(written(again) == first);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::size_t at = 0;
  const auto source = [&](std::span<char> buffer) {
    const std::size_t count = std::min(buffer.size(), size - at);
    if (count != 0) std::memcpy(buffer.data(), data + at, count);
    at += count;
    return count;
  };
  std::uint64_t lines = 1;
  try {
    RecordingReader reader(source, "file");
    for (Line line; reader.next(line);) {
      require(reader.lineNumber() == ++lines);
      requireRoundTrip(line);
    }
  } catch (const RecordingError& error) {
    require(std::string(error.what()).starts_with("file:"));
  }
  return 0;
}

// A recording in memory, as the replay goes through it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sim/record/format/Line.h"
#include "sim/record/format/LineReader.h"
#include "sim/record/format/RecordingReader.h"

namespace sim::record {

// One line of the file. The rest of it is read again when it is needed.
struct Step {
  std::uint64_t n = 0;
  std::uint64_t e = 0;
  std::uint64_t t = 0;
  std::uint64_t d = 0;
  std::uint64_t holdUntil = 0;  // the thread does not go on before everything up to this order has happened
  std::size_t start = 0;        // in the text
  std::uint32_t length = 0;
  std::uint32_t number = 0;  // of the line
  std::uint32_t thread = 0;
  std::uint32_t completion = 0;  // of a pended request its completion, and of that the request: step + 1
  std::uint32_t key = 0;         // alike for requests with the same content
  BoardName board;
  Call call = Call::end;
  bool isOfFrames = false;  // it fetches a frame
};

class Script {
 public:
  // Throws RecordingError when the file, named in UTF-8, is no recording from its first line to its last.
  explicit Script(const std::string& path);

  const std::string& path() const { return path_; }
  const std::vector<Step>& steps() const { return steps_; }
  Line line(std::uint32_t step, LineMemory& memory) const;
  std::string_view text(std::uint32_t step) const {
    return std::string_view(text_).substr(steps_[step].start, steps_[step].length);
  }
  // The first line.
  std::string_view headingText() const { return std::string_view(text_).substr(0, text_.find('\n')); }

  // Steps of a thread in their order; threads count from 1.
  std::uint32_t threadCount() const { return static_cast<std::uint32_t>(threads_.size()); }
  const std::vector<std::uint32_t>& stepsOf(std::uint32_t thread) const { return threads_[thread - 1]; }

  bool isBoardPath(const char* path) const { return path != nullptr && paths_.contains(path); }
  BoardName boardAt(const char* path) const { return paths_.find(path)->second; }
  bool hasFrames() const { return hasFrames_; }
  bool hasEnd() const { return hasEnd_; }

 private:
  void add(const Line& line, const RecordingReader& reader);
  void joinCompletions();
  void orderThreads();

  std::string path_;
  std::string text_;
  std::vector<Step> steps_;
  std::vector<std::vector<std::uint32_t>> threads_;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> completions_;  // of, step
  std::map<std::string, BoardName> paths_;
  bool hasFrames_ = false;
  bool hasEnd_ = false;
};

// Handles of a replay are the recording's numbers, from 1, and used again after so many.
constexpr std::uint32_t handleSlots = 0x17FF;
constexpr std::uint32_t handleSlot(std::uint32_t number) {
  return number == 0 ? 0 : 1 + (number - 1) % handleSlots;
}

// The board that a call goes to; none for calls that look for boards.
BoardName addressee(const Line& line);

// Whether a request fetches a frame of a capture that goes on.
bool fetchesFrame(const Line& line);

// Whether the same was asked: the call, the board, all that goes in but addresses.
bool sameQuestion(const Line& a, const Line& b);
std::uint32_t questionKey(const Line& line);

}  // namespace sim::record

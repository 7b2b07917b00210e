#include "sim/record/replay/Script.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "sim/bench/Files.h"
#include "sim/pcie/Protocol.h"
#include "sim/record/format/RequestBytes.h"
#include "sim/usb/Protocol.h"

namespace sim::record {

namespace {

constexpr std::uint64_t mostBytes = std::uint64_t{1} << 30;
constexpr std::uint32_t mostThreads = 100000;
constexpr std::uint64_t mostOrder = 1U << 28;

void mixInto(std::uint32_t& key, std::uint32_t value) { key = (key ^ value) * 0x01000193; }

void mixInto(std::uint32_t& key, std::uint32_t code, const Bytes& bytes) {
  for (std::uint32_t i = 0; i < bytes.size; ++i) {
    if (!isAddress(code, i)) mixInto(key, bytes.data[i]);
  }
}

// What a call looks up with its text; of other calls the text is an answer.
Bytes nameAsked(const Line& line) {
  return line.call == Call::path || line.call == Call::folder ? Bytes{} : line.text;
}

}  // namespace

bool fetchesFrame(const Line& line) {
  if (line.call != Call::request) return false;
  return line.code == usb::Control::pipeTransfer
             ? line.a == usb::Pipe::image
             : line.code == static_cast<std::uint32_t>(pcie::Request::interval);
}

BoardName addressee(const Line& line) {
  const bool hasOne = line.call == Call::open || line.call == Call::close || line.call == Call::request;
  return hasOne ? line.board : BoardName{};
}

bool sameQuestion(const Line& a, const Line& b) {
  // A handle is the answer of these calls.
  const bool givesHandle = a.call == Call::open || a.call == Call::list;
  // The number of a device node is an answer too.
  const bool givesNumber = a.call == Call::locate;
  return a.call == b.call && addressee(a) == addressee(b) && a.code == b.code &&
         (givesNumber || a.a == b.a) && a.b == b.b && a.size == b.size &&
         (givesHandle || handleSlot(a.handle) == handleSlot(b.handle)) &&
         sameBytes(nameAsked(a), nameAsked(b)) && sameInput(a.code, a.in, b.in);
}

std::uint32_t questionKey(const Line& line) {
  std::uint32_t key = 0x811C9DC5;
  const BoardName board = addressee(line);
  for (const std::uint32_t each : {static_cast<std::uint32_t>(line.call), board.type, board.index, line.code,
                                   line.call == Call::locate ? 0 : line.a, line.b, line.size}) {
    mixInto(key, each);
  }
  mixInto(key, 0, nameAsked(line));
  mixInto(key, line.code, line.in);
  return key;
}

Script::Script(const std::string& path) : path_(path) {
  auto text = readWholeFile(path, mostBytes);
  if (!text) throw RecordingError(path + ": cannot be read");
  text_ = std::move(*text);
  std::size_t at = 0;
  RecordingReader reader(
      [&](std::span<char> buffer) {
        const std::size_t count = std::min(buffer.size(), text_.size() - at);
        std::memcpy(buffer.data(), text_.data() + at, count);
        at += count;
        return count;
      },
      path);
  hasFrames_ = reader.header().hasFrames;
  Line line;
  while (reader.next(line)) {
    if (line.call != Call::lost && line.call != Call::end) add(line, reader);
  }
  hasEnd_ = reader.hasEnd();
  joinCompletions();
  orderThreads();
}

void Script::add(const Line& line, const RecordingReader& reader) {
  if (line.thread > mostThreads || line.e > mostOrder) {
    throw RecordingError(path_ + ":" + std::to_string(reader.lineNumber()) + ": thread or e is too large");
  }
  Step step;
  step.n = line.n;
  step.e = line.e;
  step.t = line.t;
  step.d = line.d;
  step.start = static_cast<std::size_t>(reader.lineStart());
  step.length = static_cast<std::uint32_t>(text_.find('\n', step.start) - step.start);
  step.number = static_cast<std::uint32_t>(reader.lineNumber());
  step.thread = line.thread;
  step.board = addressee(line);
  step.call = line.call;
  step.key = questionKey(line);
  step.isOfFrames = fetchesFrame(line);
  const auto index = static_cast<std::uint32_t>(steps_.size());
  if (line.call == Call::complete) completions_.emplace_back(line.of, index);
  if (line.call == Call::path || line.call == Call::open) {
    paths_[std::string(reinterpret_cast<const char*>(line.text.data), line.text.size)] = line.board;
  }
  if (line.call != Call::complete) {
    if (line.thread > threads_.size()) threads_.resize(line.thread);
    threads_[line.thread - 1].push_back(index);
  }
  steps_.push_back(step);
}

void Script::joinCompletions() {
  std::ranges::sort(completions_);
  for (std::uint32_t i = 0; i < steps_.size(); ++i) {
    if (steps_[i].call != Call::request) continue;
    const auto found = std::ranges::lower_bound(completions_, std::pair(steps_[i].n, 0U));
    if (found == completions_.end() || found->first != steps_[i].n) continue;
    steps_[i].completion = found->second + 1;
    steps_[found->second].completion = i + 1;
  }
}

// A thread waits for what the others did before its own next call: a loop that looks again and again then
// ends where it ended. But once another thread has set an event, this one may have been woken by it.
void Script::orderThreads() {
  std::vector<std::uint64_t> signals;
  for (const Step& step : steps_) {
    if (step.call == Call::signal) signals.push_back(step.e);
  }
  for (const auto& thread : threads_) {
    for (std::size_t i = 0; i + 1 < thread.size(); ++i) {
      Step& step = steps_[thread[i]];
      step.holdUntil = steps_[thread[i + 1]].n;
      const auto signal = std::ranges::upper_bound(signals, step.e);
      if (signal != signals.end()) step.holdUntil = std::min(step.holdUntil, *signal + 1);
    }
  }
}

Line Script::line(std::uint32_t step, LineMemory& memory) const { return readLine(text(step), memory); }

}  // namespace sim::record

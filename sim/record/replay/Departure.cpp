// What a program did that its recording does not have, in words.
#include <algorithm>

#include "sim/record/format/Description.h"
#include "sim/record/format/RequestBytes.h"
#include "sim/record/replay/Replay.h"

namespace sim::record {

namespace {

std::string hexadecimal(std::uint8_t byte) {
  constexpr char digits[] = "0123456789abcdef";
  return {digits[byte >> 4], digits[byte & 15]};
}

std::string firstDifferenceText(const Line& expected, const Line& came) {
  if (expected.call != came.call) return "another call";
  if (expected.board != came.board || expected.handle != came.handle) return "another board or handle";
  if (expected.code != came.code || expected.a != came.a) return "another request";
  if (expected.b != came.b) {
    return "its second number (a pipe's time-out): " + std::to_string(expected.b) + " expected, " +
           std::to_string(came.b) + " came";
  }
  const std::uint32_t at = firstDifference(came.code, expected.in, came.in);
  if (at < std::min(expected.in.size, came.in.size)) {
    return "byte " + std::to_string(at) + " of what goes in: " + hexadecimal(expected.in.data[at]) +
           " expected, " + hexadecimal(came.in.data[at]) + " came";
  }
  if (expected.in.size != came.in.size) {
    return std::to_string(expected.in.size) + " bytes to go in expected, " + std::to_string(came.in.size) +
           " came";
  }
  if (expected.size != came.size) {
    return std::to_string(expected.size) + " bytes asked for expected, " + std::to_string(came.size) +
           " came";
  }
  return "the text";
}

}  // namespace

std::string Replay::report(const Place* place, const Line& asked) {
  std::string text = "the program departs from " + script_->path() + "\n";
  if (place == nullptr) {
    return text + "  expected:  no further thread, the recording has " + std::to_string(places_.size()) +
           "\n  came:      " + described(asked) + "\n";
  }
  const auto thread = static_cast<std::size_t>(place - places_.data()) + 1;
  if (place->next == place->calls.size()) {
    return text + "  expected:  nothing more of thread " + std::to_string(thread) +
           (script_->hasEnd() ? "" : "; the recording has no last line, its program was ended") +
           "\n  came:      " + described(asked) + "\n" + whereElse(asked, 0);
  }
  const std::uint32_t step = place->steps[place->calls[place->next].position];
  LineMemory memory;
  Line expected = script_->line(step, memory);
  const std::string difference = firstDifferenceText(expected, asked);
  // Both as they were asked.
  expected.moved = 0;
  expected.result = asked.result;
  expected.error = 0;
  expected.pending = false;
  expected.out = {};
  return text + "  expected:  " + described(expected) + "\n  came:      " + described(asked) +
         "\n  where:     thread " + std::to_string(thread) + ", line " +
         std::to_string(script_->steps()[step].number) + "\n  differs:   " + difference + "\n" +
         whereElse(asked, script_->steps()[step].number);
}

// Whether the recording has what came at another place.
std::string Replay::whereElse(const Line& asked, std::uint32_t expected) {
  const std::uint32_t key = questionKey(asked);
  std::uint32_t before = 0;
  for (const Step& step : script_->steps()) {
    if (step.key != key) continue;
    if (step.number > expected && expected != 0) {
      return "  elsewhere: the same comes later, in line " + std::to_string(step.number) + "\n";
    }
    before = step.number;
  }
  if (before != 0) return "  elsewhere: the same came before, in line " + std::to_string(before) + "\n";
  return "  elsewhere: the recording does not have it anywhere\n";
}

std::string Replay::leftOver() const {
  if (options_.isLenient) return {};
  // Of a program that ends no other thread runs.
  std::size_t count = 0;
  const Step* first = nullptr;
  for (const Place& place : places_) {
    if (place.next == place.calls.size() ||
        (isAmongOthers(place, place.next) && onlyRepeats(place.calls, place.next))) {
      continue;
    }
    count += place.calls.size() - place.next;
    const Step& step = script_->steps()[place.steps[place.calls[place.next].position]];
    if (first == nullptr || step.n < first->n) first = &step;
  }
  if (first == nullptr) return {};
  LineMemory memory;
  const auto index = static_cast<std::uint32_t>(first - script_->steps().data());
  return "the program ended before " + script_->path() + ": " + std::to_string(count) +
         " calls did not come, first line " + std::to_string(first->number) +
         "\n  expected:  " + described(script_->line(index, memory)) + "\n";
}

}  // namespace sim::record

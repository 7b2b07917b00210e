#include "sim/record/Replay.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

#include "sim/record/Description.h"
#include "sim/record/RequestBytes.h"

namespace sim::record {

namespace {

std::uint64_t lastOrder(const Script& script) { return script.steps().empty() ? 0 : script.steps().back().e; }

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

Replay::Replay(std::shared_ptr<const Script> script, Options options)
    : script_(std::move(script)), options_(std::move(options)), turns_(lastOrder(*script_)) {
  const auto& steps = script_->steps();
  if (options_.isLenient) {
    for (std::uint32_t i = 0; i < steps.size(); ++i) {
      if (isMark(steps[i].call) || steps[i].call == Call::complete) continue;
      auto lane = std::ranges::find(lanes_, steps[i].board);
      if (lane == lanes_.end()) {
        lane = lanes_.insert(lanes_.end(), steps[i].board);
        places_.emplace_back();
      }
      places_[static_cast<std::size_t>(lane - lanes_.begin())].steps.push_back(i);
    }
    return;
  }
  places_.resize(script_->threadCount());
  for (std::uint32_t i = 0; i < places_.size(); ++i) {
    places_[i].steps = script_->stepsOf(i + 1);
    expect(places_[i]);
  }
  for (const Step& step : steps) {
    if (step.call != Call::complete || step.completion == 0)
      continue;  // one whose request was lost stays away
    turns_.expect(step.n);
    turns_.expect(step.e);
  }
}

// Marks behind the last call may stay away: nothing would tell that they do.
void Replay::expect(const Place& place) {
  const auto& steps = script_->steps();
  std::size_t count = place.steps.size();
  while (count != 0 && isMark(steps[place.steps[count - 1]].call)) --count;
  for (std::size_t i = 0; i < count; ++i) {
    turns_.expect(steps[place.steps[i]].n);
    turns_.expect(steps[place.steps[i]].e);
  }
}

std::unique_ptr<Reply> Replay::take(Line& asked) {
  return options_.isLenient ? takeLeniently(asked) : takeStrictly(asked);
}

std::unique_ptr<Reply> Replay::replyOf(std::uint32_t step) const {
  auto reply = std::make_unique<Reply>();
  reply->line = script_->line(step, reply->memory);
  reply->step = step;
  reply->asked = now();
  return reply;
}

void Replay::noteDone(const Step& step) {
  if (options_.isLenient) return;
  turns_.done(step.n);
  turns_.done(step.e);
}

// Events that this run did not set: which thread has to wake which differs from run to run.
void Replay::skipMarks(Place& place) {
  for (const std::size_t end = callBehindMarks(place); place.at < end; ++place.at) {
    noteDone(script_->steps()[place.steps[place.at]]);
  }
}

std::size_t Replay::callBehindMarks(const Place& place) const {
  std::size_t at = place.at;
  while (at < place.steps.size() && isMark(script_->steps()[place.steps[at]].call)) ++at;
  return at;
}

bool Replay::standsFor(const Place& place, const Line& asked) {
  const std::size_t at = isMark(asked.call) ? place.at : callBehindMarks(place);
  if (at == place.steps.size()) return false;
  LineMemory memory;
  return sameQuestion(script_->line(place.steps[at], memory), asked);
}

// Threads may come in another order than they did: one that begins alike takes the place.
Replay::Place* Replay::newPlace(const Line& asked) {
  const auto fits = [&](const Place& place) { return !place.isTaken && standsFor(place, asked); };
  auto found = std::ranges::find_if(places_, fits);
  if (found == places_.end() && !isMark(asked.call)) {
    found = std::ranges::find_if(places_, [](const Place& place) { return !place.isTaken; });
  }
  if (found == places_.end()) return nullptr;
  found->isTaken = true;
  threads_.set(static_cast<std::uint32_t>(found - places_.begin()) + 1);
  return &*found;
}

Replay::Place* Replay::placeOfThread(const Line& asked) {
  const std::uint32_t thread = threads_.known();
  return thread != 0 ? &places_[thread - 1] : newPlace(asked);
}

std::unique_ptr<Reply> Replay::takeStrictly(Line& asked) {
  std::unique_ptr<Reply> reply;
  std::string departure;
  {
    const std::lock_guard lock(lock_);
    Place* const place = placeOfThread(asked);
    if (place != nullptr && standsFor(*place, asked)) {
      skipMarks(*place);
      reply = replyOf(place->steps[place->at++]);
    } else {
      departure = report(place, asked);
    }
  }
  if (reply == nullptr) {
    options_.depart(departure);
    return nullptr;
  }
  const Step& step = script_->steps()[reply->step];
  turns_.await(step.n);
  turns_.done(step.n);
  return reply;
}

void Replay::finish(const Reply& reply) {
  awaitTime(reply.asked, reply.line.d);
  if (options_.isLenient) return;
  const Step& step = script_->steps()[reply.step];
  turns_.await(step.e);
  turns_.done(step.e);
  if (step.holdUntil != 0) turns_.await(step.holdUntil);
}

// Marks before it that did not come are passed over: which thread has to wait for which differs from run to
// run.
const Step* Replay::takeMark(Call call) {
  Line asked;
  asked.call = call;
  const std::lock_guard lock(lock_);
  Place* const place = placeOfThread(asked);
  if (place == nullptr) return nullptr;
  const std::size_t end = callBehindMarks(*place);
  std::size_t found = place->at;
  while (found < end && script_->steps()[place->steps[found]].call != call) ++found;
  if (found == end) return nullptr;
  for (; place->at < found; ++place->at) noteDone(script_->steps()[place->steps[place->at]]);
  return &script_->steps()[place->steps[place->at++]];
}

void Replay::mark(Call call) {
  if (options_.isLenient) return;
  const Step* const step = takeMark(call);
  if (step == nullptr) return;
  turns_.await(step->n);
  noteDone(*step);
  // A thread that begins another one may hold what that one needs.
  if (call == Call::signal && step->holdUntil != 0) turns_.await(step->holdUntil);
}

bool Replay::awaitTurn(const Step& step, const std::atomic<std::uint32_t>& count, std::uint32_t seen) {
  return options_.isLenient || turns_.awaitUnless(step.n, count, seen);
}

void Replay::awaitTime(Microseconds asked, Microseconds passed) {
  if (options_.clock == nullptr) return;
  constexpr Microseconds millisecond = 1000;
  const Microseconds until = asked + passed;
  if (!options_.clock->isReal()) return options_.clock->advanceTo(until);
  for (Microseconds present = now(); present + millisecond / 2 < until; present = now()) {
    Sleep(
        static_cast<DWORD>(std::min<Microseconds>((until - present + millisecond / 2) / millisecond, 1000)));
  }
}

Microseconds Replay::until(Microseconds moment) const {
  if (options_.clock == nullptr) return 0;
  if (!options_.clock->isReal()) options_.clock->advanceTo(moment);
  const Microseconds present = now();
  return present < moment ? moment - present : 0;
}

std::string Replay::report(const Place* place, const Line& asked) {
  std::string text = "the program departs from " + script_->path() + "\n";
  if (place == nullptr) {
    return text + "  expected:  no further thread, the recording has " + std::to_string(places_.size()) +
           "\n  came:      " + described(asked) + "\n";
  }
  const std::size_t at = callBehindMarks(*place);
  const auto thread = static_cast<std::size_t>(place - places_.data()) + 1;
  if (at == place->steps.size()) {
    return text + "  expected:  nothing more of thread " + std::to_string(thread) +
           (script_->hasEnd() ? "" : "; the recording has no last line, its program was ended") +
           "\n  came:      " + described(asked) + "\n" + whereElse(asked, 0);
  }
  const std::uint32_t step = place->steps[at];
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
    for (std::size_t i = place.at; i < place.steps.size(); ++i) {
      const Step& step = script_->steps()[place.steps[i]];
      if (isMark(step.call)) continue;
      ++count;
      if (first == nullptr || step.n < first->n) first = &step;
    }
  }
  if (first == nullptr) return {};
  LineMemory memory;
  const auto index = static_cast<std::uint32_t>(first - script_->steps().data());
  return "the program ended before " + script_->path() + ": " + std::to_string(count) +
         " calls did not come, first line " + std::to_string(first->number) +
         "\n  expected:  " + described(script_->line(index, memory)) + "\n";
}

}  // namespace sim::record

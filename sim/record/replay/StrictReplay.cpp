// Answers each thread what it asked in the recording, in its order.
#include <windows.h>

#include <algorithm>
#include <mutex>

#include "sim/record/replay/Replay.h"

namespace sim::record {

namespace {

// A thread that waits for another one to stop it goes through its loop again. Each time it waits first until
// something happens, so this is long; a program that goes on for ever is told.
constexpr unsigned mostRepeated = 64;

}  // namespace

Replay::Place Replay::placeOf(std::uint32_t thread) const {
  Place place;
  place.steps = script_->stepsOf(thread);
  for (std::uint32_t i = 0; i < place.steps.size(); ++i) {
    const Step& step = script_->steps()[place.steps[i]];
    if (!isMark(step.call)) place.calls.push_back({i, step.key, step.isOfFrames});
  }
  return place;
}

// Marks behind the last call may stay away: nothing would tell that they do.
void Replay::expect(const Place& place) {
  if (place.calls.empty()) return;
  for (std::uint32_t i = 0; i <= place.calls.back().position; ++i) {
    const Step& step = script_->steps()[place.steps[i]];
    turns_.expect(step.n);
    turns_.expect(step.e);
  }
}

bool Replay::isQuestion(const Place& place, std::size_t call, const Line& asked) const {
  if (call >= place.calls.size()) return false;
  LineMemory memory;
  return sameQuestion(script_->line(place.steps[place.calls[call].position], memory), asked);
}

// Whether another thread runs while this one asks.
bool Replay::isAmongOthers(const Place& place, std::size_t call) const {
  const std::uint64_t moment = script_->steps()[place.steps[place.calls[call].position]].n;
  return std::ranges::any_of(places_, [&](const Place& other) {
    if (&other == &place || other.calls.empty()) return false;
    const Step& begin = script_->steps()[other.steps.front()];
    const Step& end = script_->steps()[other.steps[other.calls.back().position]];
    return begin.n < moment && moment < end.e;
  });
}

// Threads may come in another order than they did: one that begins alike takes the place. None for one that
// fetches a frame before all that it did then.
Replay::Place* Replay::newPlace(const Line& asked) {
  auto found = std::ranges::find_if(
      places_, [&](const Place& place) { return !place.isTaken && isQuestion(place, 0, asked); });
  if (found == places_.end() && !fetchesFrame(asked)) {
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

// What did not come before the position: nobody waits for it. Of marks that is usual, as which thread has to
// wake which differs from run to run.
void Replay::passOver(Place& place, std::size_t end) {
  for (; place.at < end; ++place.at) {
    const Step& step = script_->steps()[place.steps[place.at]];
    noteDone(step);
    if (step.completion != 0 && step.call == Call::request) noteDone(script_->steps()[step.completion - 1]);
  }
}

std::unique_ptr<Reply> Replay::nextReply(Place& place, std::size_t call) {
  passOver(place, place.calls[call].position);
  place.next = call + 1;
  place.repeated = 0;
  return replyOf(place.steps[place.at++]);
}

// How often a thread goes through a loop that another one ends is chance: behind it the recording goes on,
// and inside of it the last answer is given again.
std::unique_ptr<Reply> Replay::replyOfLoop(Place& place, const Line& asked) {
  const std::uint32_t key = questionKey(asked);
  if (place.next != place.calls.size() && isAmongOthers(place, place.next)) {
    const auto behind = findBehindLoop(place.calls, place.next, key);
    if (behind && isQuestion(place, *behind, asked)) return nextReply(place, *behind);
  }
  if (place.next == 0 || place.repeated == mostRepeated || !isAmongOthers(place, place.next - 1))
    return nullptr;
  const auto inside = findInLoop(place.calls, place.next, key);
  if (!inside || !isQuestion(place, *inside, asked)) return nullptr;
  ++place.repeated;
  auto reply = replyOf(place.steps[place.calls[*inside].position]);
  reply->isRepeated = true;
  return reply;
}

// The worker of a capture that was stopped before its first frame may ask for one now: none comes.
std::unique_ptr<Reply> Replay::replyWithoutFrame() {
  if (withoutFrame_ == mostRepeated) return nullptr;
  ++withoutFrame_;
  auto reply = std::make_unique<Reply>();
  reply->line.call = Call::request;
  reply->line.error = ERROR_SEM_TIMEOUT;
  reply->isRepeated = true;
  return reply;
}

std::unique_ptr<Reply> Replay::takeStrictly(Line& asked) {
  std::unique_ptr<Reply> reply;
  std::string departure;
  {
    const std::lock_guard lock(lock_);
    Place* const place = placeOfThread(asked);
    if (place != nullptr) {
      reply = isQuestion(*place, place->next, asked) ? nextReply(*place, place->next)
                                                     : replyOfLoop(*place, asked);
    } else if (fetchesFrame(asked) && threads_.known() == 0) {
      reply = replyWithoutFrame();
    }
    if (reply == nullptr) departure = report(place, asked);
  }
  if (reply == nullptr) {
    options_.depart(departure);
    return nullptr;
  }
  if (reply->isRepeated) {
    turns_.awaitChange();
    return reply;
  }
  const Step& step = script_->steps()[reply->step];
  turns_.await(step.n);
  turns_.done(step.n);
  return reply;
}

// Marks before it that did not come are passed over. Threads are known by their calls, not by marks, which
// are alike.
const Step* Replay::takeMark(Call call) {
  const std::uint32_t thread = threads_.known();
  if (thread == 0) return nullptr;
  const std::lock_guard lock(lock_);
  Place& place = places_[thread - 1];
  const std::size_t end =
      place.next == place.calls.size() ? place.steps.size() : place.calls[place.next].position;
  std::size_t found = place.at;
  while (found < end && script_->steps()[place.steps[found]].call != call) ++found;
  if (found == end) return nullptr;
  passOver(place, found);
  return &script_->steps()[place.steps[place.at++]];
}

const Step* Replay::beginMark(Call call) {
  const Step* const step = options_.isLenient ? nullptr : takeMark(call);
  if (step != nullptr) turns_.await(step->n);
  return step;
}

void Replay::endMark(const Step* step) {
  if (step == nullptr) return;
  noteDone(*step);
  // A thread that begins another one may hold what that one needs.
  if (step->call == Call::signal && step->holdUntil != 0) turns_.await(step->holdUntil);
}

void Replay::endThread() {
  const std::uint32_t thread = threads_.known();
  if (options_.isLenient || thread == 0) return;
  const std::lock_guard lock(lock_);
  Place& place = places_[thread - 1];
  passOver(place, place.steps.size());
}

}  // namespace sim::record

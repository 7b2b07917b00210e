#include "sim/record/replay/Replay.h"

#include <windows.h>

#include <algorithm>
#include <utility>

namespace sim::record {

namespace {

std::uint64_t lastOrder(const Script& script) { return script.steps().empty() ? 0 : script.steps().back().e; }

}  // namespace

Replay::Replay(std::shared_ptr<const Script> script, Options options)
    : script_(std::move(script)),
      options_(std::move(options)),
      turns_(lastOrder(*script_), options_.patience) {
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
  for (std::uint32_t thread = 1; thread <= script_->threadCount(); ++thread) {
    places_.push_back(placeOf(thread));
    expect(places_.back());
  }
  for (const Step& step : steps) {
    if (step.call != Call::complete || step.completion == 0)
      continue;  // one whose request was lost stays away
    turns_.expect(step.n);
    turns_.expect(step.e);
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

void Replay::finish(const Reply& reply) {
  noteAnswer(reply.line);
  awaitTime(reply.asked, reply.line.d);
  if (options_.isLenient || reply.isRepeated) return;
  const Step& step = script_->steps()[reply.step];
  turns_.await(step.e);
  turns_.done(step.e);
  if (step.holdUntil != 0) turns_.await(step.holdUntil);
}

bool Replay::awaitTurn(const Step& step, const std::atomic<std::uint32_t>& count, std::uint32_t seen) {
  return options_.isLenient || turns_.awaitUnless(step.n, count, seen);
}

void Replay::awaitTime(Microseconds asked, Microseconds passed) {
  if (options_.clock == nullptr) return;
  constexpr Microseconds millisecond = 1000;
  const Microseconds until = asked + passed;
  if (!options_.clock->isReal()) return options_.clock->advanceTo(until);
  turns_.beginCall();
  for (Microseconds present = now(); present + millisecond / 2 < until; present = now()) {
    Sleep(
        static_cast<DWORD>(std::min<Microseconds>((until - present + millisecond / 2) / millisecond, 1000)));
  }
  turns_.endCall();
}

Microseconds Replay::until(Microseconds moment) const {
  if (options_.clock == nullptr) return 0;
  if (!options_.clock->isReal()) options_.clock->advanceTo(moment);
  const Microseconds present = now();
  return present < moment ? moment - present : 0;
}

}  // namespace sim::record

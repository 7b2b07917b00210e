// Answers by content and place, for programs that do not ask what the recorded one asked.
#include <algorithm>
#include <cstring>
#include <mutex>

#include "sim/record/format/Description.h"
#include "sim/record/format/RequestBytes.h"
#include "sim/record/replay/Replay.h"

namespace sim::record {

namespace {

constexpr std::size_t likenessWindow = 256;

// Of requests of the same kind, how much of what goes in is the same; nothing for other kinds.
std::size_t likeness(const Line& a, const Line& b) {
  if (a.call != b.call || a.code != b.code || a.a != b.a || a.size != b.size || a.in.size != b.in.size)
    return 0;
  std::size_t same = 1;
  for (std::uint32_t i = 0; i < a.in.size; ++i)
    same += a.in.data[i] == b.in.data[i] || isAddress(a.code, i) ? 1 : 0;
  return same;
}

}  // namespace

// The position of the step that is most like it, the nearest of several; `to` when none is.
std::size_t Replay::likest(const Place& place, const Line& asked, std::size_t from, std::size_t to) {
  std::size_t best = to;
  std::size_t most = 0;
  LineMemory memory;
  for (std::size_t i = from; i < to; ++i) {
    const std::size_t like = likeness(script_->line(place.steps[i], memory), asked);
    if (like <= most) continue;
    most = like;
    best = i;
  }
  return best;
}

std::unique_ptr<Reply> Replay::takeLeniently(Line& asked) {
  const std::lock_guard lock(lock_);
  const auto lane = std::ranges::find(lanes_, addressee(asked));
  auto reply =
      lane == lanes_.end() ? nullptr : replyOfLane(static_cast<std::size_t>(lane - lanes_.begin()), asked);
  if (reply == nullptr && options_.outcome) ++options_.outcome->unanswered;
  return reply;
}

// What stands next; what was answered last, again, for a program that looks again; the next one with the same
// content; the last one with it; then one that is only like it.
std::unique_ptr<Reply> Replay::replyOfLane(std::size_t lane, const Line& asked) {
  Place& place = places_[lane];
  const std::uint32_t key = questionKey(asked);
  const auto keyAt = [&](std::size_t position) { return script_->steps()[place.steps[position]].key; };
  const std::size_t count = place.steps.size();
  std::size_t found = place.at;
  const bool isNext = found < count && keyAt(found) == key;
  const bool isAgain = !isNext && place.last != 0 && script_->steps()[place.last - 1].key == key;
  if (isAgain) return replyOf(place.last - 1);
  while (found < count && keyAt(found) != key) ++found;
  if (found == count) {
    for (found = place.at; found != 0 && keyAt(found - 1) != key;) --found;
    if (found != 0) return replyOf(place.steps[found - 1]);
    found = likest(place, asked, place.at, std::min(count, place.at + likenessWindow));
    if (found == std::min(count, place.at + likenessWindow)) {
      found = likest(place, asked, place.at - std::min(place.at, likenessWindow), place.at);
      if (found == place.at) found = count;
    }
    ++likened_;
    if (firstRemark_.empty()) firstRemark_ = described(asked);
    if (found == count) return nullptr;
  }
  if (found >= place.at) {
    skipped_ += found - place.at;
    place.at = found + 1;
  }
  place.last = place.steps[found] + 1;
  return replyOf(place.steps[found]);
}

void Replay::noteAnswer(const Line& answer) {
  if (!options_.outcome) return;
  const std::lock_guard lock(lock_);
  note(*options_.outcome, answer);
}

std::string Replay::remarks() const {
  if (!options_.isLenient || (skipped_ == 0 && likened_ == 0)) return {};
  std::string text = script_->path() + ": " + std::to_string(skipped_) +
                     " recorded calls were passed over, " + std::to_string(likened_) + " calls are not in it";
  return firstRemark_.empty() ? text : text + ", first " + firstRemark_;
}

}  // namespace sim::record

// How simulated time moves.
#include <algorithm>
#include <array>
#include <cstdio>

#include "sim/base/Timeline.h"

namespace sim {

namespace {

// While somebody waits and nothing is due, boards are asked again after so much real time: a program may
// change one without a call to the timeline. The time does not move by it.
constexpr DWORD askAgain = 1;

// A thread may run so long before a message says that the time does not move.
constexpr DWORD standstill = 60000;

}  // namespace

void Timeline::serve() {
  const std::lock_guard lock(mutex_);
  serveLocked();
}

void Timeline::serveLocked() {
  if (!driver_.joinable() && !ends_) driver_ = std::thread([this] { run(); });
}

void Timeline::notifyDriver() {
  if (driver_.joinable()) SetEvent(driverWake_);
}

bool Timeline::mayHaveChangedUnseen(const Sleeper& sleeper) const {
  switch (sleeper.kind) {
    case Wait::look:
    case Wait::condition: return memberRan_ > sleeper.lookedAt;
    case Wait::objects:
    case Wait::device: return hostRan_ > sleeper.lookedAt;
    case Wait::seenObjects:
    case Wait::sleep: break;
  }
  return false;
}

bool Timeline::needsAnotherLook() const {
  return std::ranges::any_of(sleepers_, [this](const Sleeper* each) { return mayHaveChangedUnseen(*each); });
}

void Timeline::lookAgain() {
  wakeThose([this](const Sleeper& each) { return mayHaveChangedUnseen(each); });
}

// Of those that are due at the same moment the one that has waited longest.
Timeline::Sleeper* Timeline::firstSleeper() const {
  Sleeper* first = nullptr;
  for (Sleeper* each : sleepers_) {
    if (each->due && (first == nullptr || *each->due < *first->due)) first = each;
  }
  return first;
}

// Gives the lock back while it asks the sources. While nobody waits, and nobody is told to let the time pass,
// only those count that move it by themselves.
std::optional<std::pair<Microseconds, Timeline::Source*>> Timeline::firstSource(Lock& lock, bool isTold) {
  const std::vector<Source*> sources = sources_;
  if (sources.empty()) return std::nullopt;
  bool mayMove = isTold || clock_.isReal() || !sleepers_.empty();
  const Microseconds now = clock_.now();
  lock.unlock();
  for (Source* source : sources) mayMove = mayMove || source->isWaiting();
  std::optional<std::pair<Microseconds, Source*>> first;
  for (Source* source : sources) {
    const std::optional<Microseconds> due = source->nextDue();
    if (due && *due > now && !mayMove && !source->movesTime()) continue;
    if (due && (!first || *due < first->first)) first = {*due, source};
  }
  lock.lock();
  return first;
}

// Gives the lock back meanwhile.
void Timeline::happenAt(Lock& lock, Source& source) {
  happening_ = true;
  lock.unlock();
  source.happen();
  lock.lock();
  happening_ = false;
  ++happened_;
}

void Timeline::advance(Microseconds duration) {
  // One after another, so that each adds its own.
  const std::lock_guard turn(advanceLock_);
  Lock lock(mutex_);
  const Microseconds end = clock_.now() + duration;
  for (;;) {
    const std::uint64_t happened = happened_;
    const auto source = firstSource(lock, true);
    if (happening_) {  // on another thread
      lock.unlock();
      SwitchToThread();
      lock.lock();
      continue;
    }
    if (happened_ != happened) continue;
    if (!source || source->first > end) break;
    clock_.advanceTo(source->first);
    happenAt(lock, *source->second);
  }
  clock_.advanceTo(end);
  lock.unlock();
  noteChange(nullptr);
}

// The thread that falls asleep last moves the time itself, until somebody runs again.
void Timeline::moveWhileAsleep(Lock& lock, const Sleeper& sleeper) {
  while (!sleeper.awake && isQuiet() && !ends_) {
    if (needsAnotherLook()) return lookAgain();
    if (step(lock)) continue;
    return notifyDriver();
  }
}

void Timeline::run() {
  Lock lock(mutex_);
  if (clock_.isReal()) return runInRealTime(lock);
  while (!ends_) {
    if (isQuiet()) {
      if (needsAnotherLook()) {
        lookAgain();
        continue;
      }
      if (step(lock)) continue;
    }
    idle(lock);
  }
}

// One thing that happens. False when there is nothing, or when somebody came in between.
bool Timeline::step(Lock& lock) {
  const std::uint64_t seen = changes_;
  const std::uint64_t happened = happened_;
  const auto source = firstSource(lock);
  if (ends_ || changes_ != seen || happened_ != happened || !isQuiet() || needsAnotherLook()) return true;
  Sleeper* const sleeper = firstSleeper();
  // Boards come first: an event that one sets counts for a wait that is over at the same moment.
  if (source && (sleeper == nullptr || source->first <= *sleeper->due)) {
    clock_.advanceTo(source->first);
    happenAt(lock, *source->second);
    return true;
  }
  if (sleeper == nullptr) return false;
  clock_.advanceTo(*sleeper->due);
  wakeUp(*sleeper);
  return true;
}

// Until something changes, or a thread that takes part has ended.
void Timeline::idle(Lock& lock) {
  std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> objects{driverWake_};
  std::vector<MemberPointer> watched;
  for (const auto& [identifier, member] : members_) {
    if (member->thread == nullptr || watched.size() + 1 == objects.size()) continue;
    watched.push_back(member);
    objects[watched.size()] = member->thread;
  }
  const std::uint64_t seen = changes_;
  const bool quiet = isQuiet();
  const std::vector<Source*> sources = sources_;
  bool waiting = !sleepers_.empty();
  lock.unlock();
  for (Source* source : sources) waiting = waiting || source->isWaiting();
  const DWORD limit = quiet ? waiting ? askAgain : INFINITE : standstill;
  const auto count = static_cast<DWORD>(watched.size()) + 1;
  const DWORD waited = WaitForMultipleObjects(count, objects.data(), FALSE, limit);
  lock.lock();
  if (waited > WAIT_OBJECT_0 && waited < WAIT_OBJECT_0 + count) {
    const MemberPointer& ended = watched[waited - WAIT_OBJECT_0 - 1];
    const auto found = members_.find(ended->identifier);
    if (found != members_.end() && found->second == ended) removeEnded(ended);
  } else if (waited == WAIT_TIMEOUT && !quiet && changes_ == seen) {
    std::fprintf(stderr, "The simulated time has stood still for a minute: %s\n", describeLocked().c_str());
  }
}

std::string Timeline::describe() const {
  const std::lock_guard lock(mutex_);
  return describeLocked();
}

std::string Timeline::describeLocked() const {
  static constexpr const char* names[] = {
      "for objects", "for objects of its own", "for a change it looks for", "for a condition", "for a board",
      "for time"};
  std::string text = std::to_string(running_) + " running at " + std::to_string(clock_.now()) + " us;";
  for (const auto& [identifier, member] : members_) {
    if (!member->waiting) text += " thread " + std::to_string(identifier) + " runs;";
  }
  for (const Sleeper* each : sleepers_) {
    text += each->member ? " thread " + std::to_string(each->member->identifier) : " another thread";
    text += std::string(" waits ") + names[static_cast<std::size_t>(each->kind)];
    text += each->due ? " until " + std::to_string(*each->due) + ";" : ";";
  }
  return text;
}

}  // namespace sim

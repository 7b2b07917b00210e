#include "DriverThread.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr Microseconds microsecondsPerMillisecond = 1000;

// Requests that wait for something from outside, such as a sensor that begins to stream, are looked at again
// after this time.
constexpr std::chrono::milliseconds lookAgain{1};

constexpr std::chrono::milliseconds hostsTurnLimit{500};

}  // namespace

DriverThread::~DriverThread() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void DriverThread::add(Source& source) {
  const std::lock_guard lock(mutex_);
  sources_.push_back(&source);
}

void DriverThread::serve() {
  {
    const std::lock_guard lock(mutex_);
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
  }
  wake();
}

void DriverThread::wake() {
  {
    const std::lock_guard lock(mutex_);
    ++changes_;
  }
  changed_.notify_all();
}

DWORD DriverThread::waitWithin(HANDLE event, DWORD milliseconds, const std::function<void()>& waits) {
  const HANDLE passed = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  std::list<Alarm> own;
  own.push_back({clock_.now() + milliseconds * microsecondsPerMillisecond, passed});
  const auto alarm = own.begin();
  {
    const std::lock_guard lock(mutex_);
    alarms_.splice(alarms_.end(), own);
  }
  waits();
  serve();
  // The request comes first: its event counts when both are set.
  const std::array<HANDLE, 2> objects{event, passed};
  const DWORD waited = WaitForMultipleObjects(2, objects.data(), FALSE, INFINITE);
  {
    const std::lock_guard lock(mutex_);
    alarms_.erase(alarm);
  }
  CloseHandle(passed);
  return waited == WAIT_OBJECT_0 + 1 ? DWORD{WAIT_TIMEOUT} : waited;
}

void DriverThread::run() {
  std::unique_lock lock(mutex_);
  while (!ends_) {
    const std::uint64_t seen = changes_;
    const std::vector<Source*> sources = sources_;
    lock.unlock();
    step(seen, sources);
    lock.lock();
  }
}

void DriverThread::step(std::uint64_t seen, const std::vector<Source*>& sources) {
  bool waiting = false;
  if (const auto until = hostsTurn(seen)) return waitForChange(seen, until);
  for (Source* source : sources) {
    if (const auto until = source->awaitsHostUntil()) return waitForChange(seen, until);
    waiting = waiting || source->isWaiting();
  }
  const std::optional<Next> next = findNext(sources);
  if (!next) {
    return waitForChange(
        seen, waiting ? std::optional(std::chrono::steady_clock::now() + lookAgain) : std::nullopt);
  }
  clock_.advanceTo(next->at);
  next->source != nullptr ? next->source->settle() : ring(next->at);
  // The program gets its turn between two frames.
  SwitchToThread();
}

// Alarms come after everything that happens at the same moment.
std::optional<DriverThread::Next> DriverThread::findNext(const std::vector<Source*>& sources) {
  std::optional<Next> next;
  for (Source* source : sources) {
    const std::optional<Microseconds> due = source->nextDue();
    if (due && (!next || *due < next->at)) next = Next{*due, source};
  }
  const std::lock_guard lock(mutex_);
  for (const Alarm& alarm : alarms_) {
    if (alarm.event != nullptr && (!next || alarm.at < next->at)) next = Next{alarm.at, nullptr};
  }
  return next;
}

void DriverThread::waitForChange(std::uint64_t seen, std::optional<RealTime> until) {
  std::unique_lock lock(mutex_);
  const auto isChanged = [&] { return ends_ || changes_ != seen; };
  if (until) {
    changed_.wait_until(lock, *until, isChanged);
  } else {
    changed_.wait(lock, isChanged);
  }
}

// After an alarm the time stands still until the program has done something about it.
std::optional<DriverThread::RealTime> DriverThread::hostsTurn(std::uint64_t seen) {
  const std::lock_guard lock(mutex_);
  if (alarm_ && (alarm_->changes != seen || std::chrono::steady_clock::now() >= alarm_->until))
    alarm_.reset();
  return alarm_ ? std::optional(alarm_->until) : std::nullopt;
}

// A rung alarm stays in the list, without its event, until its owner takes it out.
void DriverThread::ring(Microseconds now) {
  const std::lock_guard lock(mutex_);
  for (Alarm& alarm : alarms_) {
    if (alarm.event == nullptr || alarm.at > now) continue;
    SetEvent(alarm.event);
    alarm.event = nullptr;
    alarm_ = Turn{changes_, std::chrono::steady_clock::now() + hostsTurnLimit};
  }
}

}  // namespace sim

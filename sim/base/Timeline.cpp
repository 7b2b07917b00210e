// Who takes part in simulated time, and how threads wait in it.
#include "sim/base/Timeline.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace sim {

namespace {

constexpr Microseconds microsecondsPerMillisecond = 1000;

// A thread that looks again and again for what no call shows, such as an event that another program resets,
// looks again after so much real time. Nothing but its looking depends on it.
constexpr DWORD lookInterval = 1;

constexpr std::size_t mostObjects = MAXIMUM_WAIT_OBJECTS - 1;

std::optional<Microseconds> dueAfter(Microseconds now, DWORD milliseconds) {
  if (milliseconds == INFINITE) return std::nullopt;
  return now + milliseconds * microsecondsPerMillisecond;
}

HANDLE makeEvent() { return CreateEventA(nullptr, FALSE, FALSE, nullptr); }

HANDLE duplicateOf(HANDLE handle) {
  HANDLE duplicate = nullptr;
  const HANDLE process = GetCurrentProcess();
  DuplicateHandle(process, handle, process, &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS);
  return duplicate;
}

// What a yield records as "looked at".
const char yielded = 0;

}  // namespace

class Timeline::Stir {
 public:
  explicit Stir(Timeline& timeline) : timeline_(timeline) {
    {
      const std::lock_guard lock(timeline_.mutex_);
      if (!timeline_.spareEvents_.empty()) {
        event_ = timeline_.spareEvents_.back();
        timeline_.spareEvents_.pop_back();
      }
    }
    if (event_ == nullptr) event_ = makeEvent();
  }
  ~Stir() {
    ResetEvent(event_);
    const std::lock_guard lock(timeline_.mutex_);
    timeline_.spareEvents_.push_back(event_);
  }
  Stir(const Stir&) = delete;
  Stir& operator=(const Stir&) = delete;

  HANDLE get() const { return event_; }

 private:
  Timeline& timeline_;
  HANDLE event_ = nullptr;
};

Timeline::Timeline(Clock& clock) : clock_(clock), driverWake_(makeEvent()) {}

Timeline::~Timeline() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  SetEvent(driverWake_);
  if (driver_.joinable()) driver_.join();
  for (const auto& [identifier, member] : members_) {
    if (member->thread != nullptr) CloseHandle(member->thread);
  }
  for (const HANDLE event : spareEvents_) CloseHandle(event);
  CloseHandle(driverWake_);
}

void Timeline::add(Source& source) {
  const std::lock_guard lock(mutex_);
  sources_.push_back(&source);
}

// ---- Who takes part ----

void Timeline::enter() {
  if (clock_.isReal()) return;
  const std::lock_guard lock(mutex_);
  auto member = std::make_shared<Member>();
  member->identifier = GetCurrentThreadId();
  member->host = true;
  MemberPointer& place = members_[member->identifier];
  if (place) forget(place);
  members_[member->identifier] = std::move(member);
  ++running_;
}

void Timeline::leave() {
  const std::lock_guard lock(mutex_);
  const auto found = members_.find(GetCurrentThreadId());
  if (found == members_.end()) return;
  hostRan_ = memberRan_ = ++changes_;
  forget(found->second);
  notifyDriver();
}

void Timeline::adopt(HANDLE thread, DWORD identifier, bool host) {
  if (clock_.isReal()) return;
  auto member = std::make_shared<Member>();
  member->identifier = identifier;
  member->thread = duplicateOf(thread);
  member->host = host;
  const std::lock_guard lock(mutex_);
  // A thread of that number that has ended, and whose end was not noticed yet.
  if (const auto found = members_.find(identifier); found != members_.end()) removeEnded(found->second);
  members_[identifier] = std::move(member);
  ++running_;
  serveLocked();
  notifyDriver();
}

bool Timeline::takesPart() const {
  const std::lock_guard lock(mutex_);
  return self() != nullptr;
}

void Timeline::expectWait() {
  if (clock_.isReal()) return;
  const std::lock_guard lock(mutex_);
  if (self()) return;
  auto member = std::make_shared<Member>();
  member->identifier = GetCurrentThreadId();
  member->temporary = true;
  members_[member->identifier] = std::move(member);
  ++running_;
}

void Timeline::expectNoWait() { endTemporary(beginCall()); }

Timeline::MemberPointer Timeline::self() const {
  const auto found = members_.find(GetCurrentThreadId());
  return found == members_.end() ? nullptr : found->second;
}

void Timeline::endTemporary(const MemberPointer& member) {
  if (member == nullptr || !member->temporary) return;
  const std::lock_guard lock(mutex_);
  forget(member);
  notifyDriver();
}

// Takes the member out of the count.
void Timeline::forget(const MemberPointer& member) {
  if (!member->waiting) --running_;
  if (member->thread != nullptr) CloseHandle(member->thread);
  const DWORD identifier = member->identifier;  // the argument may be the entry itself
  members_.erase(identifier);
}

// Whoever waits for the thread's end, or for what it has done, is running before the thread is not.
void Timeline::removeEnded(const MemberPointer& member) {
  wakeThose([](const Sleeper& each) { return !each.objects.empty(); });
  memberRan_ = ++changes_;
  forget(member);
}

// ---- Waits ----

DWORD Timeline::wait(std::span<const HANDLE> objects, DWORD milliseconds, Signals signals) {
  if (objects.size() > mostObjects) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  if (clock_.isReal()) return waitInRealTime(objects, milliseconds);
  const MemberPointer member = beginCall();
  const auto poll = [&] {
    return WaitForMultipleObjects(static_cast<DWORD>(objects.size()), objects.data(), FALSE, 0);
  };
  if (milliseconds == 0) {
    look(member, objects.front());
    return poll();
  }
  touch(member);
  const auto due = dueAfter(clock_.now(), milliseconds);
  std::optional<Stir> stir;
  if (signals == Signals::anybodys) stir.emplace(*this);
  DWORD waited = WAIT_TIMEOUT;
  for (;;) {
    Sleeper sleeper{.kind = stir ? Wait::objects : Wait::seenObjects,
                    .member = member,
                    .due = due,
                    .objects = objects,
                    .lookedAt = changes(),
                    .stir = stir ? stir->get() : nullptr};
    waited = poll();
    if (waited != WAIT_TIMEOUT) break;
    Lock lock(mutex_);
    if (due && clock_.now() >= *due) break;
    if (changes_ != sleeper.lookedAt) continue;
    if (!stir) {
      rest(lock, sleeper);
      continue;
    }
    fallAsleep(sleeper);
    moveWhileAsleep(lock, sleeper);
    serveLocked();
    lock.unlock();
    waited = waitNatively(sleeper);
    if (waited != WAIT_TIMEOUT) break;
  }
  endTemporary(member);
  return waited;
}

// WAIT_TIMEOUT when the thread is to look again.
DWORD Timeline::waitNatively(Sleeper& sleeper) {
  std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> all{};
  std::ranges::copy(sleeper.objects, all.begin());
  all[sleeper.objects.size()] = sleeper.stir;
  const auto count = static_cast<DWORD>(sleeper.objects.size());
  const DWORD waited = WaitForMultipleObjects(count + 1, all.data(), FALSE, INFINITE);
  const std::lock_guard lock(mutex_);
  wakeUp(sleeper);
  return waited == WAIT_OBJECT_0 + count ? DWORD{WAIT_TIMEOUT} : waited;
}

// A thread that looks at the same object once more, with nothing done in between, waits for something to
// change: it rests until something may have.
void Timeline::look(const MemberPointer& member, const void* object) {
  if (member == nullptr) return;
  Lock lock(mutex_);
  if (member->looked == object) {
    Sleeper sleeper{.kind = Wait::look, .member = member, .lookedAt = member->lookedAt};
    rest(lock, sleeper, lookInterval);
  } else {
    touchLocked(member);
    member->looked = object;
  }
  member->lookedAt = changes_;
}

void Timeline::sleep(DWORD milliseconds) {
  if (clock_.isReal()) return ::Sleep(milliseconds);
  const MemberPointer member = beginCall();
  if (milliseconds == 0) {
    look(member, &yielded);
    SwitchToThread();
    return;
  }
  touch(member);
  const auto due = dueAfter(clock_.now(), milliseconds);
  Lock lock(mutex_);
  do {
    Sleeper sleeper{.kind = Wait::sleep, .member = member, .due = due};
    rest(lock, sleeper);
  } while (!due || clock_.now() < *due);
}

std::uint64_t Timeline::changes() const {
  const std::lock_guard lock(mutex_);
  return changes_;
}

void Timeline::await(const void* board, std::uint64_t seen, std::optional<Microseconds> moment) {
  Lock lock(mutex_);
  if (changes_ != seen || (moment && clock_.now() >= *moment)) return;
  Sleeper sleeper{.kind = Wait::device, .member = self(), .due = moment, .board = board, .lookedAt = seen};
  rest(lock, sleeper, realMillisecondsUntil(moment));
}

void Timeline::awaitCondition(std::uint64_t seen) {
  Lock lock(mutex_);
  if (changes_ != seen) return;
  Sleeper sleeper{.kind = Wait::condition, .member = self(), .lookedAt = seen};
  rest(lock, sleeper, lookInterval);
}

void Timeline::rest(Lock& lock, Sleeper& sleeper, DWORD realMilliseconds) {
  fallAsleep(sleeper);
  if (!clock_.isReal()) moveWhileAsleep(lock, sleeper);
  if (!sleeper.awake) serveLocked();
  while (!sleeper.awake && sleeper.condition.wait(lock, realMilliseconds)) continue;
  wakeUp(sleeper);
}

Timeline::MemberPointer Timeline::beginCall() const {
  const std::lock_guard lock(mutex_);
  return self();
}

// ---- Changes ----

void Timeline::touch(const MemberPointer& member) {
  const std::lock_guard lock(mutex_);
  touchLocked(member);
}

void Timeline::touchLocked(const MemberPointer& member) {
  memberRan_ = ++changes_;
  // What a thread does that does not take part is looked for as well.
  if (member == nullptr || member->host || member->temporary) hostRan_ = memberRan_;
  if (member) member->looked = nullptr;
}

void Timeline::noteChange(const void* board) {
  const std::lock_guard lock(mutex_);
  touchLocked(self());
  wakeThose([board](const Sleeper& each) {
    return each.kind == Wait::condition || (board != nullptr && each.board == board);
  });
  if (isQuiet()) notifyDriver();
}

BOOL Timeline::signal(HANDLE object, const std::function<BOOL()>& set) {
  BOOL done = FALSE;
  {
    const std::lock_guard lock(mutex_);
    const MemberPointer member = self();
    if (member) member->looked = nullptr;
    memberRan_ = ++changes_;
    done = set();
    const DWORD error = GetLastError();
    wakeThose([object](const Sleeper& each) {
      return each.kind == Wait::condition || std::ranges::find(each.objects, object) != each.objects.end();
    });
    if (isQuiet()) notifyDriver();
    SetLastError(error);
  }
  return done;
}

// Called with the lock held.
void Timeline::fallAsleep(Sleeper& sleeper) {
  sleepers_.push_back(&sleeper);
  if (sleeper.member && !std::exchange(sleeper.member->waiting, true)) --running_;
}

// Whoever waits under this is running from now on. Called with the lock held; a second call changes nothing.
void Timeline::wakeUp(Sleeper& sleeper) {
  if (std::exchange(sleeper.awake, true)) return;
  std::erase(sleepers_, &sleeper);
  if (sleeper.member && std::exchange(sleeper.member->waiting, false)) ++running_;
  sleeper.stir != nullptr ? void(SetEvent(sleeper.stir)) : sleeper.condition.wake();
}

}  // namespace sim

// Simulated time, and the one rule by which it moves.
//
// Threads take part in it, or they do not. Every worker of an attached module takes part, and so does a
// thread of the program that says so. One that takes part either waits inside a wait that goes through here,
// or it is running, however long that takes. Time moves only while nobody who takes part is running, and only
// to the earliest moment at which something happens to somebody who waits. Then one thing happens, whoever it
// concerns is running again before anybody looks at the clock, and the question is asked anew.
//
// Whoever makes a waiting thread ready counts it as running before it lets it go, so there is no moment at
// which a wake-up is on its way and nobody seems to run. What cannot be seen, such as an event that the
// program sets by itself, is looked for once more before the time moves.
//
// With a clock of real time the time moves by itself, and nobody needs to take part: waits are Windows' own,
// and the thread of the timeline only lets things happen at their moments (RealTimeline.cpp).
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "sim/base/Clock.h"
#include "sim/base/NativeLock.h"

namespace sim {

class Timeline {
 public:
  // Something that happens by itself while time passes: a board. Called on any thread that moves the time,
  // and with nothing of the timeline held.
  class Source {
   public:
    virtual ~Source() = default;

    // When the next thing happens; nothing when nothing will without outside help.
    virtual std::optional<Microseconds> nextDue() = 0;

    // Somebody waits for it.
    virtual bool isWaiting() = 0;

    // The first thing that is due happens.
    virtual void happen() = 0;

    // Whether the time moves to its moments also while nobody waits for anything.
    virtual bool movesTime() const { return true; }
  };

  explicit Timeline(Clock& clock);
  ~Timeline();
  Timeline(const Timeline&) = delete;
  Timeline& operator=(const Timeline&) = delete;

  Clock& clock() { return clock_; }

  // Sources live as long as the timeline.
  void add(Source& source);

  // ---- who takes part

  // The calling thread takes part until it leaves. It must wait through here from now on: in any other wait
  // it counts as running, and the time stands still.
  void enter();
  void leave();

  // The thread takes part from now until it ends. `host` says that it runs code whose calls do not go
  // through here.
  void adopt(HANDLE thread, DWORD identifier, bool host);

  bool takesPart() const;

  // The calling thread sends a request for whose event it waits next. One that does not take part takes part
  // until that wait is over, or until it turns out that there is nothing to wait for.
  void expectWait();
  void expectNoWait();

  // ---- waits

  // What may signal an object: anybody, or only signal() and the ends of threads that take part.
  enum class Signals { anybodys, seen };

  // As WaitForMultipleObjects for any of the objects, in simulated time. An object that is signalled at the
  // moment at which the time is up counts.
  DWORD wait(std::span<const HANDLE> objects, DWORD milliseconds, Signals signals = Signals::anybodys);
  DWORD wait(HANDLE object, DWORD milliseconds = INFINITE) {
    return wait(std::span(&object, 1), milliseconds);
  }

  void sleep(DWORD milliseconds);

  // Waits until the board has changed, or until the moment has come. `seen` is what changes() was before the
  // board was looked at.
  std::uint64_t changes() const;
  void await(const void* board, std::uint64_t seen, std::optional<Microseconds> moment);

  // Waits until the condition holds; it is looked at again whenever something may have changed.
  template <class Condition>
  void until(Condition condition) {
    for (;;) {
      const std::uint64_t seen = changes();
      if (condition()) return;
      awaitCondition(seen);
    }
  }

  // Lets simulated time pass, whoever runs: what is due until then happens on the way, at its moment.
  void advance(Microseconds duration);

  // ---- changes

  // Something has changed that a thread may wait for: requests that wait inside the board look again. Null:
  // none of these need to.
  void noteChange(const void* board);

  // Sets an event, or gives back a mutex, for which a thread may wait under the handle.
  BOOL signal(HANDLE object, const std::function<BOOL()>& set);

  // Requests are pending, or somebody waits: the thread that moves the time is needed from now on.
  void serve();

  // Who takes part and what each of them does, for people.
  std::string describe() const;

 private:
  struct Member {
    DWORD identifier = 0;
    HANDLE thread = nullptr;  // watched for its end; null for one that leaves by itself
    bool host = false;
    bool temporary = false;
    bool waiting = false;
    const void* looked = nullptr;  // at what its last call looked without waiting
    std::uint64_t lookedAt = 0;
  };
  using MemberPointer = std::shared_ptr<Member>;

  enum class Wait { objects, seenObjects, look, condition, device, sleep };

  struct Sleeper {
    Wait kind;
    MemberPointer member{};  // null for a thread that does not take part
    std::optional<Microseconds> due{};
    std::span<const HANDLE> objects{};
    const void* board = nullptr;
    std::uint64_t lookedAt = 0;  // the changes before it looked whether it has to wait
    HANDLE stir = nullptr;       // set when it is to look again; without one the condition is
    NativeCondition condition{};
    bool awake = false;
  };
  using Lock = std::unique_lock<NativeLock>;

  // An event of the pool, for one wait.
  class Stir;

  MemberPointer self() const;
  MemberPointer beginCall() const;
  void touch(const MemberPointer& member);
  void touchLocked(const MemberPointer& member);
  void look(const MemberPointer& member, const void* object);
  void awaitCondition(std::uint64_t seen);
  void rest(Lock& lock, Sleeper& sleeper, DWORD realMilliseconds = INFINITE);
  DWORD waitNatively(Sleeper& sleeper);
  void endTemporary(const MemberPointer& member);

  void fallAsleep(Sleeper& sleeper);
  void wakeUp(Sleeper& sleeper);
  template <class Which>
  void wakeThose(Which which) {
    for (auto next = sleepers_.begin(); next != sleepers_.end();) {
      Sleeper* const each = *next++;
      if (which(*each)) wakeUp(*each);
    }
  }
  bool mayHaveChangedUnseen(const Sleeper& sleeper) const;
  void notifyDriver();
  void serveLocked();
  bool isQuiet() const { return running_ == 0 && !happening_; }
  DWORD realMillisecondsUntil(std::optional<Microseconds> moment) const;
  DWORD waitInRealTime(std::span<const HANDLE> objects, DWORD milliseconds) const;
  void runInRealTime(Lock& lock);
  void idleInRealTime(Lock& lock, std::optional<Microseconds> due);

  bool needsAnotherLook() const;
  void lookAgain();
  Sleeper* firstSleeper() const;
  std::optional<std::pair<Microseconds, Source*>> firstSource(Lock& lock, bool isTold = false);
  void happenAt(Lock& lock, Source& source);
  void moveWhileAsleep(Lock& lock, const Sleeper& sleeper);

  void run();
  bool step(Lock& lock);
  void idle(Lock& lock);
  void removeEnded(const MemberPointer& member);
  void forget(const MemberPointer& member);
  std::string describeLocked() const;

  Clock& clock_;
  NativeLock advanceLock_;  // before mutex_
  mutable NativeLock mutex_;
  std::map<DWORD, MemberPointer> members_;
  unsigned running_ = 0;  // members that do not wait
  std::list<Sleeper*> sleepers_;
  std::vector<Source*> sources_;
  std::vector<HANDLE> spareEvents_;
  std::uint64_t changes_ = 0;
  // When somebody last did what cannot be seen, as a number of changes: threads that run code of the
  // program's, and all threads.
  std::uint64_t hostRan_ = 0;
  std::uint64_t memberRan_ = 0;
  bool happening_ = false;  // at a source
  std::uint64_t happened_ = 0;
  bool ends_ = false;
  HANDLE driverWake_;
  std::thread driver_;
};

// The calling thread takes part for as long as this lives.
class Participation {
 public:
  explicit Participation(Timeline& timeline) : timeline_(timeline) { timeline_.enter(); }
  ~Participation() { timeline_.leave(); }
  Participation(const Participation&) = delete;
  Participation& operator=(const Participation&) = delete;

 private:
  Timeline& timeline_;
};

}  // namespace sim

// How tests wait: in the time of the simulated machine, in which they take part.
#pragma once

#include <windows.h>

#include <process.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "sim/base/Timeline.h"

namespace kvexa::test {

// The timeline of the machine of the test that runs.
inline sim::Timeline* currentTimeline = nullptr;

// The test's thread takes part in the machine's time for as long as this lives.
class TakesPart {
 public:
  explicit TakesPart(sim::Timeline& timeline)
      : before_(std::exchange(currentTimeline, &timeline)), participation_(timeline) {}
  ~TakesPart() { currentTimeline = before_; }
  TakesPart(const TakesPart&) = delete;
  TakesPart& operator=(const TakesPart&) = delete;

 private:
  sim::Timeline* before_;
  sim::Participation participation_;
};

// So long nothing lasts: what does not come within it does not come. In the machine's time.
constexpr DWORD longestWait = 3600000;

// Whether the object is signalled in the end.
inline bool await(HANDLE object, DWORD milliseconds = longestWait) {
  return currentTimeline->wait(object, milliseconds) == WAIT_OBJECT_0;
}

// As WaitForMultipleObjects for any of them.
inline DWORD awaitAny(std::span<const HANDLE> objects) { return currentTimeline->wait(objects, longestWait); }

inline void setEvent(HANDLE event) {
  currentTimeline->signal(event, [event] { return SetEvent(event); });
}

// Waits until it is so. What never becomes so ends with the test's time limit.
template <class Condition>
void until(Condition condition) {
  currentTimeline->until(condition);
}

// A thread of the test's, which takes part in the machine's time.
class Thread {
 public:
  template <class Run>
  explicit Thread(Run run) : run_(std::make_unique<std::function<void()>>(std::move(run))) {
    unsigned identifier = 0;
    handle_ = reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, 0, start, run_.get(), CREATE_SUSPENDED, &identifier));
    if (handle_ == nullptr) throw std::runtime_error("no thread");
    currentTimeline->adopt(handle_, identifier, true);
    ResumeThread(handle_);
  }
  Thread(Thread&& other) noexcept
      : run_(std::move(other.run_)), handle_(std::exchange(other.handle_, nullptr)) {}
  Thread& operator=(Thread&&) = delete;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  ~Thread() { join(); }

  // Once; later calls do nothing.
  void join() {
    if (handle_ == nullptr) return;
    currentTimeline->wait(handle_);
    CloseHandle(std::exchange(handle_, nullptr));
  }

 private:
  static unsigned __stdcall start(void* run) {
    (*static_cast<std::function<void()>*>(run))();
    return 0;
  }

  std::unique_ptr<std::function<void()>> run_;
  HANDLE handle_ = nullptr;
};

}  // namespace kvexa::test

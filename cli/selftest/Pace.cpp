#include "cli/selftest/Pace.h"

#include <process.h>

#include <stdexcept>
#include <utility>

namespace cli::selftest {

Pace::Pace(sim::Timeline* timeline) : timeline_(timeline) {
  if (timeline_ != nullptr) participation_ = std::make_unique<sim::Participation>(*timeline_);
}

std::uint64_t Pace::now() const {
  if (timeline_ != nullptr) return timeline_->clock().now();
  LARGE_INTEGER count;
  LARGE_INTEGER frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  constexpr double microseconds = 1e6;
  return static_cast<std::uint64_t>(static_cast<double>(count.QuadPart) * microseconds /
                                    static_cast<double>(frequency.QuadPart));
}

void Pace::sleep(DWORD milliseconds) const {
  timeline_ != nullptr ? timeline_->sleep(milliseconds) : Sleep(milliseconds);
}

bool Pace::wait(HANDLE object, DWORD milliseconds) const {
  const DWORD outcome = timeline_ != nullptr ? timeline_->wait(object, milliseconds)
                                             : WaitForSingleObject(object, milliseconds);
  return outcome == WAIT_OBJECT_0;
}

bool Pace::isSet(HANDLE event) const { return WaitForSingleObject(event, 0) == WAIT_OBJECT_0; }

void Pace::set(HANDLE event) const {
  timeline_ != nullptr ? timeline_->signal(event, [event] { return SetEvent(event); }) : SetEvent(event);
}

Pace::Thread::Thread(const Pace& pace, std::function<void()> run) : pace_(pace), run_(std::move(run)) {
  unsigned identifier = 0;
  handle_ = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, start, this, CREATE_SUSPENDED, &identifier));
  if (handle_ == nullptr) throw std::runtime_error("no thread can be started");
  if (pace_.timeline_ != nullptr) pace_.timeline_->adopt(handle_, identifier, true);
  ResumeThread(handle_);
}

Pace::Thread::~Thread() {
  pace_.wait(handle_, INFINITE);
  CloseHandle(handle_);
}

unsigned Pace::Thread::start(void* run) {
  static_cast<Thread*>(run)->run_();
  return 0;
}

}  // namespace cli::selftest

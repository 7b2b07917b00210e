#include "LibraryClock.h"

// After windows.h.
#include <winternl.h>

extern "C" NTSTATUS NTAPI NtDelayExecution(BOOLEAN alertable, const LARGE_INTEGER* interval);

namespace bench {

namespace {

decltype(&::DeviceIoControl) control = nullptr;
decltype(&::WaitForSingleObject) waitForOne = nullptr;
decltype(&::WaitForMultipleObjects) waitForSeveral = nullptr;
decltype(&::Sleep) sleep = nullptr;
decltype(&::SwitchToThread) switchThread = nullptr;
LONGLONG delay = 0;  // units of 100 ns

std::atomic<std::int64_t> ticksOfAll{0};
std::atomic<std::int64_t> ticksOfWorkers{0};

// Of this thread: when the library got the processor back; 0 outside the library.
thread_local std::int64_t since = 0;
// The library's workers are never outside it; other threads are between their calls.
thread_local bool isCaller = false;

std::int64_t now() {
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return ticks.QuadPart;
}

void pause() {
  if (since == 0) return;
  const std::int64_t spent = now() - since;
  ticksOfAll.fetch_add(spent, std::memory_order_relaxed);
  if (!isCaller) ticksOfWorkers.fetch_add(spent, std::memory_order_relaxed);
}

// What happens outside the library: the time stands still meanwhile.
class Outside {
 public:
  Outside() : counts_(since != 0 || !isCaller) { pause(); }
  ~Outside() {
    if (counts_) since = now();
  }
  Outside(const Outside&) = delete;
  Outside& operator=(const Outside&) = delete;

 private:
  bool counts_;
};

BOOL WINAPI seenControl(HANDLE file, DWORD code, LPVOID in, DWORD inLength, LPVOID out, DWORD outLength,
                        LPDWORD returned, LPOVERLAPPED overlapped) {
  const Outside outside;
  if (delay != 0) {
    LARGE_INTEGER interval;
    interval.QuadPart = -delay;  // from now on
    NtDelayExecution(FALSE, &interval);
  }
  return control(file, code, in, inLength, out, outLength, returned, overlapped);
}

DWORD WINAPI seenWaitForOne(HANDLE object, DWORD milliseconds) {
  const Outside outside;
  return waitForOne(object, milliseconds);
}

DWORD WINAPI seenWaitForSeveral(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) {
  const Outside outside;
  return waitForSeveral(count, objects, all, milliseconds);
}

void WINAPI seenSleep(DWORD milliseconds) {
  const Outside outside;
  sleep(milliseconds);
}

BOOL WINAPI seenSwitchThread() {
  const Outside outside;
  return switchThread();
}

template <typename Function>
void see(HMODULE library, const char* name, Function*& original, Function* seen,
         std::vector<sim::ImportPatch>& patches) {
  for (void** const entry : sim::findImports(library, name)) {
    original = reinterpret_cast<Function*>(*entry);
    patches.emplace_back(entry, reinterpret_cast<void*>(seen));
  }
}

double secondsOf(const std::atomic<std::int64_t>& ticks) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  return static_cast<double>(ticks.load()) / static_cast<double>(frequency.QuadPart);
}

}  // namespace

LibraryClock::LibraryClock(HMODULE library, unsigned microseconds) {
  isCaller = true;
  delay = LONGLONG{microseconds} * 10;
  reset();
  see(library, "DeviceIoControl", control, seenControl, patches_);
  see(library, "WaitForSingleObject", waitForOne, seenWaitForOne, patches_);
  see(library, "WaitForMultipleObjects", waitForSeveral, seenWaitForSeveral, patches_);
  see(library, "Sleep", sleep, seenSleep, patches_);
  see(library, "SwitchToThread", switchThread, seenSwitchThread, patches_);
}

LibraryClock::~LibraryClock() = default;

void LibraryClock::enter() {
  isCaller = true;
  since = now();
}

void LibraryClock::leave() {
  pause();
  since = 0;
}

double LibraryClock::all() { return secondsOf(ticksOfAll); }
double LibraryClock::workers() { return secondsOf(ticksOfWorkers); }

void LibraryClock::reset() {
  ticksOfAll = 0;
  ticksOfWorkers = 0;
}

}  // namespace bench

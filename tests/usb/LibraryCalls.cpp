#include "tests/usb/LibraryCalls.h"

#include <process.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "sim/usb/Driver.h"
#include "tests/support/SimulatedTime.h"

namespace kvexa::test {

namespace {

constexpr std::uint32_t imagePipe = 2;

LibraryCalls* active = nullptr;

// What the library's imports led to before.
decltype(&::DeviceIoControl) deviceIoControl = nullptr;
decltype(&::WaitForSingleObject) waitForSingleObject = nullptr;
decltype(&::SetEvent) signalEvent = nullptr;
decltype(&::OpenEventA) openEvent = nullptr;
decltype(&::Sleep) sleepFor = nullptr;
decltype(&::_beginthreadex) beginThread = nullptr;

struct WorkerStart {
  unsigned(__stdcall* function)(void*);
  void* argument;
};

unsigned __stdcall runWorker(void* argument) {
  // The library's function does not come back: it ends the thread.
  WorkerStart start = *static_cast<WorkerStart*>(argument);
  delete static_cast<WorkerStart*>(argument);
  if (active->onWorkerStart) active->onWorkerStart();
  return start.function(start.argument);
}

}  // namespace

struct LibraryCalls::Functions {
  static BOOL WINAPI control(HANDLE file, DWORD code, LPVOID in, DWORD inLength, LPVOID out, DWORD outLength,
                             LPDWORD returned, LPOVERLAPPED overlapped) {
    const auto* record = static_cast<const sim::usb::Control::PipeRecord*>(in);
    const bool isRead = code == sim::usb::Control::pipeTransfer && record->pipe == imagePipe;
    const FrameRead read{static_cast<std::uint8_t*>(out), outLength, isRead ? record->timeout : 0};
    if (isRead && active->beforeRead) active->beforeRead(read);
    const BOOL result = deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    if (isRead && active->afterRead) active->afterRead(read);
    return result;
  }

  static DWORD WINAPI wait(HANDLE object, DWORD milliseconds) {
    if (active->onWait) {
      if (const auto answer = active->onWait(object, milliseconds)) return *answer;
    }
    return waitForSingleObject(object, milliseconds);
  }

  static BOOL WINAPI signal(HANDLE event) {
    if (active->onSignal && !active->onSignal(event)) {
      SetLastError(ERROR_ACCESS_DENIED);
      return FALSE;
    }
    return signalEvent(event);
  }

  static HANDLE WINAPI open(DWORD access, BOOL inherit, LPCSTR name) {
    if (!active->onOpenEvent) return openEvent(access, inherit, name);
    return openEvent(access, inherit, active->onOpenEvent(access, inherit, name).c_str());
  }

  static void WINAPI sleep(DWORD milliseconds) {
    if (active->onSleep) active->onSleep(milliseconds);
    sleepFor(milliseconds);
  }

  static std::uintptr_t __cdecl begin(void* security, unsigned stackSize,
                                      unsigned(__stdcall* function)(void*), void* argument, unsigned flags,
                                      unsigned* id) {
    if (active->refuseWorkers) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return 0;
    }
    auto start = std::make_unique<WorkerStart>(WorkerStart{function, argument});
    const std::uintptr_t thread = beginThread(security, stackSize, runWorker, start.get(), flags, id);
    if (thread == 0) return 0;
    start.release();
    HANDLE own = nullptr;
    DuplicateHandle(GetCurrentProcess(), reinterpret_cast<HANDLE>(thread), GetCurrentProcess(), &own, 0,
                    FALSE, DUPLICATE_SAME_ACCESS);
    const std::lock_guard lock(active->mutex_);
    active->workers_.push_back(own);
    return thread;
  }
};

LibraryCalls::LibraryCalls(HMODULE library) {
  active = this;
  const auto at = [](auto& function) { return reinterpret_cast<void**>(&function); };
  patch(library, "DeviceIoControl", reinterpret_cast<void*>(&Functions::control), at(deviceIoControl));
  patch(library, "WaitForSingleObject", reinterpret_cast<void*>(&Functions::wait), at(waitForSingleObject));
  patch(library, "SetEvent", reinterpret_cast<void*>(&Functions::signal), at(signalEvent));
  patch(library, "OpenEventA", reinterpret_cast<void*>(&Functions::open), at(openEvent));
  patch(library, "Sleep", reinterpret_cast<void*>(&Functions::sleep), at(sleepFor));
  patch(library, "_beginthreadex", reinterpret_cast<void*>(&Functions::begin), at(beginThread));
}

LibraryCalls::~LibraryCalls() {
  while (!patches_.empty()) patches_.pop_back();
  active = nullptr;
}

void LibraryCalls::patch(HMODULE library, const char* name, void* replacement, void** original) {
  const auto entries = sim::findImports(library, name);
  if (entries.size() != 1) throw std::runtime_error(std::string("the library does not import ") + name);
  *original = *entries.front();
  patches_.emplace_back(entries.front(), replacement);
}

bool LibraryCalls::joinWorkers() {
  std::vector<HANDLE> workers;
  {
    const std::lock_guard lock(mutex_);
    workers.swap(workers_);
  }
  bool ended = true;
  for (const HANDLE worker : workers) {
    ended = await(worker) && ended;
    CloseHandle(worker);
  }
  return ended;
}

std::size_t LibraryCalls::workerCount() const {
  const std::lock_guard lock(mutex_);
  return workers_.size();
}

}  // namespace kvexa::test

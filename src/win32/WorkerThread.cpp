#include "win32/WorkerThread.h"

#include <process.h>

#include <memory>
#include <new>

namespace kvexa::win32 {

namespace {

struct Start {
  Shared<Work> work;
  HMODULE library = nullptr;
};

HMODULE keepLibraryLoaded() {
  HMODULE library = nullptr;
  const auto* inside = reinterpret_cast<const char*>(&keepLibraryLoaded);
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, inside, &library);
  return library;
}

unsigned __stdcall runWorker(void* argument) {
  HMODULE library = nullptr;
  {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    library = start->library;
    start->work->run();
  }
  FreeLibraryAndExitThread(library, 0);
}

}  // namespace

bool startWorker(const Shared<Work>& work) {
  std::unique_ptr<Start> start(new (std::nothrow) Start{work, keepLibraryLoaded()});
  if (!start) return false;
  UniqueObject thread(reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, 0, runWorker, start.get(), CREATE_SUSPENDED, nullptr)));
  if (!thread) {
    FreeLibrary(start->library);
    return false;
  }
  static_cast<void>(start.release());  // the thread's now
  const HANDLE handle = thread.get();
  work->thread_ = std::move(thread);
  ResumeThread(handle);
  return true;
}

}  // namespace kvexa::win32

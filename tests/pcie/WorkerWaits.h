// Counts the library's waits for several objects, so that a test knows where a worker is.
#pragma once

#include <windows.h>

#include <atomic>
#include <optional>
#include <stdexcept>

#include "sim/attach/ImportTable.h"
#include "tests/support/BoardFixture.h"

namespace kvexa::test {

// One at a time.
class WorkerWaits {
 public:
  WorkerWaits() {
    const auto entries = sim::findImports(libraryModule(), "WaitForMultipleObjects");
    if (entries.size() != 1) throw std::runtime_error("the library does not wait for several objects");
    begun_ = 0;
    original_ = reinterpret_cast<decltype(&::WaitForMultipleObjects)>(*entries.front());
    patch_.emplace(entries.front(), reinterpret_cast<void*>(&wait));
  }

  // Waits that have begun.
  static unsigned count() { return begun_; }

 private:
  static DWORD WINAPI wait(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) {
    ++begun_;
    return original_(count, objects, all, milliseconds);
  }

  inline static std::atomic<unsigned> begun_{0};
  inline static decltype(&::WaitForMultipleObjects) original_ = nullptr;

  std::optional<sim::ImportPatch> patch_;
};

}  // namespace kvexa::test

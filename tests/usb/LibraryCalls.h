// Observes the library: a test sees, holds up or fails what the library asks of Windows while
// it captures. Stands before the simulated boards, so a thread that is held up here holds nothing of theirs.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sim/attach/ImportTable.h"

namespace kvexa::test {

struct FrameRead {
  std::uint8_t* address;
  std::uint32_t length;
  std::uint32_t timeout;
};

// One at a time. The functions are called on the library's thread; set them while none of its workers runs.
class LibraryCalls {
 public:
  explicit LibraryCalls(HMODULE library);
  ~LibraryCalls();
  LibraryCalls(const LibraryCalls&) = delete;
  LibraryCalls& operator=(const LibraryCalls&) = delete;

  // Before and after a read on the image pipe.
  std::function<void(const FrameRead&)> beforeRead;
  std::function<void(const FrameRead&)> afterRead;

  // Before a wait of `milliseconds`; a value answers it in Windows' place.
  std::function<std::optional<DWORD>(HANDLE object, DWORD milliseconds)> onWait;

  // Before an event is signalled; false refuses it.
  std::function<bool(HANDLE event)> onSignal;

  // Gives the name to open in place of the library's.
  std::function<std::string(DWORD access, BOOL inherit, const char* name)> onOpenEvent;
  std::function<void(DWORD milliseconds)> onSleep;

  // On a worker, before the library's own code.
  std::function<void()> onWorkerStart;

  // Workers cannot be created.
  bool refuseWorkers = false;

  // Waits until all workers that were created have ended; false when one does not.
  bool joinWorkers();

  // Workers that were created and not yet waited for.
  std::size_t workerCount() const;

 private:
  struct Functions;
  friend struct Functions;

  void patch(HMODULE library, const char* name, void* replacement, void** original);

  std::vector<sim::ImportPatch> patches_;
  mutable std::mutex mutex_;
  std::vector<HANDLE> workers_;
};

}  // namespace kvexa::test

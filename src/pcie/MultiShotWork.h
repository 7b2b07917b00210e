// The worker of a multi-shot capture of the PCIe board.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include "pcie/Requests.h"
#include "win32/ResultWord.h"
#include "win32/WorkerThread.h"

namespace kvexa::pcie {

struct MultiShotOptions {
  HANDLE driver;
  std::uint32_t frameBytes;  // a multiple of 4
  std::uint32_t frameCount;
  std::uint32_t continuous;
  void* buffer;
  std::uint32_t timeout;
  HANDLE frameEvent;  // may be null
  HANDLE endEvent;
  win32::ResultWord result;
};

class MultiShotWork : public win32::Work {
 public:
  // abortEvent is the work's own; it wakes the worker out of every wait.
  MultiShotWork(const MultiShotOptions& options, win32::UniqueObject abortEvent)
      : options_(options), abortEvent_(std::move(abortEvent)) {}

  void run() override;

  // The abort comes in two parts, around the requests that stop the board: so a capture that the stop
  // completes can still report its own status. `stopped` says that the driver took the stop.
  void markAborted() { aborted_.store(true); }
  bool isAborted() const { return aborted_.load(); }
  void wakeAborted(bool stopped) {
    if (stopped) stopped_.store(true);
    SetEvent(abortEvent_.get());
  }

  // The worker before this one on the same board; for the board's slot.
  win32::Shared<MultiShotWork> earlier;

 private:
  struct Requests;

  std::int32_t capture();
  std::int32_t start(Requests& requests);
  std::int32_t awaitEnd(Requests& requests);
  std::int32_t endOfAborted(Requests& requests) const;
  void armInterval(Requests& requests) const;
  void finish(std::int32_t outcome) const;

  const MultiShotOptions options_;
  const win32::UniqueObject abortEvent_;
  std::atomic<bool> aborted_{false};
  std::atomic<bool> stopped_{false};
};

}  // namespace kvexa::pcie

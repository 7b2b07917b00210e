#include "pcie/Requests.h"

#include <mutex>
#include <utility>

#include "win32/Lock.h"

namespace kvexa::pcie {

namespace {

win32::Lock orphansLock;

// The first of the orphaned requests. A plain pointer: at unload the driver may still
// hold some, so nothing may destroy them.
PendingBase* firstOrphan = nullptr;

}  // namespace

bool sendBytes(HANDLE driver, Request request, void* record, DWORD bytes) {
  DWORD returned = 0;
  return DeviceIoControl(driver, static_cast<DWORD>(request), record, bytes, record, bytes, &returned,
                         nullptr) != FALSE;
}

std::int32_t sendStop(HANDLE driver) {
  StatusRecord record{0};
  return send(driver, Request::stop, record) ? plainStatus.resultOf(record.status) : KVEXA_REQUEST_FAILED;
}

std::int32_t sendCancelInterval(HANDLE driver) {
  // The driver expects its own handle in the status word.
  StatusRecord record{static_cast<Word>(reinterpret_cast<std::uintptr_t>(driver))};
  return send(driver, Request::cancelInterval, record) ? plainStatus.resultOf(record.status)
                                                       : KVEXA_REQUEST_FAILED;
}

Completion::Completion(Event event)
    : needsEvent_(event == Event::own),
      event_(needsEvent_ ? CreateEventA(nullptr, TRUE, FALSE, nullptr) : nullptr),
      memory_(GlobalAlloc(GMEM_FIXED, sizeof(OVERLAPPED))),
      overlapped_(memory_ != nullptr ? static_cast<OVERLAPPED*>(GlobalLock(memory_)) : nullptr) {
  static_assert(sizeof(OVERLAPPED) == 20);
  if (overlapped_ == nullptr) return;
  *overlapped_ = {};
  overlapped_->hEvent = event_.get();
  reset();
}

Completion::~Completion() {
  if (memory_ == nullptr) return;
  GlobalUnlock(memory_);
  GlobalFree(memory_);
}

void Completion::reset() {
  if (event_) ResetEvent(event_.get());
}

bool PendingBase::startBytes(HANDLE driver, Request request, void* record, DWORD bytes) {
  DWORD returned = 0;
  const BOOL done = DeviceIoControl(driver, static_cast<DWORD>(request), record, bytes, record, bytes,
                                    &returned, completion_.overlapped());
  accepted_ = done != FALSE || GetLastError() == ERROR_IO_PENDING;
  return accepted_;
}

bool PendingBase::mayComplete() const {
  const volatile ULONG_PTR& status = completion_.overlapped()->Internal;
  return accepted_ && status == STATUS_PENDING;
}

void OrphanedRequests::adopt(std::unique_ptr<PendingBase> request) {
  if (!*request || !request->mayComplete()) return;
  const std::lock_guard guard(orphansLock);
  request->next_.reset(firstOrphan);
  firstOrphan = request.release();
}

void OrphanedRequests::freeCompleted() {
  const std::lock_guard guard(orphansLock);
  std::unique_ptr<PendingBase> all(std::exchange(firstOrphan, nullptr));
  while (all) {
    std::unique_ptr<PendingBase> rest = std::move(all->next_);
    if (all->mayComplete()) {
      all->next_.reset(firstOrphan);
      firstOrphan = all.release();
    }
    all = std::move(rest);
  }
}

}  // namespace kvexa::pcie

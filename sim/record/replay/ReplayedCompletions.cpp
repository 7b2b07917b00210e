#include "sim/record/replay/ReplayedCompletions.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <utility>

namespace sim::record {

namespace {

bool lies(const void* block, std::size_t bytes, const void* at) {
  return reinterpret_cast<std::uintptr_t>(at) - reinterpret_cast<std::uintptr_t>(block) < bytes;
}

HANDLE kept(HANDLE event) {
  // The lowest bit says that no completion port gets a packet.
  const auto handle = reinterpret_cast<HANDLE>(reinterpret_cast<std::uintptr_t>(event) & ~std::uintptr_t{1});
  HANDLE copy = nullptr;
  if (handle == nullptr) return copy;
  const HANDLE self = GetCurrentProcess();
  DuplicateHandle(self, handle, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS);
  return copy;
}

}  // namespace

ReplayedCompletions::ReplayedCompletions(Replay& replay, FillImage fillImage)
    : replay_(replay), fillImage_(std::move(fillImage)), worker_([this] { work(); }) {}

ReplayedCompletions::~ReplayedCompletions() {
  {
    const std::lock_guard lock(lock_);
    ends_ = true;
    ++additions_;
    changed_.wake();
  }
  replay_.look();
  worker_.join();
  for (const OpenRequest& each : requests_) {
    if (each.event != nullptr) CloseHandle(each.event);
  }
}

void ReplayedCompletions::add(OpenRequest request) {
  request.overlapped->Internal = static_cast<ULONG_PTR>(STATUS_PENDING);
  request.overlapped->InternalHigh = 0;
  request.event = kept(request.overlapped->hEvent);
  if (request.event != nullptr) ResetEvent(request.event);
  {
    const std::lock_guard lock(lock_);
    requests_.push_back(request);
    ++additions_;
    changed_.wake();
  }
  replay_.look();
}

void ReplayedCompletions::beforeReuse(const void* memory, std::size_t bytes) {
  const std::lock_guard lock(lock_);
  for (auto each = requests_.begin(); each != requests_.end();) {
    if (!lies(memory, bytes, each->overlapped) && !lies(memory, bytes, each->record)) {
      ++each;
      continue;
    }
    const Step& step = replay_.script().steps()[each->step];
    if (each->event != nullptr) CloseHandle(each->event);
    each = requests_.erase(each);
    replay_.noteDone(step);
  }
}

// In the order of the recording, or, when the program need not keep to it, of the moments.
const OpenRequest* ReplayedCompletions::first() const {
  if (requests_.empty()) return nullptr;
  return replay_.isLenient() ? &*std::ranges::min_element(requests_, {}, &OpenRequest::due)
                             : &*std::ranges::min_element(requests_, {}, &OpenRequest::step);
}

void ReplayedCompletions::work() {
  std::unique_lock lock(lock_);
  while (!ends_) {
    const OpenRequest* const next = first();
    if (next == nullptr) {
      changed_.wait(lock, INFINITE);
      continue;
    }
    const OpenRequest chosen = *next;
    const Step& step = replay_.script().steps()[chosen.step];
    const std::uint32_t seen = additions_.load();
    lock.unlock();
    const bool isItsTurn = replay_.awaitTurn(step, additions_, seen);
    lock.lock();
    const Microseconds early = isItsTurn ? replay_.until(chosen.due) : 0;
    if (early != 0) changed_.wait(lock, static_cast<DWORD>(early / 1000 + 1));
    const auto found = std::ranges::find(requests_, chosen.overlapped, &OpenRequest::overlapped);
    if (!isItsTurn || early != 0 || ends_ || found == requests_.end() || found->step != chosen.step) continue;
    requests_.erase(found);
    deliver(chosen);
    replay_.noteDone(step);
  }
}

// Under the lock, so that the memory stays the driver's meanwhile.
void ReplayedCompletions::deliver(const OpenRequest& request) {
  LineMemory memory;
  const Line line = replay_.script().line(request.step, memory);
  replay_.noteAnswer(line);
  if (line.image.bytes != 0 && request.buffer != nullptr && line.image.offset <= request.bufferBytes &&
      line.image.bytes <= request.bufferBytes - line.image.offset) {
    fillImage_(line, request.buffer + line.image.offset, line.image.bytes);
  }
  const std::uint32_t bytes = std::min(request.bytes, line.out.size);
  if (bytes != 0) std::memcpy(request.record, line.out.data, bytes);
  request.overlapped->InternalHigh = line.moved;
  std::atomic_ref(request.overlapped->Internal).store(line.result, std::memory_order_release);
  if (request.event == nullptr) return;
  SetEvent(request.event);
  CloseHandle(request.event);
}

}  // namespace sim::record

#include "sim/record/recording/PendedRequests.h"

#include <mutex>

namespace sim::record {

namespace {

bool isCompleted(const PendedRequest& request) {
  return std::atomic_ref(request.overlapped->Internal).load(std::memory_order_acquire) !=
         static_cast<ULONG_PTR>(STATUS_PENDING);
}

bool lies(const void* block, std::size_t bytes, const void* at) {
  const auto begin = reinterpret_cast<std::uintptr_t>(block);
  const auto place = reinterpret_cast<std::uintptr_t>(at);
  return place - begin < bytes;
}

}  // namespace

void PendedRequests::add(PendedRequest request) {
  const std::lock_guard lock(lock_);
  requests_.push_back(std::move(request));
  ++count_;
}

void PendedRequests::look() {
  if (!any()) return;
  const std::lock_guard lock(lock_);
  for (auto each = requests_.begin(); each != requests_.end();) {
    if (!isCompleted(*each)) {
      ++each;
      continue;
    }
    completed_(*each);
    each = requests_.erase(each);
    --count_;
  }
}

void PendedRequests::beforeReuse(const void* memory, std::size_t bytes) {
  if (!any()) return;
  look();
  const std::lock_guard lock(lock_);
  for (auto each = requests_.begin(); each != requests_.end();) {
    if (!lies(memory, bytes, each->overlapped) && !lies(memory, bytes, each->record)) {
      ++each;
      continue;
    }
    each = requests_.erase(each);
    --count_;
  }
}

}  // namespace sim::record

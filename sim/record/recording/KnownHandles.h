// Handles of files and lists that a program was given, by the numbers that recordings have.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

#include "sim/base/NativeLock.h"
#include "sim/record/format/Line.h"

namespace sim::record {

// A handle that was given out, by its number.
struct Known {
  std::uint32_t number = 0;
  BoardName board;
};

class KnownHandles {
 public:
  std::uint32_t add(const void* handle, BoardName board) {
    const std::lock_guard lock(lock_);
    known_[handle] = {++last_, board};
    return last_;
  }
  std::optional<Known> find(const void* handle) {
    const std::lock_guard lock(lock_);
    const auto found = known_.find(handle);
    return found == known_.end() ? std::nullopt : std::optional(found->second);
  }
  void forget(const void* handle) {
    const std::lock_guard lock(lock_);
    known_.erase(handle);
  }

 private:
  NativeLock lock_;
  std::map<const void*, Known> known_;
  std::uint32_t last_ = 0;
};

}  // namespace sim::record

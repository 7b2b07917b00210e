// What the attached module takes from Windows beside boards, and what it is refused.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>

#include "sim/machine/GuardedBlocks.h"

namespace sim {

class Resources {
 public:
  enum class Kind { event, globalMemory, thread };

  // The k-th creation from now on fails, and so do those after it, up to `count` of them.
  void fail(Kind kind, unsigned k, unsigned count = 1);

  // From now on there are no heap blocks of so many bytes or more; 0 ends that.
  void failBlocksFrom(std::size_t bytes) { failingBlocks_ = bytes; }

  GuardedBlocks& guardedBlocks() { return guardedBlocks_; }

  // Created through the module and not given back. Threads are not followed.
  unsigned open(Kind kind) const;
  bool isOpen(Kind kind, const void* object) const;

  // Writes to files, and the bytes in them.
  std::uint64_t writes() const { return writes_; }
  std::uint64_t bytesWritten() const { return bytesWritten_; }

  // ---- for the redirected calls ----
  void noteWrite(std::size_t bytes) {
    ++writes_;
    bytesWritten_ += bytes;
  }

  // Counts one creation. Whether it may be.
  bool allows(Kind kind);
  bool allowsBlock(std::size_t bytes) const { return failingBlocks_ == 0 || bytes < failingBlocks_; }
  void noteTaken(Kind kind, const void* object);
  void noteReturned(Kind kind, const void* object);

 private:
  struct Failure {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
  };

  std::atomic<std::size_t> failingBlocks_ = 0;
  std::atomic<std::uint64_t> writes_ = 0;
  std::atomic<std::uint64_t> bytesWritten_ = 0;
  mutable std::mutex mutex_;
  std::map<Kind, std::set<const void*>> open_;
  std::map<Kind, std::uint64_t> created_;
  std::map<Kind, Failure> failures_;
  GuardedBlocks guardedBlocks_;
};

}  // namespace sim

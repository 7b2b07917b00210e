// Heap blocks that end at a page without access: what is written past one ends the program at once. They
// are filled with bytes 0xA5.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>

namespace sim {

class GuardedBlocks {
 public:
  GuardedBlocks() = default;
  ~GuardedBlocks();
  GuardedBlocks(const GuardedBlocks&) = delete;
  GuardedBlocks& operator=(const GuardedBlocks&) = delete;

  // From now on blocks of so many bytes or more are guarded; 0 ends that.
  void guardFrom(std::size_t bytes) { guarded_ = bytes; }

  // Guarded blocks that were handed out.
  unsigned count() const { return count_; }

  // ---- for the redirected calls ----
  bool wants(std::size_t bytes) const { return guarded_ != 0 && bytes >= guarded_; }

  // Null when there is no memory for it.
  void* allocate(std::size_t bytes);

  // The size of a block of these; 0 for any other.
  std::size_t sizeOf(const void* block) const;
  void free(void* block);

 private:
  struct Block {
    void* pages = nullptr;
    std::size_t bytes = 0;
  };

  std::atomic<std::size_t> guarded_ = 0;
  std::atomic<unsigned> count_ = 0;
  mutable std::mutex mutex_;
  std::map<const void*, Block> blocks_;
};

}  // namespace sim

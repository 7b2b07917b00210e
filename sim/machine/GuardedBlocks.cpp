#include "sim/machine/GuardedBlocks.h"

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <limits>

namespace sim {

namespace {

constexpr std::size_t page = 4096;
constexpr std::size_t alignment = 16;  // of every heap block

// Heap blocks hold what those who had the memory before left in it.
constexpr int ofOthers = 0xA5;

}  // namespace

GuardedBlocks::~GuardedBlocks() {
  for (const auto& [block, known] : blocks_) VirtualFree(known.pages, 0, MEM_RELEASE);
}

void* GuardedBlocks::allocate(std::size_t bytes) {
  if (bytes > std::numeric_limits<std::size_t>::max() - 2 * page) return nullptr;
  const std::size_t room = (bytes + page - 1) / page * page;
  // The last page stays without memory.
  auto* pages = static_cast<std::uint8_t*>(VirtualAlloc(nullptr, room + page, MEM_RESERVE, PAGE_NOACCESS));
  if (pages == nullptr) return nullptr;
  if (VirtualAlloc(pages, room, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
    VirtualFree(pages, 0, MEM_RELEASE);
    return nullptr;
  }
  void* block = pages + (room - bytes) / alignment * alignment;
  std::memset(block, ofOthers, bytes);
  const std::lock_guard lock(mutex_);
  blocks_[block] = {pages, bytes};
  ++count_;
  return block;
}

std::size_t GuardedBlocks::sizeOf(const void* block) const {
  const std::lock_guard lock(mutex_);
  const auto found = blocks_.find(block);
  return found == blocks_.end() ? 0 : found->second.bytes;
}

void GuardedBlocks::free(void* block) {
  const std::lock_guard lock(mutex_);
  const auto found = blocks_.find(block);
  if (found == blocks_.end()) return;
  VirtualFree(found->second.pages, 0, MEM_RELEASE);
  blocks_.erase(found);
}

}  // namespace sim

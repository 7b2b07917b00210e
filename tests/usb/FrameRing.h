// Buffers for a ring or an array capture, each beside a page that faults, with their events.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/files/GuardedMemory.h"
#include "tests/usb/EngineFixture.h"

namespace kvexa::test {

class FrameRing {
 public:
  FrameRing(unsigned size, std::uint32_t frameBytes, std::uint8_t mark) : events(size + 1) {
    for (unsigned i = 0; i < size; ++i) {
      memory.push_back(std::make_unique<GuardedMemory>(frameBytes, MemoryEdge::upper, mark));
      buffers.push_back(memory.back()->data());
    }
    for (const auto& event : events) handles.push_back(event.get());
  }

  unsigned size() const { return static_cast<unsigned>(buffers.size()); }
  std::uint8_t* frame(unsigned i) { return memory[i]->data(); }
  const Event& full(unsigned i) const { return events[i]; }
  const Event& end() const { return events.back(); }

  std::vector<std::unique_ptr<GuardedMemory>> memory;
  std::vector<Event> events;
  std::vector<void*> buffers;
  std::vector<void*> handles;
};

class FrameRingTest : public EngineFixture {
 protected:
  void prepare(unsigned size) {
    ring = std::make_unique<FrameRing>(size, frameBytes, mark);
    for (unsigned i = 0; i < size; ++i) {
      nameBuffer(ring->frame(i), std::to_string(i));
      nameEvent(ring->full(i).get(), "full " + std::to_string(i));
    }
    nameEvent(ring->end().get(), "end");
  }

  std::unique_ptr<FrameRing> ring;
};

}  // namespace kvexa::test

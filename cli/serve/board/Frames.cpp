#include "cli/serve/board/Frames.h"

#include <cstring>

namespace cli::serve {

namespace {

constexpr std::size_t mostSpares = 8;

}  // namespace

void FrameSlot::put(const std::uint8_t* bytes, const std::shared_ptr<const FrameShape>& shape, double time) {
  const std::shared_ptr<LiveFrame> frame = spare(shape->layout.bytes);
  std::memcpy(frame->bytes.data(), bytes, frame->bytes.size());
  frame->number = ++last_;
  frame->time = time;
  frame->shape = shape;
  {
    const std::lock_guard lock(mutex_);
    newest_ = frame;
  }
  for (const Observer& each : observers_) each(frame);
}

FramePointer FrameSlot::newest() const {
  const std::lock_guard lock(mutex_);
  return newest_;
}

std::shared_ptr<LiveFrame> FrameSlot::spare(std::size_t bytes) {
  // Only the slot gives pointers away, so one that the pool alone has stays its own.
  std::erase_if(pool_,
                [bytes](const auto& each) { return each.use_count() == 1 && each->bytes.size() != bytes; });
  for (const auto& each : pool_) {
    if (each.use_count() == 1) return each;
  }
  auto frame = std::make_shared<LiveFrame>();
  frame->bytes.resize(bytes);
  if (pool_.size() < mostSpares) pool_.push_back(frame);
  return frame;
}

}  // namespace cli::serve

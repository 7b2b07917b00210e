// Frames as the capture leaves them: the newest one in a slot, for everybody who wants it.
#pragma once

#include <kvexa.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "cli/frames/FrameSetup.h"
#include "cli/frames/Picture.h"

namespace cli::serve {

// What the frames of one capture have in common.
struct FrameShape {
  FrameShape(const CapParam& values, const FrameLayout& size, const PictureOptions& options)
      : parameters(values), layout(size), picture(options), maker(options, values, size) {}

  CapParam parameters;
  FrameLayout layout;
  PictureOptions picture;
  PictureMaker maker;
};

struct LiveFrame {
  std::uint64_t number = 0;  // from 1, since the server started
  double time = 0;           // seconds since the server started
  std::shared_ptr<const FrameShape> shape;
  std::vector<std::uint8_t> bytes;
};

using FramePointer = std::shared_ptr<const LiveFrame>;

// Holds the newest frame. Whoever looks takes a pointer, so the capture never waits for a reader.
class FrameSlot {
 public:
  // Called for every frame, on the thread that brings it; must not wait. Before the first frame.
  using Observer = std::function<void(const FramePointer& frame)>;
  void observe(Observer observer) { observers_.push_back(std::move(observer)); }

  // Copies the frame, which gets the next number.
  void put(const std::uint8_t* bytes, const std::shared_ptr<const FrameShape>& shape, double time);

  // Null before the first frame.
  FramePointer newest() const;

 private:
  std::shared_ptr<LiveFrame> spare(std::size_t bytes);

  std::vector<Observer> observers_;
  std::uint64_t last_ = 0;
  std::vector<std::shared_ptr<LiveFrame>>
      pool_;  // memory of frames that nobody looks at any more is used again
  mutable std::mutex mutex_;
  FramePointer newest_;
};

}  // namespace cli::serve

// What the encoder's thread makes of a frame.
#pragma once

#include <memory>
#include <vector>

#include "cli/serve/picture/FrameWorker.h"

namespace cli::serve {

// The bytes of a raw, BMP or JPEG file. Memory serves for the next frame too. One thread.
class PictureMaking {
 public:
  std::shared_ptr<const std::vector<std::uint8_t>> make(const FramePointer& frame, const Making& making);

 private:
  kvexa::Image image_{0, 0};
  FramePointer shown_;  // the frame whose picture the image is
};

}  // namespace cli::serve

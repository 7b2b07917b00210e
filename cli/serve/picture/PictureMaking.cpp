#include "cli/serve/picture/PictureMaking.h"

#include "cli/base/Failure.h"
#include "cli/serve/http/Problem.h"
#include "cli/serve/picture/Jpeg.h"

namespace cli::serve {

std::shared_ptr<const std::vector<std::uint8_t>> PictureMaking::make(const FramePointer& frame,
                                                                     const Making& making) {
  // Nothing is copied: the frame lives as long as its bytes are looked at.
  if (making.kind == Making::Kind::raw) return {frame, &frame->bytes};
  const PictureMaker& maker = frame->shape->maker;
  if (!maker.hindrance().empty()) {
    Problem problem(409, "no-picture", "there can be no picture: " + maker.hindrance());
    problem.advice = "frame.raw has the samples";
    throw problem;
  }
  if (shown_ != frame) {
    shown_.reset();
    maker.make(frame->bytes.data(), image_);
    shown_ = frame;
  }
  return std::make_shared<const std::vector<std::uint8_t>>(
      making.kind == Making::Kind::bmp ? bmpOf(image_) : jpegOf(image_, making.quality));
}

}  // namespace cli::serve

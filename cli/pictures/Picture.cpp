#include "cli/pictures/Picture.h"

namespace pictures {

void check(const Picture& picture) {
  constexpr std::uint32_t mostPixels = 65535;
  constexpr std::uint64_t mostBytes = 0xFF000000;  // leaves room for what stands around the samples
  if (picture.width == 0 || picture.height == 0 || picture.width > mostPixels ||
      picture.height > mostPixels) {
    throw PictureError("a picture has 1 to 65535 pixels a side, not " + std::to_string(picture.width) +
                       " x " + std::to_string(picture.height));
  }
  const std::uint64_t bytes =
      std::uint64_t{picture.width} * picture.height * picture.channels * picture.bytesPerSample;
  if (bytes > mostBytes) throw PictureError("the picture is too large for this kind of file");
  if (bytes != picture.samples.size()) {
    throw PictureError("the samples are " + std::to_string(picture.samples.size()) +
                       " bytes, the picture needs " + std::to_string(bytes));
  }
}

}  // namespace pictures

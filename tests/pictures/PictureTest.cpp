#include <gtest/gtest.h>

#include <span>

#include "tests/pictures/Samples.h"

namespace {

using pictures::Picture;

TEST(Picture, AllWritersRefuseTheSame) {
  const pictures::Bytes bytes(24);
  const auto ofSize = [](std::span<const std::uint8_t> samples, std::uint32_t width, std::uint32_t height,
                         std::uint32_t channels = 1, std::uint32_t size = 1) {
    return Picture{samples, width, height, channels, size, ""};
  };
  const Picture bad[] = {ofSize(bytes, 0, 4),
                         ofSize(bytes, 4, 0),
                         ofSize(bytes, 24, 2),
                         ofSize(bytes, 5, 5),
                         ofSize(bytes, 65536, 1),
                         ofSize(bytes, 1, 65536),
                         ofSize(bytes, 65535, 65535),
                         ofSize(bytes, 6, 4, 3),
                         ofSize(bytes, 6, 4, 1, 2),
                         ofSize({}, 6, 4),
                         ofSize(bytes, 65535, 65535, 3, 2)};
  for (const Picture& picture : bad) {
    EXPECT_THROW(pictures::pngOf(picture), pictures::PictureError);
    EXPECT_THROW(pictures::tiffOf(picture), pictures::PictureError);
    EXPECT_THROW(pictures::npyOf(picture), pictures::PictureError);
  }
  const Picture good = ofSize(bytes, 6, 4);
  EXPECT_NO_THROW(pictures::check(good));
}

}  // namespace

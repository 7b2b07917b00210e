#include <gtest/gtest.h>

#include "tests/pictures/Samples.h"

namespace {

using pictures::Bytes;

std::string headerOf(const Bytes& file) {
  EXPECT_EQ(Bytes(file.begin(), file.begin() + 8), (Bytes{0x93, 0x4E, 0x55, 0x4D, 0x50, 0x59, 1, 0}));
  const std::uint32_t length = samples::littleAt(file, 8, 2);
  EXPECT_EQ((10 + length) % 64, 0U);
  EXPECT_EQ(file.at(10 + length - 1), '\n');
  std::string header(file.begin() + 10, file.begin() + 10 + length);
  return header.substr(0, header.find('}') + 1);
}

TEST(NpyWriter, TellsTypeAndShape) {
  EXPECT_EQ(headerOf(pictures::npyOf(samples::Owned(5, 3, 1, 2).picture)),
            "{'descr': '<u2', 'fortran_order': False, 'shape': (3, 5), }");
  EXPECT_EQ(headerOf(pictures::npyOf(samples::Owned(640, 480, 3, 1).picture)),
            "{'descr': '|u1', 'fortran_order': False, 'shape': (480, 640, 3), }");
}

TEST(NpyWriter, KeepsEverySample) {
  for (const std::uint32_t width : {1U, 10U, 100U, 1000U, 10000U}) {
    const samples::Owned owned(width, 3, 1, 2);
    const Bytes file = pictures::npyOf(owned.picture);
    headerOf(file);
    EXPECT_EQ(Bytes(file.end() - static_cast<std::ptrdiff_t>(owned.bytes.size()), file.end()), owned.bytes);
    EXPECT_EQ((file.size() - owned.bytes.size()) % 64, 0U);
  }
}

}  // namespace

// How files go out: in large pieces.
#include <vector>

#include "tests/files/TemporaryFolder.h"
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

constexpr unsigned width = 4208;
constexpr unsigned height = 3120;  // 13 megapixels

class WriteSize : public MachineTest {
 protected:
  // A few system calls for each megabyte, whatever the size of a row.
  template <class Save>
  void expectLargePieces(std::uint64_t bytes, Save save) {
    const std::uint64_t writesBefore = machine.resources().writes();
    const std::uint64_t bytesBefore = machine.resources().bytesWritten();
    ASSERT_EQ(KVEXA_OK, save());
    EXPECT_EQ(bytes, machine.resources().bytesWritten() - bytesBefore);
    EXPECT_LE(machine.resources().writes() - writesBefore, 2 + bytes / 500000);
  }

  std::string path() { return folder_.path("image"); }

  const TemporaryFolder folder_;
  const std::vector<std::uint8_t> image_ = std::vector<std::uint8_t>(std::size_t{width} * height * 3, 0x5A);
  const SaveRect whole_{0, 0, width, height};
  const SaveRect inside_{1, 1, width - 2, height - 2};
};

TEST_F(WriteSize, BinOfThirteenMegapixels) {
  expectLargePieces(std::uint64_t{width} * height * 3, [&] {
    return kVexaSaveBinFile(path().c_str(), image_.data(), width, height, &whole_, KVEXA_FORMAT_BGR24);
  });
  expectLargePieces(std::uint64_t{width - 2} * (height - 2) * 3, [&] {
    return kVexaSaveBinFile(path().c_str(), image_.data(), width, height, &inside_, KVEXA_FORMAT_BGR24);
  });
}

TEST_F(WriteSize, BitmapOfThirteenMegapixels) {
  expectLargePieces(54 + std::uint64_t{width} * height * 3, [&] {
    return kVexaSaveBmpFile(path().c_str(), image_.data(), width, height, &whole_, KVEXA_FORMAT_BGR24,
                            KVEXA_BMP_24_BITS);
  });
  expectLargePieces(54 + std::uint64_t{width} * height * 3, [&] {
    return kVexaSaveBmpFile(path().c_str(), image_.data(), width, height, &whole_, KVEXA_FORMAT_GREY8,
                            KVEXA_BMP_24_BITS);
  });
}

// Network drives refuse what is much larger; smaller pieces would take more calls.
TEST_F(WriteSize, LargestWriteIsSixteenMebibytes) {
  constexpr std::uint32_t rowBytes = 4096;
  constexpr std::uint32_t twoPieces = (32U << 20) / rowBytes;
  const auto writesOf = [this](std::uint32_t rows) {
    const SaveRect rect{0, 0, rowBytes, rows};
    const std::uint64_t before = machine.resources().writes();
    EXPECT_EQ(KVEXA_OK,
              kVexaSaveBinFile(path().c_str(), image_.data(), rowBytes, rows, &rect, KVEXA_FORMAT_GREY8));
    return machine.resources().writes() - before;
  };
  EXPECT_EQ(writesOf(twoPieces) + 1, writesOf(twoPieces + 1));
  EXPECT_EQ(writesOf(twoPieces / 2) + 1, writesOf(twoPieces));
}

// No copy of the whole image is made: there is no room for one.
TEST_F(WriteSize, NoMemoryOfAnImagesSizeIsNeeded) {
  machine.resources().failBlocksFrom(2 << 20);
  const std::int32_t bin =
      kVexaSaveBinFile(path().c_str(), image_.data(), width, height, &whole_, KVEXA_FORMAT_BGR24);
  const std::int32_t bmp = kVexaSaveBmpFile(path().c_str(), image_.data(), width, height, &whole_,
                                            KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS);
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ(KVEXA_OK, bin);
  EXPECT_EQ(KVEXA_OK, bmp);
}

TEST_F(WriteSize, WithoutMemoryForAPieceNoFileIsMade) {
  machine.resources().failBlocksFrom(1000);
  const std::int32_t bin =
      kVexaSaveBinFile(path().c_str(), image_.data(), width, height, &whole_, KVEXA_FORMAT_BGR24);
  const std::int32_t bmp = kVexaSaveBmpFile(path().c_str(), image_.data(), width, height, &whole_,
                                            KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS);
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, bin);
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, bmp);
  EXPECT_TRUE(folder_.isEmpty());
}

}  // namespace
}  // namespace kvexa::test

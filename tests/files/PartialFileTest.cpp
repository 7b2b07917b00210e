// Writes that fail half-way: what is returned, and what is left of the file.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/files/ImageWriters.h"
#include "tests/files/LibraryWrites.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/BoardFixture.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What the volume takes of the write that it refuses.
enum class Taken { nothing, half, allButOne };

std::size_t taken(Taken part, std::size_t bytes) {
  switch (part) {
    case Taken::nothing: return 0;
    case Taken::half: return bytes / 2;
    default: return bytes - 1;
  }
}

constexpr unsigned width = 1500;
constexpr unsigned height = 900;

class PartialFile : public MachineTest, public testing::WithParamInterface<ImageWriter> {
 protected:
  static Bytes picture() {
    Bytes image(std::size_t{width} * height * 3);
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return image;
  }

  std::int32_t save() { return GetParam().save(path_.c_str(), image_.data(), width, height, rect_); }

  // Saves while the k-th write meets a full volume, and looks at what is left.
  void meetFullVolume(unsigned k, Taken part, const Bytes& good) {
    SCOPED_TRACE(testing::Message() << "write " << k << ", " << static_cast<int>(part));
    LibraryWrites writes;
    std::size_t expected = 0;
    writes.onWrite = [&](unsigned number, std::size_t bytes) {
      const std::size_t some = number == k ? taken(part, bytes) : bytes;
      EXPECT_LE(number, k) << "it goes on after a failure";
      expected += some;
      return some;
    };
    EXPECT_EQ(GetParam().cannotWrite, save());
    EXPECT_EQ(k, writes.count());
    const Bytes left = folder_.read(name);
    ASSERT_EQ(expected, left.size());
    EXPECT_TRUE(std::equal(left.begin(), left.end(), good.begin()));
  }

  // Nothing of the failure is left beside the file: nobody holds it, and the next time it is whole.
  void expectRecovered(const Bytes& good) {
    const HANDLE alone = CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, alone);
    CloseHandle(alone);
    EXPECT_EQ(KVEXA_OK, save());
    EXPECT_TRUE(good == folder_.read(name));
  }

  static constexpr const char* name = "image";
  const TemporaryFolder folder_;
  const std::string path_ = folder_.path(name);
  const Bytes image_ = picture();
  const SaveRect rect_{1, 0, width - 1, height};
};

TEST_P(PartialFile, HoldsWhatWasWrittenBeforeTheFailure) {
  unsigned total = 0;
  {
    LibraryWrites writes;
    ASSERT_EQ(KVEXA_OK, save());
    total = writes.count();
  }
  const Bytes good = folder_.read(name);
  ASSERT_LE(3U, total);
  // Of many writes the first ones, the last ones and one in the middle.
  for (unsigned k = 1; k <= total; ++k) {
    if (k > 3 && k + 3 <= total && k != total / 2) continue;
    for (const auto part : {Taken::nothing, Taken::half, Taken::allButOne}) meetFullVolume(k, part, good);
  }
  expectRecovered(good);
}

TEST_P(PartialFile, NothingIsTakenForGood) {
  const auto failOnce = [this] {
    LibraryWrites writes;
    writes.onWrite = [](unsigned k, std::size_t bytes) { return k == 2 ? 0 : bytes; };
    EXPECT_EQ(GetParam().cannotWrite, save());
  };
  failOnce();
  const unsigned before = processHandleCount();
  for (int i = 0; i < 5; ++i) failOnce();
  EXPECT_EQ(before, processHandleCount());
}

// Rows that lie together go out from where they are, in pieces of 16 MiB.
using PartialPiece = MachineTest;

TEST_F(PartialPiece, FirstPieceStaysWhenTheSecondFails) {
  constexpr std::uint32_t side = 4200;
  constexpr std::size_t piece = std::size_t{16} << 20;
  const TemporaryFolder folder;
  const Bytes image(std::size_t{side} * side, 0x3C);
  const SaveRect whole{0, 0, side, side};
  for (const std::size_t some : {std::size_t{0}, std::size_t{1000}}) {
    LibraryWrites writes;
    writes.onWrite = [some](unsigned k, std::size_t bytes) { return k == 2 ? some : bytes; };
    EXPECT_EQ(KVEXA_FILE_NOT_OPENED,
              kVexaSaveBinFile(folder.path("image").c_str(), image.data(), side, side, &whole, 1));
    EXPECT_EQ(2U, writes.count());
    EXPECT_EQ(piece + some, folder.read("image").size());
  }
}

INSTANTIATE_TEST_SUITE_P(Writers, PartialFile, testing::ValuesIn(imageWriters),
                         [](const auto& writer) { return std::string(writer.param.name); });

}  // namespace
}  // namespace kvexa::test

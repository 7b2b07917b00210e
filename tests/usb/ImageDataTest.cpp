// Bulk reads of image data.
#include <algorithm>

#include "tests/support/CaptureFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t mebibyte = 0x100000;

class GetData : public CaptureFixture {
 protected:
  std::int32_t get(std::uint32_t length, std::uint32_t timeout) {
    return kUsbGetData(handle.driverHandle, length, &received, buffer.data(), timeout);
  }

  std::uint32_t received = untouched;
  std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(3 * mebibyte, mark);
};

TEST_F(GetData, ZeroLengthOrTimeoutIsRefusedAndNothingIsSent) {
  EXPECT_EQ(KVEXA_FAILED, get(0, 100));
  EXPECT_EQ(KVEXA_FAILED, get(100, 0));
  EXPECT_EQ("", trace());
}

TEST_F(GetData, NullPointersAreRefusedAndNothingIsSent) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbGetData(handle.driverHandle, 100, nullptr, buffer.data(), 100));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbGetData(handle.driverHandle, 100, &received, nullptr, 100));
  EXPECT_EQ("", trace());
}

TEST_F(GetData, SmallFrameIsOneReadAndArrivesWhole) {
  streamAndRelease(64, 64);
  EXPECT_EQ(KVEXA_OK, get(4096, 700));
  EXPECT_EQ(4096U, received);
  EXPECT_EQ(imageRead(4096, 700), trace());
  EXPECT_TRUE(isAFrame(buffer.data(), 4096));
  EXPECT_EQ(mark, buffer[4096]);
}

TEST_F(GetData, OneMebibyteIsOneRead) {
  streamAndRelease(1024, 1024);
  EXPECT_EQ(KVEXA_OK, get(mebibyte, 700));
  EXPECT_EQ(mebibyte, received);
  EXPECT_EQ(imageRead(mebibyte, 700), trace());
}

TEST_F(GetData, TwoMebibytesAreTwoReadsAndAnEmptyOne) {
  streamAndRelease(2048, 1024);
  EXPECT_EQ(KVEXA_OK, get(2 * mebibyte, 700));
  EXPECT_EQ(2 * mebibyte, received);
  EXPECT_EQ(imageRead(mebibyte, 350) + imageRead(mebibyte, 350) + imageRead(0, 350), trace());
  EXPECT_TRUE(isAFrame(buffer.data(), 2 * mebibyte));
}

TEST_F(GetData, TwoAndAHalfMebibytesAreThreeReadsWithHalfTheTimeoutEach) {
  streamAndRelease(2048, 1280);
  EXPECT_EQ(KVEXA_OK, get(5 * mebibyte / 2, 701));
  EXPECT_EQ(5 * mebibyte / 2, received);
  EXPECT_EQ(imageRead(mebibyte, 350) + imageRead(mebibyte, 350) + imageRead(mebibyte / 2, 350), trace());
  EXPECT_TRUE(isAFrame(buffer.data(), 5 * mebibyte / 2));
  EXPECT_EQ(mark, buffer[5 * mebibyte / 2]);
}

TEST_F(GetData, OneAndAHalfMebibytesAreTwoReadsWithTheWholeTimeoutEach) {
  streamAndRelease(2048, 768);
  EXPECT_EQ(KVEXA_OK, get(3 * mebibyte / 2, 700));
  EXPECT_EQ(3 * mebibyte / 2, received);
  EXPECT_EQ(imageRead(mebibyte, 700) + imageRead(mebibyte / 2, 700), trace());
}

TEST_F(GetData, RefusedSmallReadIsReportedWithNothingReceived) {
  streamAndRelease(64, 64);
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, get(4096, 700));
  EXPECT_EQ(0U, received);
}

TEST_F(GetData, OnlyTheLastReadsResultCounts) {
  streamAndRelease(2048, 1280);
  refuse(1);
  EXPECT_EQ(KVEXA_OK, get(5 * mebibyte / 2, 700));
  EXPECT_EQ(3 * mebibyte / 2, received);

  refuse(3);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, get(5 * mebibyte / 2, 700));
}

TEST_F(GetData, ReadThatComesShortTellsHowMuchCame) {
  streamAndRelease(64, 64);
  board.faults().at(1, {sim::Fault::Kind::shorten, 1000});
  EXPECT_EQ(KVEXA_OK, get(4096, 700));
  EXPECT_EQ(1000U, received);
}

TEST_F(GetData, NoFrameInTimeIsARefusedRequest) {
  streamAndRelease(64, 64);
  board.faults().holdFrames(true);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, get(4096, 700));
  EXPECT_EQ(0U, received);
}

TEST_F(GetData, UnpluggedBoardIsReported) {
  board.unplug();
  EXPECT_EQ(KVEXA_REQUEST_FAILED, get(4096, 700));
  EXPECT_EQ(0U, received);
}

}  // namespace
}  // namespace kvexa::test

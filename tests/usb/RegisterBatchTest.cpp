// Many register writes in one transfer.
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class RegisterBatchWrite : public BoardFixture {
 protected:
  std::int32_t write(std::uint32_t wideSubAddress, std::vector<RegisterBatchEntry>& entries) {
    RegisterBatch batch{0x36, wideSubAddress, entries.data(), static_cast<std::uint32_t>(entries.size())};
    return kVexaManyRegWrite(&handle, &batch);
  }

  const std::uint32_t first[2] = {0xFFFFFF11, 0x22};
  const std::uint32_t second[1] = {0x33};
};

TEST_F(RegisterBatchWrite, EightBitSubAddressesGoOutAsOneTransfer) {
  std::vector<RegisterBatchEntry> entries = {{0xABCD, first, 2}, {0x10, second, 1}};
  EXPECT_EQ(KVEXA_OK, write(0, entries));
  EXPECT_EQ(out(3, {0x01, 0x36, 0xcd, 0x02, 0x00, 0x11, 0x22, 0x01, 0x36, 0x10, 0x01, 0x00, 0x33}), trace());
}

TEST_F(RegisterBatchWrite, SixteenBitSubAddressesGoOutAsOneTransfer) {
  for (const std::uint32_t wide : {1U, 0x80000000U}) {
    std::vector<RegisterBatchEntry> entries = {{0xABCD, first, 2}, {0x10, second, 1}};
    EXPECT_EQ(KVEXA_OK, write(wide, entries));
    EXPECT_EQ(
        out(3, {0x03, 0x36, 0xcd, 0xab, 0x02, 0x00, 0x11, 0x22, 0x03, 0x36, 0x10, 0x00, 0x01, 0x00, 0x33}),
        trace());
  }
}

TEST_F(RegisterBatchWrite, TheSensorReceivesEveryWrite) {
  bringUpSensor();
  std::vector<RegisterBatchEntry> entries = {{0x8000, first, 2}, {0x9000, second, 1}};
  EXPECT_EQ(KVEXA_OK, write(1, entries));
  EXPECT_EQ(0x11, board.sensor().peek(0x8000));
  EXPECT_EQ(0x22, board.sensor().peek(0x8001));
  EXPECT_EQ(0x33, board.sensor().peek(0x9000));
}

TEST_F(RegisterBatchWrite, DataPointersAreAdvancedPastTheWordsTaken) {
  std::vector<RegisterBatchEntry> entries = {{0xABCD, first, 2}, {0x10, second, 1}};
  EXPECT_EQ(KVEXA_OK, write(0, entries));
  EXPECT_EQ(first + 2, entries[0].data);
  EXPECT_EQ(second + 1, entries[1].data);
  EXPECT_EQ(2U, entries[0].count);
  EXPECT_EQ(0xABCDU, entries[0].subAddress);
}

TEST_F(RegisterBatchWrite, NoEntriesAreAnEmptyTransfer) {
  RegisterBatch batch{0x36, 0, nullptr, 0};
  EXPECT_EQ(KVEXA_OK, kVexaManyRegWrite(&handle, &batch));
  EXPECT_EQ(out(3, {}), trace());
}

TEST_F(RegisterBatchWrite, EntryWithoutDataIsAHeader) {
  std::vector<RegisterBatchEntry> entries = {{0x10, nullptr, 0}};
  EXPECT_EQ(KVEXA_OK, write(0, entries));
  EXPECT_EQ(out(3, {0x01, 0x36, 0x10, 0x00, 0x00}), trace());
}

TEST_F(RegisterBatchWrite, CountGoesOutLowByteFirst) {
  const std::vector<std::uint32_t> words(0x0102, 0x44);
  std::vector<RegisterBatchEntry> entries = {{0x10, words.data(), 0x0102}};
  EXPECT_EQ(KVEXA_OK, write(0, entries));
  EXPECT_EQ(0U, trace().find("usb0 pipe3 out 1000ms [01 36 10 02 01 44 44 "));
  EXPECT_EQ(words.data() + 0x0102, entries[0].data);
}

TEST_F(RegisterBatchWrite, RefusedTransferIsNotReported) {
  std::vector<RegisterBatchEntry> entries = {{0x10, second, 1}};
  refuse(1);
  EXPECT_EQ(KVEXA_OK, write(0, entries));
  EXPECT_EQ(refused(out(3, {0x01, 0x36, 0x10, 0x01, 0x00, 0x33})), trace());
  EXPECT_EQ(second + 1, entries[0].data);
}

TEST_F(RegisterBatchWrite, BadBatchesAreRefusedAndNothingIsSent) {
  RegisterBatch withoutArray{0x36, 0, nullptr, 1};
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaManyRegWrite(&handle, &withoutArray));
  std::vector<RegisterBatchEntry> withoutData = {{0x10, second, 1}, {0x10, nullptr, 1}};
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, write(0, withoutData));
  const std::vector<std::uint32_t> words(65536, 0);
  std::vector<RegisterBatchEntry> tooLong = {{0x10, second, 1}, {0x10, words.data(), 65536}};
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, write(0, tooLong));
  EXPECT_EQ("", trace());
}

// The whole exceeds first what a process can hold, then what 32 bits can count.
TEST_F(RegisterBatchWrite, BatchBeyondMemoryIsRefusedAndNothingIsSent) {
  const std::vector<std::uint32_t> words(65535, 0);
  for (const unsigned entryCount : {60000U, 65600U}) {
    std::vector<RegisterBatchEntry> entries(entryCount, {0x10, words.data(), 65535});
    EXPECT_EQ(KVEXA_TOO_LARGE, write(1, entries)) << entryCount;
    EXPECT_EQ("", trace());
  }
}

}  // namespace
}  // namespace kvexa::test

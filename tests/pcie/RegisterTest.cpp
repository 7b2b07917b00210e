// Registers of the board, and the memory regions that are locked for the driver.
#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

using Region = sim::pcie::Board::Region;

class PcieRegister : public PcieFixture {};

TEST_F(PcieRegister, ReadSendsOneRecord) {
  board.setBoardRegister(0x504, 0x89ABCDEF);
  std::uint32_t value = untouched;
  EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&handle, 0x504, 1, &value));
  EXPECT_EQ(0x89ABCDEFU, value);
  EXPECT_EQ(readRegister(0x504, 0x89ABCDEF), trace());
}

TEST_F(PcieRegister, WriteSendsOneRecord) {
  const std::uint32_t value = 0xFEDCBA98;
  EXPECT_EQ(KVEXA_OK, kVexaFpgaWrite(&handle, 0x504, 1, &value));
  EXPECT_EQ(0xFEDCBA98U, board.boardRegister(0x504));
  EXPECT_EQ(writeRegister(0x504, 0xFEDCBA98), trace());
}

TEST_F(PcieRegister, CountHasNoEffect) {
  board.setBoardRegister(0x504, 7);
  for (const std::uint32_t count : {0U, 1U, 2U, 100000U}) {
    std::uint32_t words[2] = {untouched, untouched};
    EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&handle, 0x504, count, words)) << count;
    EXPECT_EQ(7U, words[0]) << count;
    EXPECT_EQ(untouched, words[1]) << count;
    EXPECT_EQ(KVEXA_OK, kVexaFpgaWrite(&handle, 0x508, count, words)) << count;
    EXPECT_EQ(readRegister(0x504, 7) + writeRegister(0x508, 7), trace()) << count;
  }
}

TEST_F(PcieRegister, RefusedReadLeavesTheWord) {
  refuse(1);
  std::uint32_t value = untouched;
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaFpgaRead(&handle, 0x504, 1, &value));
  EXPECT_EQ(untouched, value);
  EXPECT_EQ(request("readRegister", {0, 0x504, 0}) + " -> error 31\n", trace());
}

TEST_F(PcieRegister, AcceptedReadStoresTheWordWhateverTheStatus) {
  board.setBoardRegister(0x504, 7);
  for (const std::uint32_t status : {0x3000U, 0x3001U, 0x1000U}) {
    answer(1, status);
    std::uint32_t value = untouched;
    kVexaFpgaRead(&handle, 0x504, 1, &value);
    EXPECT_EQ(7U, value) << status;
  }
}

TEST_F(PcieRegister, OnlyTwoStatusesAreErrors) {
  const std::uint32_t value = 5;
  std::uint32_t read = 0;
  for (const std::uint32_t status :
       {0x1000U, 0x1001U, 0x1002U, 0x1003U, 0x1004U, 0x2000U, 0x2009U, 0x3002U, 0xFFFFFFFFU}) {
    answer(1, status);
    EXPECT_EQ(KVEXA_OK, kVexaFpgaWrite(&handle, 0x504, 1, &value)) << status;
    answer(1, status);
    EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&handle, 0x504, 1, &read)) << status;
  }
  answer(1, 0x3000);
  EXPECT_EQ(KVEXA_DRIVER_3000, kVexaFpgaWrite(&handle, 0x504, 1, &value));
  answer(1, 0x3001);
  EXPECT_EQ(KVEXA_DRIVER_3001, kVexaFpgaRead(&handle, 0x504, 1, &read));
}

TEST_F(PcieRegister, NullWordIsRefusedAndNothingIsSent) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaRead(&handle, 0x504, 1, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaWrite(&handle, 0x504, 1, nullptr));
  EXPECT_EQ("", trace());
}

TEST_F(PcieRegister, LockAndUnlockSendTheRegionUnchanged) {
  EXPECT_EQ(KVEXA_OK, kVexaLockMemory(&handle, 0x12345678, 0x9000));
  EXPECT_EQ((std::vector<Region>{{0x12345678, 0x9000}}), board.lockedRegions());
  EXPECT_EQ(KVEXA_OK, kVexaUnlockMemory(&handle, 0x12345678, 0x9000));
  EXPECT_TRUE(board.lockedRegions().empty());
  EXPECT_EQ(done(request("lockMemory", {0, 0x12345678, 0x9000})) +
                done(request("unlockMemory", {0, 0x12345678, 0x9000})),
            trace());
}

TEST_F(PcieRegister, LockMapsTheStatus) {
  answer(1, 0x3000);
  EXPECT_EQ(KVEXA_DRIVER_3000, kVexaLockMemory(&handle, 1, 2));
  answer(1, 0x3001);
  EXPECT_EQ(KVEXA_DRIVER_3001, kVexaLockMemory(&handle, 1, 2));
  answer(1, 0x1001);
  EXPECT_EQ(KVEXA_OK, kVexaLockMemory(&handle, 1, 2));
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaLockMemory(&handle, 1, 2));
}

TEST_F(PcieRegister, UnlockReturnsTheStatusAsItIs) {
  for (const std::uint32_t status : {0x3000U, 0x3001U, 0x1000U, 0xFFFFFFFEU}) {
    answer(1, status);
    EXPECT_EQ(static_cast<std::int32_t>(status), kVexaUnlockMemory(&handle, 1, 2));
  }
  answer(1, 0x3000);
  EXPECT_EQ(12288, kVexaUnlockMemory(&handle, 1, 2));
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaUnlockMemory(&handle, 1, 2));
}

}  // namespace
}  // namespace kvexa::test

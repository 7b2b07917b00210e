// Functions of USB boards that find no memory: their code comes back, the caller's memory is as it was, and
// the board works on.
#include <string>
#include <vector>

#include "tests/support/BoardFixture.h"
#include "tests/support/TemporaryFile.h"

namespace kvexa::test {
namespace {

class UsbNoMemory : public BoardFixture {
 protected:
  // The result without blocks of so many bytes or more; `sent` is what went to the driver.
  template <class Call>
  std::int32_t without(std::size_t bytes, Call call) {
    trace();
    machine.resources().failBlocksFrom(bytes);
    const std::int32_t result = call();
    machine.resources().failBlocksFrom(0);
    sent = trace();
    return result;
  }

  // A call whose first request needs few bytes, and whose data many.
  template <class Call>
  void expectEndsBeforeItsData(Call call) {
    trace();
    ASSERT_EQ(KVEXA_OK, call());
    const std::string whole = trace();
    EXPECT_EQ(KVEXA_TOO_LARGE, without(manyBytes / 2, call));
    EXPECT_FALSE(sent.empty());
    EXPECT_LT(sent.size(), whole.size());
    EXPECT_TRUE(whole.starts_with(sent)) << sent;
    EXPECT_EQ(KVEXA_TOO_LARGE, without(1, call));
    EXPECT_EQ("", sent);
    EXPECT_EQ(KVEXA_OK, call());
  }

  static constexpr std::uint32_t manyBytes = 1000;

  std::vector<std::uint32_t> words = std::vector<std::uint32_t>(manyBytes, untouched);
  std::string sent;
};

TEST_F(UsbNoMemory, BoardRegistersEndBeforeTheirData) {
  expectEndsBeforeItsData([this] { return kVexaFpgaWrite(&handle, 0x0504, manyBytes, words.data()); });
  expectEndsBeforeItsData([this] { return kVexaFpgaRead(&handle, 0x0504, manyBytes, words.data()); });
}

TEST_F(UsbNoMemory, BoardRegisterReadLeavesTheWords) {
  EXPECT_EQ(KVEXA_TOO_LARGE, without(manyBytes / 2, [this] {
              return kVexaFpgaRead(&handle, 0x0504, manyBytes, words.data());
            }));
  EXPECT_EQ(std::vector<std::uint32_t>(manyBytes, untouched), words);
}

TEST_F(UsbNoMemory, SensorRegistersSendNothing) {
  bringUpSensor();
  EXPECT_EQ(KVEXA_TOO_LARGE,
            without(1, [this] { return kVexaRegRead(&handle, 0x6C, 0, 1, 2, words.data()); }));
  EXPECT_EQ("", sent);
  EXPECT_EQ(untouched, words[0]);
  EXPECT_EQ(KVEXA_TOO_LARGE,
            without(1, [this] { return kVexaRegWrite(&handle, 0x6C, 0, 1, 2, words.data()); }));
  EXPECT_EQ("", sent);
}

TEST_F(UsbNoMemory, BatchSendsNothingAndKeepsTheCallersPointers) {
  RegisterBatchEntry entry{0x10, words.data(), 2};
  RegisterBatch batch{0x36, 1, &entry, 1};
  EXPECT_EQ(KVEXA_TOO_LARGE, without(1, [&] { return kVexaManyRegWrite(&handle, &batch); }));
  EXPECT_EQ("", sent);
  EXPECT_EQ(words.data(), entry.data);
}

TEST_F(UsbNoMemory, RegisterFileSendsNothing) {
  const TemporaryFile file("36,1\n10,1\n");
  EXPECT_EQ(KVEXA_FAILED, without(1, [&] { return kVexaSetI2cFile(file.path(), &handle); }));
  EXPECT_EQ("", sent);
}

// The pause and the reading of the status come all the same.
TEST_F(UsbNoMemory, TableOfCommandsSendsNoneAndReadsTheStatus) {
  std::vector<RegisterTableEntry> table(3);
  table[0].number = 0x81;
  ASSERT_EQ(KVEXA_OK, kUsbBufToReg(handle.driverHandle, table.data(), 3));
  const std::string whole = trace();
  EXPECT_EQ(KVEXA_FAILED, without(1, [&] { return kUsbBufToReg(handle.driverHandle, table.data(), 3); }));
  EXPECT_FALSE(sent.empty());
  EXPECT_LT(sent.size(), whole.size());
  EXPECT_TRUE(whole.ends_with(sent)) << sent;
}

}  // namespace
}  // namespace kvexa::test

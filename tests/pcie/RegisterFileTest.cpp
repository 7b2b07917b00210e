// Playing a register-setting file into the sensor.
#include <sstream>

#include "tests/pcie/PcieFixture.h"
#include "tests/support/TemporaryFile.h"

namespace kvexa::test {
namespace {

class PcieRegisterFile : public PcieFixture {
 protected:
  void SetUp() override {
    PcieFixture::SetUp();
    stream(64, 64);
  }

  std::int32_t play(const std::string& text) {
    const TemporaryFile file(text);
    return kVexaSetI2cFile(file.path(), &handle);
  }

  // One line's write.
  static std::string write(std::uint32_t slave, std::uint32_t mode, std::uint32_t address,
                           const std::vector<std::uint32_t>& values, std::uint32_t status = 0) {
    const auto count = static_cast<std::uint32_t>(values.size());
    std::vector<std::uint32_t> words{0, 1, mode, count, 0, address, slave, 0, count};
    words.insert(words.end(), values.begin(), values.end());
    return pending(request("writeBlock", words)) + complete("writeBlock", status);
  }
};

// While it lives, the library's table of lines ends at a page that faults.
class GuardedTable {
 public:
  explicit GuardedTable(sim::Machine& machine) : blocks_(machine.resources().guardedBlocks()) {
    blocks_.guardFrom(1000000);
  }
  ~GuardedTable() { blocks_.guardFrom(0); }
  GuardedTable(const GuardedTable&) = delete;
  GuardedTable& operator=(const GuardedTable&) = delete;

  // Tables so far.
  unsigned count() const { return blocks_.count(); }

 private:
  sim::GuardedBlocks& blocks_;
};

TEST_F(PcieRegisterFile, EachLineIsOneWriteWithoutAPause) {
  EXPECT_EQ(KVEXA_OK, play("36,1\n1000,12,34\n0x2000, 0x56\n"));
  EXPECT_EQ(write(0x36, 1, 0x1000, {0x12, 0x34}) + write(0x36, 1, 0x2000, {0x56}), trace());
  EXPECT_EQ(0x34, board.sensor().peek(0x1001));
  EXPECT_EQ(0x56, board.sensor().peek(0x2000));
}

TEST_F(PcieRegisterFile, ValuesKeepTheir32Bits) {
  EXPECT_EQ(KVEXA_OK, play("36,1\n1000,12345678,-1,FFFFFFFF\n"));
  EXPECT_EQ(write(0x36, 1, 0x1000, {0x12345678, 0xFFFFFFFF, 0x7FFFFFFF}), trace());
}

TEST_F(PcieRegisterFile, HeaderAloneSendsNothing) {
  EXPECT_EQ(KVEXA_OK, play("36,1\n"));
  EXPECT_EQ(KVEXA_OK, play(""));
  EXPECT_EQ(KVEXA_OK, play("36,7\n"));
  EXPECT_EQ("", trace());
}

// Such a line is a write of no data, and a write of no data sends nothing.
TEST_F(PcieRegisterFile, EmptyLinesAndCommentsSendNothing) {
  EXPECT_EQ(KVEXA_OK, play("36,1\n\n; a comment\n1000,5\n"));
  EXPECT_EQ(write(0x36, 1, 0x1000, {5}), trace());
}

TEST_F(PcieRegisterFile, EndMarkEndsTheFile) {
  EXPECT_EQ(KVEXA_OK, play("36,1\r\n1000,5\r\n\x1A"
                           "1001,6\n"));
  EXPECT_EQ(write(0x36, 1, 0x1000, {5}), trace());
}

TEST_F(PcieRegisterFile, TrailingCommaIsAValueOfZero) {
  EXPECT_EQ(KVEXA_OK, play("36,1\n12,34,\n"));
  EXPECT_EQ(write(0x36, 1, 0x12, {0x34, 0}), trace());
}

TEST_F(PcieRegisterFile, AddressModeGoesToTheDriverWhichDecides) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, play("36,7\n1000,5\n"));
  EXPECT_EQ(write(0x36, 7, 0x1000, {5}, 0x2000), trace());
}

// A line without a comma has no number, and so no slave address.
TEST_F(PcieRegisterFile, HeaderWithoutACommaIsAllZeros) {
  const GuardedTable table(machine);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, play("36\n10,5\n"));
  EXPECT_EQ(write(0, 0, 0x10, {5}, 0x2009), trace());
}

TEST_F(PcieRegisterFile, FirstFailureEndsThePlay) {
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play("36,1\n1000,1\n1001,2\n1002,3\n"));
  EXPECT_EQ(1, board.sensor().peek(0x1000));
  EXPECT_EQ(0, board.sensor().peek(0x1001));
  EXPECT_EQ(0, board.sensor().peek(0x1002));
  answer(1, 0x2009);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, play("36,1\n1000,1\n1001,2\n"));
}

TEST_F(PcieRegisterFile, FileOfTheMostLinesPlays) {
  std::ostringstream text;
  text << "36,1\n" << std::hex;
  for (unsigned i = 1; i < 1024; ++i) text << 0x1000 + i << "," << (i & 0xFF) << "\n";
  EXPECT_EQ(KVEXA_OK, play(text.str()));
  EXPECT_EQ(2U * 1023, machine.trace().take().size());
  for (unsigned i = 1; i < 1024; ++i) {
    ASSERT_EQ(i & 0xFF, board.sensor().peek(static_cast<std::uint16_t>(0x1000 + i)));
  }
}

// The table of the lines stands against a page that faults: nothing is written behind it.
TEST_F(PcieRegisterFile, TableIsNeverOverrun) {
  GuardedTable table(machine);
  std::string fullLine = "1000";
  for (unsigned i = 0; i < 256; ++i) fullLine += ",1";
  std::string lines = "36,1\n";
  for (unsigned i = 1; i < 1024; ++i) lines += fullLine + "\n";
  EXPECT_EQ(KVEXA_OK, play(lines));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, play(lines + fullLine + "\n"));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, play(lines + std::string(100000, '1')));
  lines.resize(lines.size() - 1);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, play(lines + ",1\n"));
  EXPECT_EQ(4U, table.count());
}

TEST_F(PcieRegisterFile, TooManyLinesOrValuesSendNothing) {
  std::string lines = "36,1\n";
  for (int i = 0; i < 1024; ++i) lines += "1000,1\n";
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, play(lines));
  std::string values = "36,1\n1000";
  for (int i = 0; i < 257; ++i) values += ",1";
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, play(values + "\n"));
  EXPECT_EQ("", trace());
}

TEST_F(PcieRegisterFile, MissingMemoryForTheTableIsTold) {
  machine.resources().failBlocksFrom(1000000);
  EXPECT_EQ(KVEXA_FAILED, play("36,1\n1000,5\n"));
  EXPECT_EQ("", trace());
}

TEST_F(PcieRegisterFile, MissingFileAndNullPathAreTold) {
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaSetI2cFile("no such file", &handle));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2cFile(nullptr, &handle));
  EXPECT_EQ("", trace());
}

}  // namespace
}  // namespace kvexa::test

// Registers of the sensor, the settings of its bus, and the debug look-up table.
#include <numeric>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t slave = 0x36;

class PcieSensorRegister : public PcieFixture {
 protected:
  void SetUp() override {
    PcieFixture::SetUp();
    stream(64, 64);
  }

  // The record of one chunk, with the data that go out in a write.
  static std::string chunk(const std::string& name, std::uint32_t address, std::uint32_t total,
                           std::uint32_t number, std::uint32_t count) {
    std::vector<std::uint32_t> words{0, number == 0 ? 1U : 0U, 1, total, 0, address, slave, number, count};
    const bool isCut = name == "writeBlock" && count > 16;
    for (std::uint32_t i = 0; name == "writeBlock" && i < std::min(count, 16U); ++i) {
      words.push_back(valueAt(number * 4096 + i));
    }
    std::string line = request(name, words);
    if (isCut) line.insert(line.size() - 1, " ..");
    return pending(line);
  }

  // The chunks of a write of `total` words, which all succeed.
  static std::string writeChunks(std::uint32_t address, std::uint32_t total) {
    std::string lines;
    for (std::uint32_t before = 0; before < total; before += 4096) {
      lines += chunk("writeBlock", address, total, before / 4096, std::min(total - before, 4096U)) +
               complete("writeBlock");
    }
    return lines;
  }

  static std::uint32_t valueAt(std::uint32_t index) { return 0xABC00000 | (index & 0xFFFF); }

  static std::vector<std::uint32_t> values(std::uint32_t count) {
    std::vector<std::uint32_t> words(count);
    for (std::uint32_t i = 0; i < count; ++i) words[i] = valueAt(i);
    return words;
  }

  // Requests that were sent since the last look.
  std::size_t requestsSent() {
    const std::string text = trace();
    std::size_t count = 0;
    for (std::size_t at = text.find(" ["); at != std::string::npos; at = text.find(" [", at + 1)) ++count;
    return count;
  }
};

class PcieBlocks : public PcieSensorRegister, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(PcieBlocks, WriteGoesOutInChunksToOneRegister) {
  const std::uint32_t count = GetParam();
  const auto words = values(count);
  EXPECT_EQ(KVEXA_OK, kVexaRegWrite(&handle, slave, 0x1000, 1, count, words.data()));
  EXPECT_EQ(writeChunks(0x1000, count), trace());
  for (std::uint32_t i = 0; i < count; ++i) {
    ASSERT_EQ(i & 0xFF, board.sensor().peek(static_cast<std::uint16_t>(0x1000 + i))) << i;
  }
}

TEST_P(PcieBlocks, ReadComesBackInChunksFromOneRegister) {
  const std::uint32_t count = GetParam();
  for (std::uint32_t i = 0; i < count; ++i) {
    board.sensor().poke(static_cast<std::uint16_t>(0x1000 + i), static_cast<std::uint8_t>(i * 7 + i / 256));
  }
  std::vector<std::uint32_t> words(count + 1, untouched);
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, slave, 0x1000, 1, count, words.data()));
  for (std::uint32_t i = 0; i < count; ++i) {
    ASSERT_EQ((i * 7 + i / 256) & 0xFF, words[i]) << i;
  }
  EXPECT_EQ(untouched, words[count]);
  EXPECT_EQ((count + 4095) / 4096, requestsSent());
}

INSTANTIATE_TEST_SUITE_P(Counts, PcieBlocks, testing::Values(0U, 1U, 2U, 4095U, 4096U, 4097U, 8192U, 10000U));

TEST_F(PcieSensorRegister, ReadRecordsAreWhole) {
  std::vector<std::uint32_t> words(4097);
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, slave, 0x1000, 1, 4097, words.data()));
  std::string data;
  for (int i = 0; i < 16; ++i) data += " 00000000";
  EXPECT_EQ(chunk("readBlock", 0x1000, 4097, 0, 4096) + "pcie0 readBlock complete 00000000" + data + " ..\n" +
                chunk("readBlock", 0x1000, 4097, 1, 1) + "pcie0 readBlock complete 00000000 00000000\n",
            trace());
}

TEST_F(PcieSensorRegister, BlockThatTheDriverCompletesAtOnceIsTheSame) {
  board.completeBlocksAtOnce(true);
  const auto words = values(10);
  EXPECT_EQ(KVEXA_OK, kVexaRegWrite(&handle, slave, 0x1000, 1, 10, words.data()));
  std::vector<std::uint32_t> read(10);
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, slave, 0x1000, 1, 10, read.data()));
  for (std::uint32_t i = 0; i < 10; ++i) EXPECT_EQ(i, read[i]);
}

TEST_F(PcieSensorRegister, AddressModeSlaveAndRegisterGoOutAsGiven) {
  const std::uint32_t one = 1;
  kVexaRegWrite(&handle, 0x12345678, 0x9ABCDEF0, 0x7F, 1, &one);
  EXPECT_EQ(pending(request("writeBlock", {0, 1, 0x7F, 1, 0, 0x9ABCDEF0, 0x12345678, 0, 1, 1})) +
                complete("writeBlock", 0x2000),
            trace());
}

struct StatusResult {
  std::uint32_t status;
  std::int32_t result;
};

const StatusResult blockResults[] = {
    {0x0000, KVEXA_OK},           {0x1000, KVEXA_FAILED},         {0x1001, KVEXA_FAILED},
    {0x1002, KVEXA_FAILED},       {0x1003, KVEXA_FAILED},         {0x1004, KVEXA_FAILED},
    {0x2000, KVEXA_BAD_ARGUMENT}, {0x2009, KVEXA_NO_ACKNOWLEDGE}, {0x3000, KVEXA_DRIVER_3000},
    {0x3001, KVEXA_DRIVER_3001},  {0x2001, KVEXA_FAILED},         {0xFFFFFFFF, KVEXA_FAILED},
};

TEST_F(PcieSensorRegister, EveryBlockStatusHasItsResult) {
  std::uint32_t words[2] = {1, 2};
  for (const auto& [status, result] : blockResults) {
    for (const bool later : {false, true}) {
      SCOPED_TRACE(testing::Message() << "status " << status << (later ? " later" : " at once"));
      later ? answerLater(1, status) : answer(1, status);
      EXPECT_EQ(result, kVexaRegWrite(&handle, slave, 0x1000, 1, 2, words));
      later ? answerLater(1, status) : answer(1, status);
      EXPECT_EQ(result, kVexaRegRead(&handle, slave, 0x1000, 1, 2, words));
    }
  }
}

TEST_F(PcieSensorRegister, SensorThatDoesNotAnswerIsTold) {
  board.faults().holdAcknowledge(true);
  std::uint32_t value = untouched;
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kVexaRegRead(&handle, slave, 0x1000, 1, 1, &value));
  EXPECT_EQ(untouched, value);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kVexaRegWrite(&handle, slave, 0x1000, 1, 1, &value));
}

TEST_F(PcieSensorRegister, UnknownAddressModeIsTheDriversToRefuse) {
  std::uint32_t value = 1;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWrite(&handle, slave, 0x1000, 6, 1, &value));
  EXPECT_EQ(2U, machine.trace().take().size());
}

TEST_F(PcieSensorRegister, FailureInAChunkEndsTheTransferThere) {
  auto words = values(10000);
  for (const unsigned k : {1U, 2U, 3U}) {
    refuse(k);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRegWrite(&handle, slave, 0x1000, 1, 10000, words.data())) << k;
    EXPECT_EQ(k, requestsSent());
    answer(k, 0x3000);
    EXPECT_EQ(KVEXA_DRIVER_3000, kVexaRegWrite(&handle, slave, 0x1000, 1, 10000, words.data())) << k;
    EXPECT_EQ(k, requestsSent());
  }
}

TEST_F(PcieSensorRegister, ChunksThatWereReadBeforeAFailureAreStored) {
  for (std::uint32_t i = 0; i < 8192; ++i) board.sensor().poke(static_cast<std::uint16_t>(0x1000 + i), 9);
  std::vector<std::uint32_t> words(8192, untouched);
  answer(2, 0x2009);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kVexaRegRead(&handle, slave, 0x1000, 1, 8192, words.data()));
  for (std::uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(9U, words[i]) << i;
  for (std::uint32_t i = 4096; i < 8192; ++i) ASSERT_EQ(untouched, words[i]) << i;
}

TEST_F(PcieSensorRegister, NullWordsAreRefusedUnlessThereAreNone) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegRead(&handle, slave, 0, 1, 1, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWrite(&handle, slave, 0, 1, 1, nullptr));
  EXPECT_EQ(KVEXA_OK, kVexaRegWrite(&handle, slave, 0, 1, 0, nullptr));
  EXPECT_EQ("", trace());
}

TEST_F(PcieSensorRegister, SingleWordsGoToTheSameRegisterOneByOne) {
  const std::uint32_t words[] = {0x11, 0x22, 0xFFFFFF33};
  EXPECT_EQ(KVEXA_OK, kVexaRegWriteS(&handle, slave << 1, 0x2000, 1, 3, words));
  std::string lines;
  for (const std::uint32_t value : words) {
    lines += done(request("writeSensor", {0, slave, 1, 0x2000, value}));
  }
  EXPECT_EQ(lines, trace());
  EXPECT_EQ(0x33, board.sensor().peek(0x2000));
}

TEST_F(PcieSensorRegister, SingleWordsComeFromTheSameRegister) {
  board.sensor().poke(0x2000, 0x44);
  std::uint32_t words[] = {untouched, untouched, untouched};
  EXPECT_EQ(KVEXA_OK, kVexaRegReadS(&handle, slave << 1 | 1, 0x2000, 1, 2, words));
  EXPECT_EQ(0x44U, words[0]);
  EXPECT_EQ(0x44U, words[1]);
  EXPECT_EQ(untouched, words[2]);
  const std::string line = request("readSensor", {0, slave, 1, 0x2000, 0}) + " -> 00000000 00000044\n";
  EXPECT_EQ(line + line, trace());
}

TEST_F(PcieSensorRegister, MoreThan1024SingleWordsAreRefused) {
  std::vector<std::uint32_t> words(1025, untouched);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWriteS(&handle, slave << 1, 0x2000, 1, 1025, words.data()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegReadS(&handle, slave << 1 | 1, 0x2000, 1, 1025, words.data()));
  EXPECT_EQ("", trace());
  EXPECT_EQ(KVEXA_OK, kVexaRegWriteS(&handle, slave << 1, 0x2000, 1, 1024, words.data()));
  EXPECT_EQ(1024U, requestsSent());
  EXPECT_EQ(KVEXA_OK, kVexaRegReadS(&handle, slave << 1 | 1, 0x2000, 1, 1024, words.data()));
  EXPECT_EQ(0xA5U, words[1023]);
  EXPECT_EQ(untouched, words[1024]);
}

TEST_F(PcieSensorRegister, WrongParityOfTheBusFormIsRefused) {
  std::uint32_t value = untouched;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegReadS(&handle, 0x6C, 0, 1, 1, &value));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWriteS(&handle, 0x6D, 0, 1, 1, &value));
  EXPECT_EQ(untouched, value);
  EXPECT_EQ("", trace());
}

TEST_F(PcieSensorRegister, StatusOfASingleWordIsNotLookedAt) {
  std::uint32_t words[] = {1, 2};
  for (const auto& [status, result] : blockResults) {
    answer(1, status);
    EXPECT_EQ(KVEXA_OK, kVexaRegWriteS(&handle, slave << 1, 0x2000, 1, 2, words)) << status;
    answer(2, status);
    EXPECT_EQ(KVEXA_OK, kVexaRegReadS(&handle, slave << 1 | 1, 0x2000, 1, 2, words)) << status;
  }
}

TEST_F(PcieSensorRegister, RefusedSingleWordEndsTheCall) {
  std::uint32_t words[] = {untouched, untouched, untouched};
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRegReadS(&handle, slave << 1 | 1, 0x2000, 1, 3, words));
  EXPECT_EQ(0U, words[0]);
  EXPECT_EQ(untouched, words[1]);
  EXPECT_EQ(2U, requestsSent());
  refuse(3);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRegWriteS(&handle, slave << 1, 0x2000, 1, 3, words));
}

TEST_F(PcieSensorRegister, BusSpeedIsWrittenAndItsResultReturned) {
  for (const std::uint32_t speed : {0U, 1U}) {
    EXPECT_EQ(KVEXA_OK, kVexaSetI2Cspeed(&handle, speed));
    EXPECT_EQ(writeRegister(0x118, speed), trace());
  }
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2Cspeed(&handle, 2));
  EXPECT_EQ("", trace());
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetI2Cspeed(&handle, 1));
  answer(1, 0x3001);
  EXPECT_EQ(KVEXA_DRIVER_3001, kVexaSetI2Cspeed(&handle, 1));
}

struct WaitRow {
  std::uint32_t speed;
  std::uint32_t time;
  std::uint32_t written;
};

TEST_F(PcieSensorRegister, AcknowledgeWaitIsCountedInSteps) {
  const WaitRow rows[] = {{0, 0, 0},       {0, 9, 0},          {0, 10, 0x8001}, {0, 2550, 0x80FF}, {1, 39, 0},
                          {1, 40, 0x8001}, {1, 10200, 0x80FF}, {1, 79, 0x8001}, {0, 2549, 0x80FE}, {1, 0, 0}};
  for (const auto& row : rows) {
    board.setBoardRegister(0x118, row.speed);
    EXPECT_EQ(KVEXA_OK, kVexaSetWaitAckTimes(&handle, row.time));
    EXPECT_EQ(readRegister(0x118, row.speed) + writeRegister(0x11C, row.written), trace())
        << row.speed << ", " << row.time;
  }
}

TEST_F(PcieSensorRegister, AcknowledgeWaitOutOfRangeIsRefused) {
  const WaitRow rows[] = {{0, 2551, 0}, {1, 10201, 0}, {2, 0, 0}, {0xFFFFFFFF, 10, 0}, {0, 0xFFFFFFFF, 0}};
  for (const auto& row : rows) {
    board.setBoardRegister(0x118, row.speed);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetWaitAckTimes(&handle, row.time));
    EXPECT_EQ(readRegister(0x118, row.speed), trace()) << row.speed << ", " << row.time;
  }
}

TEST_F(PcieSensorRegister, BusSpeedThatCannotBeReadIsABadOne) {
  refuse(1);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetWaitAckTimes(&handle, 100));
  for (const std::uint32_t status : {0x3000U, 0x3001U}) {
    answer(1, status);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetWaitAckTimes(&handle, 100));
  }
  EXPECT_EQ(3U, requestsSent());
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetWaitAckTimes(&handle, 100));
}

// ---- The look-up table ----

std::string lutLine(const std::string& name, std::uint32_t count, const std::vector<std::uint32_t>& shown) {
  std::vector<std::uint32_t> words{0, count};
  words.insert(words.end(), shown.begin(), shown.end());
  std::string line = request(name, words);
  if (!shown.empty() && count > 16) line.insert(line.size() - 1, " ..");
  return done(line);
}

TEST_F(PcieSensorRegister, LutIsWrittenInBlocks) {
  std::vector<std::uint32_t> words(8192);
  std::iota(words.begin(), words.end(), 0U);
  EXPECT_EQ(KVEXA_OK, kDBGLutDataWrite(&handle, 8192, words.data()));
  const auto first = std::vector<std::uint32_t>(words.begin(), words.begin() + 16);
  const auto second = std::vector<std::uint32_t>(words.begin() + 4096, words.begin() + 4112);
  EXPECT_EQ(lutLine("writeLut", 4096, first) + lutLine("writeLut", 4096, second), trace());
  for (std::uint32_t i = 0; i < 8192; ++i) ASSERT_EQ(i, board.lutWord(i));
}

class PcieLut : public PcieSensorRegister, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(PcieLut, WhatIsWrittenComesBack) {
  const std::uint32_t count = GetParam();
  std::vector<std::uint32_t> words(count);
  std::iota(words.begin(), words.end(), 0xF0000000U);
  EXPECT_EQ(KVEXA_OK, kDBGLutDataWrite(&handle, count, words.data()));
  EXPECT_EQ((count + 4095) / 4096, requestsSent());
  std::vector<std::uint32_t> read(count + 1, untouched);
  EXPECT_EQ(KVEXA_OK, kDBGLutDataRead(&handle, count, read.data()));
  EXPECT_EQ((count + 4095) / 4096, requestsSent());
  EXPECT_EQ(untouched, read.back());
  read.pop_back();
  EXPECT_EQ(words, read);
}

INSTANTIATE_TEST_SUITE_P(Counts, PcieLut, testing::Values(0U, 1U, 4095U, 4096U, 4097U, 8192U, 10000U));

TEST_F(PcieSensorRegister, LutFailuresAreIgnoredAndLeaveTheirPart) {
  std::vector<std::uint32_t> words(8192, 3);
  refuse(1);
  EXPECT_EQ(KVEXA_OK, kDBGLutDataWrite(&handle, 8192, words.data()));
  EXPECT_EQ(2U, requestsSent());
  std::vector<std::uint32_t> read(8192, untouched);
  refuse(1);
  EXPECT_EQ(KVEXA_OK, kDBGLutDataRead(&handle, 8192, read.data()));
  EXPECT_EQ(2U, requestsSent());
  for (std::uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(untouched, read[i]);
  for (std::uint32_t i = 4096; i < 8192; ++i) ASSERT_EQ(3U, read[i]);
  for (const auto& [status, result] : blockResults) {
    answer(1, status);
    EXPECT_EQ(KVEXA_OK, kDBGLutDataWrite(&handle, 1, words.data())) << status;
  }
}

TEST_F(PcieSensorRegister, NullLutIsRefusedUnlessItIsEmpty) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kDBGLutDataWrite(&handle, 1, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kDBGLutDataRead(&handle, 1, nullptr));
  EXPECT_EQ(KVEXA_OK, kDBGLutDataWrite(&handle, 0, nullptr));
  EXPECT_EQ("", trace());
}

}  // namespace
}  // namespace kvexa::test

// Register-setting files played into a simulated board.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/files/RegisterPlayFixture.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

class RegisterFilePlay : public RegisterPlayFixture {
 protected:
  // Plays the file on a board that reports no error, and gives what it received.
  std::string playedFile(const std::string& content) {
    board.queueStatus(0);
    EXPECT_EQ(KVEXA_OK, playFile(content));
    return trace();
  }
};

TEST_F(RegisterFilePlay, twoLinesSendOnePacketAndPauseTwoMilliseconds) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x12, 0x02, 0x00, 0x34, 0x56}) + sleep(2) + statusReading(),
            playedFile("30,0\n12,34,56\n"));
}

TEST_F(RegisterFilePlay, boardHeaderSendsTwoBytesAValue) {
  EXPECT_EQ(out(3, {0x03, 0x80, 0x12, 0x00, 0x04, 0x00, 0x34, 0x00, 0x56, 0x00}) + playEnd(2),
            playedFile("80,1\n12,34,56\n"));
}

TEST_F(RegisterFilePlay, headerLineAloneWritesNothingAndPausesOneMillisecond) {
  EXPECT_EQ(sleep(1) + statusReading(), playedFile("30,0\n"));
}

TEST_F(RegisterFilePlay, emptyFilePlaysNothing) { EXPECT_EQ(playEnd(0), playedFile("")); }

TEST_F(RegisterFilePlay, emptyLineBetweenTwoSettingsIsAWriteOfNoDataToRegisterZero) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x01, 0x01, 0x00, 0x02}) + out(3, {0x01, 0x30, 0x00, 0x00, 0x00}) +
                out(3, {0x01, 0x30, 0x03, 0x01, 0x00, 0x04}) + playEnd(4),
            playedFile("30,0\n1,2\n\n3,4\n"));
}

TEST_F(RegisterFilePlay, commentLineIsAWriteOfNoDataToRegisterZero) {
  EXPECT_EQ(
      out(3, {0x01, 0x30, 0x00, 0x00, 0x00}) + out(3, {0x01, 0x30, 0x03, 0x01, 0x00, 0x04}) + playEnd(3),
      playedFile("30,0\n# gain\n3,4\n"));
}

TEST_F(RegisterFilePlay, trailingCommaWritesAZero) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x12, 0x02, 0x00, 0x34, 0x00}) + playEnd(2), playedFile("30,0\n12,34,\n"));
}

TEST_F(RegisterFilePlay, carriageReturnsMakeNoDifference) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x12, 0x02, 0x00, 0x34, 0x56}) + playEnd(2),
            playedFile("30,0\r\n12,34,56\r\n"));
}

TEST_F(RegisterFilePlay, boardCommandFile) {
  EXPECT_EQ(out(3, {0x01, 0x81, 0x05, 0x01, 0x81, 0x08}) + playEnd(3), playedFile("81,\n5,\n8,1\n"));
}

TEST_F(RegisterFilePlay, typeSevenWithADataLineIsRefusedWithoutAnyWrite) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, playFile("30,7\n12,34\n"));
  EXPECT_EQ("", trace());
}

TEST_F(RegisterFilePlay, typeSevenOfAHeaderAloneIsNotExamined) {
  EXPECT_EQ(playEnd(1), playedFile("30,7\n"));
}

// A header without a comma has no value, so its address type is 0, whatever the heap block of the table held.
TEST_F(RegisterFilePlay, headerWithoutACommaHasAddressTypeZero) {
  auto& blocks = machine.resources().guardedBlocks();
  blocks.guardFrom(1000000);
  for (const char* header : {"", "30", "# sensor", " "}) {
    const unsigned before = blocks.count();
    EXPECT_EQ(out(3, {0x01, 0x00, 0x12, 0x01, 0x00, 0x34}) + playEnd(2),
              playedFile(std::string(header) + "\n12,34\n"))
        << header;
    EXPECT_EQ(before + 1, blocks.count());
  }
  blocks.guardFrom(0);
}

// What stands behind the end mark is neither sent nor counted for the pause.
TEST_F(RegisterFilePlay, endMarkEndsTheFile) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x12, 0x01, 0x00, 0x34}) + playEnd(2),
            playedFile("30,0\n12,34\n\x1A\n56,78\n"));
}

TEST_F(RegisterFilePlay, refusedFilesSendNothing) {
  std::string manyValues = "30,0\n1,2\n5";
  for (unsigned i = 0; i < 257; ++i) manyValues += ",7";
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, playFile(manyValues));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, playFile("30,0\n" + std::string(1024, '\n')));
  EXPECT_EQ("", trace());
}

TEST_F(RegisterFilePlay, fileThatDoesNotExistIsNotOpened) {
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaSetI2cFile(folder_.path("none.txt").c_str(), &handle));
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaSetI2cFile(folder_.path().c_str(), &handle));
  EXPECT_EQ("", trace());
}

TEST_F(RegisterFilePlay, missingMemoryForTheTableIsTold) {
  machine.resources().failBlocksFrom(1000000);
  EXPECT_EQ(KVEXA_FAILED, playFile("30,0\n12,34\n"));
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ("", trace());
}

TEST_F(RegisterFilePlay, missingMemoryForTheBoardCommandsIsTold) {
  machine.resources().failBlocksFrom(1);
  EXPECT_EQ(KVEXA_FAILED, play({{0x81, {0}}, {5, {}}, {8, {}}}));
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ(std::string::npos, trace().find("pipe3"));
}

TEST_F(RegisterFilePlay, nullPathIsRefused) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2cFile(nullptr, &handle));
  EXPECT_EQ("", trace());
}

TEST_F(RegisterFilePlay, handleIsCheckedBeforeTheFile) {
  const BoardHandle closed{};
  BoardHandle unknown = handle;
  unknown.boardType = 2;
  for (const auto& path : {folder_.write("sensor.txt", "30,0\n1,2\n"), folder_.path("none.txt")}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2cFile(path.c_str(), nullptr));
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2cFile(path.c_str(), &closed));
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2cFile(path.c_str(), &unknown));
  }
  EXPECT_EQ("", trace());
}

TEST_F(RegisterFilePlay, sensorTakesTheRegistersOfAFile) {
  bringUpSensor();
  EXPECT_EQ(KVEXA_OK, playFile("36, 1        # slave address and type\n"
                               "0x0104, 02, 80   # width 640\n"
                               "0x0106, 01, E0   # height 480\n"
                               "0x0100, 01\n"));
  EXPECT_EQ(640u, board.sensor().width());
  EXPECT_EQ(480u, board.sensor().height());
  EXPECT_TRUE(board.sensor().isStreaming());
}

TEST_F(RegisterFilePlay, sensorWithoutSupplyIsNoAcknowledge) {
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, playFile("36,1\n0104,02,80\n"));
}

TEST_F(RegisterFilePlay, refusedTransferIsReported) {
  refuse(1);
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, playFile("30,0\n12,34\n"));
}

TEST_F(RegisterFilePlay, busErrorIsNoAcknowledge) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, playFile("30,0\n12,34\n"));
}

TEST_F(RegisterFilePlay, noHandleStaysOpenWhateverTheResult) {
  const auto playAll = [&] {
    for (const char* content : {"30,0\n12,34\n", "30,7\n12,34\n", "30,0\n", ""}) playFile(content);
    EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaSetI2cFile(folder_.path("none.txt").c_str(), &handle));
  };
  playAll();
  const unsigned before = processHandleCount();
  playAll();
  EXPECT_EQ(before, processHandleCount());
}

}  // namespace
}  // namespace kvexa::test

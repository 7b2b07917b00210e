// The packets into which a register table is turned, byte by byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/files/RegisterPlayFixture.h"

namespace kvexa::test {
namespace {

struct Packet {
  const char* name;
  std::uint32_t slave;
  std::uint16_t type;
  std::vector<unsigned> bytes;  // of register 0x1234 with the values 0x5678 and 0xABCD
};

std::string nameOf(const testing::TestParamInfo<Packet>& packet) { return packet.param.name; }

class RegisterPacket : public RegisterPlayFixture, public testing::WithParamInterface<Packet> {};

TEST_P(RegisterPacket, isSentByteByByte) {
  EXPECT_EQ(out(3, GetParam().bytes) + playEnd(2),
            played({{GetParam().slave, {GetParam().type}}, {0x1234, {0x5678, 0xABCD}}}));
}

INSTANTIATE_TEST_SUITE_P(
    OneByteData, RegisterPacket,
    testing::Values(
        Packet{"type0", 0x30, 0, {0x01, 0x30, 0x34, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"type1LowAddressByteFirst", 0x30, 1, {0x03, 0x30, 0x34, 0x12, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"type2", 0x30, 2, {0x05, 0x30, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"type3", 0x230, 3, {0x09, 0x30, 0x7A, 0x34, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"type4", 0x230, 4, {0x0B, 0x30, 0x7A, 0x34, 0x12, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"type5", 0x230, 5, {0x0D, 0x30, 0x7A, 0x02, 0x00, 0x78, 0xCD}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    TwoByteData, RegisterPacket,
    testing::Values(Packet{"type0", 0x80, 0, {0x01, 0x80, 0x34, 0x04, 0x00, 0x78, 0x56, 0xCD, 0xAB}},
                    Packet{"type1", 0x80, 1, {0x03, 0x80, 0x34, 0x12, 0x04, 0x00, 0x78, 0x56, 0xCD, 0xAB}},
                    Packet{"type2", 0x80, 2, {0x05, 0x80, 0x04, 0x00, 0x78, 0x56, 0xCD, 0xAB}},
                    Packet{"type3", 0x80, 3, {0x09, 0x80, 0x78, 0x34, 0x04, 0x00, 0x78, 0x56, 0xCD, 0xAB}},
                    Packet{
                        "type4", 0x80, 4, {0x0B, 0x80, 0x78, 0x34, 0x12, 0x04, 0x00, 0x78, 0x56, 0xCD, 0xAB}},
                    Packet{"type5", 0x80, 5, {0x0D, 0x80, 0x78, 0x04, 0x00, 0x78, 0x56, 0xCD, 0xAB}}),
    nameOf);

// The header's number counts as 16 bits, its type as 8.
INSTANTIATE_TEST_SUITE_P(
    Header, RegisterPacket,
    testing::Values(
        Packet{"highByteOfTheTypeIsIgnored", 0x30, 0x0700, {0x01, 0x30, 0x34, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"highByteOfTheTypeIsIgnoredToo", 0x30, 0xFF02, {0x05, 0x30, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"upperHalfOfTheBoardAddressIsIgnored",
               0x10080,
               2,
               {0x05, 0x80, 0x04, 0x00, 0x78, 0x56, 0xCD, 0xAB}},
        Packet{"addressThatOnlyEndsIn80HasByteData", 0x180, 2, {0x05, 0x80, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"addressThatOnlyEndsIn81HasByteData", 0x181, 2, {0x05, 0x81, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"wideAddressIsCutInShortModes", 0x1230, 0, {0x01, 0x30, 0x34, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"markerIsSetInTheSecondByte", 0x8730, 5, {0x0D, 0x30, 0xFF, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"markerKeepsTheOtherBits", 0xFE038530u, 5, {0x0D, 0x30, 0xFD, 0x02, 0x00, 0x78, 0xCD}},
        Packet{"markerAloneForSmallAddresses", 0x12, 3, {0x09, 0x12, 0x78, 0x34, 0x02, 0x00, 0x78, 0xCD}}),
    nameOf);

TEST_F(RegisterPlayFixture, headerAndOneLine) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x12, 0x02, 0x00, 0x34, 0x56}) + sleep(2) + statusReading(),
            played({{0x30, {0}}, {0x12, {0x34, 0x56}}}));
}

TEST_F(RegisterPlayFixture, furtherValuesOfTheHeaderAreIgnored) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x12, 0x01, 0x00, 0x34}) + playEnd(2),
            played({{0x30, {0, 7, 9}}, {0x12, {0x34}}}));
}

TEST_F(RegisterPlayFixture, boardHeaderSendsTwoBytesAValue) {
  EXPECT_EQ(out(3, {0x03, 0x80, 0x12, 0x00, 0x04, 0x00, 0x34, 0x00, 0x56, 0x00}) + playEnd(2),
            played({{0x80, {1}}, {0x12, {0x34, 0x56}}}));
}

TEST_F(RegisterPlayFixture, linesAreSentInOrderOnePacketEach) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x01, 0x01, 0x00, 0x11}) +
                out(3, {0x01, 0x30, 0x02, 0x03, 0x00, 0x21, 0x22, 0x23}) +
                out(3, {0x01, 0x30, 0x01, 0x01, 0x00, 0x12}) + playEnd(4),
            played({{0x30, {0}}, {1, {0x11}}, {2, {0x21, 0x22, 0x23}}, {1, {0x12}}}));
}

TEST_F(RegisterPlayFixture, lineWithoutValuesIsAWriteOfNoData) {
  EXPECT_EQ(out(3, {0x01, 0x30, 0x00, 0x00, 0x00}) + playEnd(2), played({{0x30, {0}}, {0, {}}}));
  EXPECT_EQ(out(3, {0x0B, 0x30, 0x78, 0x00, 0x00, 0x00, 0x00}) + playEnd(2), played({{0x30, {4}}, {0, {}}}));
  EXPECT_EQ(out(3, {0x05, 0x30, 0x00, 0x00}) + playEnd(2), played({{0x30, {2}}, {0, {}}}));
}

// A shorter line must not carry bytes of the longer one before it.
TEST_F(RegisterPlayFixture, everyPacketHasItsOwnLength) {
  EXPECT_EQ(out(3, {0x03, 0x80, 0x01, 0x00, 0x06, 0x00, 0x11, 0x01, 0x22, 0x02, 0x33, 0x03}) +
                out(3, {0x03, 0x80, 0x02, 0x00, 0x00, 0x00}) +
                out(3, {0x03, 0x80, 0x03, 0x00, 0x02, 0x00, 0x44, 0x04}) + playEnd(4),
            played({{0x80, {1}}, {1, {0x111, 0x222, 0x333}}, {2, {}}, {3, {0x444}}}));
}

TEST_F(RegisterPlayFixture, lineOf240ValuesIsSentWhole) {
  std::vector<unsigned> packet = {0x01, 0x30, 0x05, 0xF0, 0x00};
  SettingLine line{5, {}};
  for (unsigned i = 0; i < 240; ++i) {
    line.values.push_back(static_cast<std::uint16_t>(i * 3));
    packet.push_back(i * 3 & 0xFF);
  }
  EXPECT_EQ(out(3, packet) + playEnd(2), played({{0x30, {0}}, line}));
}

// 256 values: the length's low byte is 0.
TEST_F(RegisterPlayFixture, lineOf256ValuesReachesTheSensor) {
  for (const auto& [type, registerBits] : {std::pair{0u, 8u}, {1u, 16u}}) {
    board.sensor().setAddress({0x30, registerBits});
    board.sensor().setLines({true, true, false, true});
    SettingLine line{0, {}};
    for (unsigned i = 0; i < 256; ++i) line.values.push_back(static_cast<std::uint16_t>(i ^ 0x5A));
    EXPECT_EQ(KVEXA_OK, play({{0x30, {static_cast<std::uint16_t>(type)}}, line}));
    for (unsigned i = 0x10; i < 256; ++i) {
      ASSERT_EQ(i ^ 0x5A, board.sensor().peek(static_cast<std::uint16_t>(i))) << "register " << i;
    }
  }
}

TEST_F(RegisterPlayFixture, everyLineOfAFullTableIsSent) {
  std::vector<SettingLine> lines(1024, {0x11, {0x22}});
  lines[0] = {0x30, {0}};
  EXPECT_EQ(repeat(1023, out(3, {0x01, 0x30, 0x11, 0x01, 0x00, 0x22})) + playEnd(1024), played(lines));
}

TEST_F(RegisterPlayFixture, boardCommandsGoOutInOneTransfer) {
  EXPECT_EQ(out(3, {0x01, 0x81, 0x00, 0x01, 0x81, 0x06, 0x01, 0x81, 0x34}) + playEnd(4),
            played({{0x81, {}}, {0, {}}, {6, {1, 2}}, {0x1234, {9}}}));
}

TEST_F(RegisterPlayFixture, boardCommandsDoNotLookAtTheType) {
  EXPECT_EQ(out(3, {0x01, 0x81, 0x05}) + playEnd(2), played({{0x81, {7}}, {5, {}}}));
  EXPECT_EQ(out(3, {0x01, 0x81, 0x05}) + playEnd(2), played({{0x20081, {0}}, {5, {}}}));
}

TEST_F(RegisterPlayFixture, boardCommandsReachTheBoard) {
  EXPECT_EQ(KVEXA_OK, play({{0x81, {}}, {5, {}}, {8, {}}}));
  EXPECT_EQ((std::vector<std::uint8_t>{5, 8}), board.commands());
}

TEST_F(RegisterPlayFixture, boardCommandHeaderAloneSendsNothing) {
  EXPECT_EQ(playEnd(1), played({{0x81, {}}}));
}

TEST_F(RegisterPlayFixture, headerAloneWritesNothingPausesAndLooksAtTheStatus) {
  EXPECT_EQ(playEnd(1), played({{0x30, {0}}}));
  EXPECT_EQ(playEnd(1), played({{0x80, {1}}}));
}

TEST_F(RegisterPlayFixture, unknownTypeOfAHeaderAloneIsNotExamined) {
  EXPECT_EQ(playEnd(1), played({{0x30, {7}}}));
}

}  // namespace
}  // namespace kvexa::test

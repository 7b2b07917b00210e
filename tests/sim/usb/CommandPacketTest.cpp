#include "sim/usb/CommandPacket.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using sim::usb::PacketItem;
using sim::usb::parsePacket;
using Kind = sim::usb::PacketItem::Kind;
using Bytes = std::vector<std::uint8_t>;

// The only item of a packet; malformed when there are more or none.
PacketItem only(const Bytes& packet) {
  const auto items = parsePacket(packet);
  return items.size() == 1 ? items.front() : PacketItem{};
}

void expectTransfer(const Bytes& packet, Kind kind, unsigned slave, unsigned subAddress, const Bytes& data) {
  const PacketItem item = only(packet);
  EXPECT_EQ(item.kind, kind);
  EXPECT_EQ(item.slave, slave);
  EXPECT_EQ(item.subAddress, subAddress);
  EXPECT_TRUE(std::equal(item.data.begin(), item.data.end(), data.begin(), data.end()));
  if (kind == Kind::write) {
    EXPECT_EQ(item.count, data.size());
  }
}

void expectRead(const Bytes& packet, unsigned slave, unsigned subAddress, unsigned count) {
  const PacketItem item = only(packet);
  expectTransfer(packet, Kind::read, slave, subAddress, {});
  EXPECT_EQ(item.count, count);
  EXPECT_TRUE(std::equal(item.header.begin(), item.header.end(), packet.begin(), packet.end()));
}

TEST(CommandPacket, AnEmptyPacketHasNoItems) { EXPECT_TRUE(parsePacket({}).empty()); }

TEST(CommandPacket, HoldsOneCommandOrMany) {
  const PacketItem item = only({0x01, 0x81, 0x05});
  EXPECT_EQ(item.kind, Kind::command);
  EXPECT_EQ(item.command, 5);
  const Bytes packet = {0x01, 0x81, 0x00, 0x01, 0x81, 0x01, 0x01, 0x81, 0xFF};
  const auto items = parsePacket(packet);
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].command, 0x00);
  EXPECT_EQ(items[1].command, 0x01);
  EXPECT_EQ(items[2].command, 0xFF);
}

TEST(CommandPacket, ReadsSevenBitTransfers) {
  expectTransfer({0x01, 0x30, 0x12, 0x02, 0x00, 0x34, 0x56}, Kind::write, 0x30, 0x12, {0x34, 0x56});
  expectTransfer({0x03, 0x36, 0x34, 0x12, 0x01, 0x00, 0x78}, Kind::write, 0x36, 0x1234, {0x78});
  expectTransfer({0x05, 0x36, 0x01, 0x00, 0x78}, Kind::write, 0x36, 0, {0x78});
  expectTransfer({0x01, 0x30, 0x00, 0x00, 0x00}, Kind::write, 0x30, 0, {});
  expectRead({0x00, 0x80, 0x01, 0x02, 0x00}, 0x80, 0x01, 2);
  expectRead({0x02, 0x36, 0x34, 0x12, 0x00, 0x01}, 0x36, 0x1234, 256);
  expectRead({0x04, 0x36, 0x03, 0x00}, 0x36, 0, 3);
}

TEST(CommandPacket, ReadsTenBitTransfersWithThePrefixBehind) {
  expectTransfer({0x09, 0x12, 0x79, 0x34, 0x01, 0x00, 0x55}, Kind::write, 0x112, 0x34, {0x55});
  expectTransfer({0x0B, 0x12, 0x78, 0x34, 0x12, 0x01, 0x00, 0x55}, Kind::write, 0x012, 0x1234, {0x55});
  expectTransfer({0x0D, 0x12, 0x7B, 0x01, 0x00, 0x55}, Kind::write, 0x312, 0, {0x55});
  expectRead({0x08, 0x12, 0x79, 0x34, 0x02, 0x00}, 0x112, 0x34, 2);
  expectRead({0x0A, 0x12, 0x79, 0x34, 0x12, 0x02, 0x00}, 0x112, 0x1234, 2);
  expectRead({0x0C, 0x12, 0x79, 0x02, 0x00}, 0x112, 0, 2);
  // The board itself, addressed with two bytes.
  expectTransfer({0x09, 0x80, 0x78, 0x02, 0x02, 0x00, 0x55, 0x66}, Kind::write, 0x80, 0x02, {0x55, 0x66});
}

TEST(CommandPacket, ReadsTenBitTransfersWithTheHighByteFirst) {
  expectTransfer({0x0B, 0x01, 0x12, 0x34, 0x12, 0x01, 0x00, 0x55}, Kind::write, 0x112, 0x1234, {0x55});
  expectTransfer({0x0D, 0x03, 0x12, 0x01, 0x00, 0x55}, Kind::write, 0x312, 0, {0x55});
  expectTransfer({0x0D, 0x79, 0x12, 0x01, 0x00, 0x55}, Kind::write, 0x112, 0,
                 {0x55});  // prefixed by the caller
  expectRead({0x0A, 0x01, 0x12, 0x34, 0x12, 0x02, 0x00}, 0x112, 0x1234, 2);
  expectRead({0x0C, 0x01, 0x12, 0x02, 0x00}, 0x112, 0, 2);
}

TEST(CommandPacket, ReadsTheShortFormOfMode3) {
  expectTransfer({0x09, 0x36, 0x34, 0x02, 0x00, 0x55, 0x66, 0x00}, Kind::write, 0x36, 0x34, {0x55, 0x66});
  expectRead({0x08, 0x36, 0x34, 0x02, 0x00, 0x00}, 0x36, 0x34, 2);
  expectRead({0x08, 0x36, 0x34, 0x01, 0x02, 0x00}, 0x36, 0x34, 0x201);
}

TEST(CommandPacket, TellsTheFormsOfMode3ApartWhenTheSubAddressLooksLikeThePrefix) {
  expectTransfer({0x09, 0x36, 0x78, 0x01, 0x00, 0x55, 0x00}, Kind::write, 0x36, 0x78, {0x55});
  expectTransfer({0x09, 0x36, 0x7B, 0x02, 0x00, 0x00, 0x00, 0x00}, Kind::write, 0x36, 0x7B, {0, 0});
  expectRead({0x08, 0x36, 0x78, 0x02, 0x00, 0x00}, 0x36, 0x78, 2);
}

TEST(CommandPacket, ReadsBatches) {
  const Bytes packet = {0x01, 0x36, 0x10, 0x02, 0x00, 0xAA, 0xBB, 0x01, 0x36, 0x20,
                        0x00, 0x00, 0x03, 0x36, 0x00, 0x01, 0x01, 0x00, 0xCC};
  const auto items = parsePacket(packet);
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].data.size(), 2U);
  EXPECT_EQ(items[1].subAddress, 0x20);
  EXPECT_EQ(items[1].count, 0);
  EXPECT_EQ(items[2].subAddress, 0x100);
  EXPECT_EQ(items[2].data[0], 0xCC);
}

TEST(CommandPacket, EndsWhereItMakesNoSense) {
  EXPECT_EQ(only({0x0E, 0x36, 0x00, 0x00, 0x00, 0x00, 0x00}).kind, Kind::malformed);
  EXPECT_EQ(only({0x06, 0x36, 0x00, 0x00}).kind, Kind::malformed);
  EXPECT_EQ(only({0x01}).kind, Kind::malformed);
  EXPECT_EQ(only({0x01, 0x36, 0x00, 0x02, 0x00, 0x55}).kind, Kind::malformed);  // a data byte short
  EXPECT_EQ(only({0x0A, 0x36, 0x79}).kind, Kind::malformed);
  const Bytes packet = {0x01, 0x81, 0x05, 0xFF, 0xFF};
  const auto items = parsePacket(packet);
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].kind, Kind::command);
  EXPECT_EQ(items[1].kind, Kind::malformed);
}

// No packet makes the parser read beyond its end: every prefix of a long one is taken apart.
TEST(CommandPacket, SurvivesEveryPrefixAndOpcode) {
  for (unsigned opcode = 0; opcode < 256; ++opcode) {
    Bytes packet(12, 0x79);
    packet[0] = static_cast<std::uint8_t>(opcode);
    for (std::size_t length = 1; length <= packet.size(); ++length) {
      const Bytes part(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(length));
      std::size_t used = 0;
      for (const PacketItem& item : parsePacket(part)) used += item.data.size();
      EXPECT_LE(used, length);
    }
  }
}

}  // namespace

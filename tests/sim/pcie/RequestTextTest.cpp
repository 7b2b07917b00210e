// The PCIe requests as the trace tells them.
#include "sim/pcie/RequestText.h"
#include "tests/sim/attach/AttachedFixture.h"
#include "tests/sim/pcie/BoardFixture.h"

namespace {

using Lines = std::vector<std::string>;

class PcieTraceTest : public PcieFixture {
 protected:
  Lines lines() { return machine.trace().take(); }
};

TEST_F(PcieTraceTest, ShowsEveryWordThatGoesIn) {
  writeRegister(0x214, 8);
  readRegister(0x214);
  Words words = {5, 1, 2, 3, 4};
  send(Request::writeSensor, words);
  words = {5, 0x1000, 0x2000};
  send(Request::lockMemory, words);
  EXPECT_EQ(lines(), (Lines{"pcie0 writeRegister [00000000 00000214 00000008] -> 00000000",
                            "pcie0 readRegister [00000000 00000214 eeeeeeee] -> 00000000 00000008",
                            "pcie0 writeSensor [00000005 00000001 00000002 00000003 00000004] -> 00002009",
                            "pcie0 lockMemory [00000005 00001000 00002000] -> 00000000"}));
}

TEST_F(PcieTraceTest, ShowsRefusalsAndStatuses) {
  board.faults().at(1, {sim::Fault::Kind::refuse, 31});
  board.faults().at(2, {sim::Fault::Kind::answer, 0x3000});
  Words words = {0, 0x20, 0};
  send(Request::readRegister, words);
  words = {0, 0x20, 0};
  send(Request::readRegister, words);
  EXPECT_EQ(lines(), (Lines{"pcie0 readRegister [00000000 00000020 00000000] -> error 31",
                            "pcie0 readRegister [00000000 00000020 00000000] -> 00003000 00020104"}));
}

TEST_F(PcieTraceTest, TellsOfCompletionsInLinesOfTheirOwn) {
  Overlapped measurement(Words{0, 0, 0, 0});
  Overlapped interval(Words{0, 0});
  start(Request::autoActual, measurement);
  start(Request::interval, interval);
  board.complete(sim::pcie::Wait::interval, 0);
  Words stop = {0};
  send(Request::stop, stop);
  EXPECT_EQ(lines(), (Lines{"pcie0 autoActual [00000000 00000000 00000000 00000000] pending",
                            "pcie0 interval [00000000 00000000] pending", "pcie0 interval complete 00000000",
                            "pcie0 stop [00000000] -> 00000000", "pcie0 autoActual complete 00001000"}));
}

TEST_F(PcieTraceTest, ShowsSixteenWordsOfData) {
  powerUp();
  board.completeBlocksAtOnce(true);
  lines();
  for (const std::uint32_t count : {1U, 16U, 17U}) {
    Overlapped block({0, 1, 1, count, 0, 0x2000, 0x36, 0, count});
    for (std::uint32_t i = 0; i < count; ++i) block.words.push_back(i);
    send(Request::writeBlock, block.words, &block.overlapped);
  }
  const std::string header = "pcie0 writeBlock [00000000 00000001 00000001 ";
  const auto seen = lines();
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0], header + "00000001 00000000 00002000 00000036 00000000 00000001 00000000] -> 00000000");
  EXPECT_TRUE(seen[1].ends_with(" 0000000e 0000000f] -> 00000000")) << seen[1];
  EXPECT_TRUE(seen[2].ends_with(" 0000000e 0000000f ..] -> 00000000")) << seen[2];
  Overlapped block({0, 1, 1, 2, 0, 0x2000, 0x36, 0, 2});
  send(Request::readBlock, block.words, &block.overlapped);
  EXPECT_EQ(lines(), (Lines{"pcie0 readBlock [00000000 00000001 00000001 00000002 00000000 00002000 00000036 "
                            "00000000 00000002] -> 00000000 00000000 00000001"}));
}

TEST_F(PcieTraceTest, LutDataGoInOneDirection) {
  Words words = {0, 2, 7, 8};
  send(Request::writeLut, words);
  words = {0, 2};
  send(Request::readLut, words);
  EXPECT_EQ(lines(), (Lines{"pcie0 writeLut [00000000 00000002 00000007 00000008] -> 00000000",
                            "pcie0 readLut [00000000 00000002] -> 00000000 00000007 00000008"}));
}

// The attachment for real boards, with a simulated computer beneath.
TEST(PcieTracedAttachment, WritesDownRecords) {
  const LoadedClient client;
  Host host(client.calls());
  sim::Machine machine;
  machine.addPcieBoards(1);
  const sim::Attachment beneath(client.module(), machine);
  sim::Trace trace;
  const sim::Attachment traced(client.module(), trace);
  const HANDLE file = host.open(host.path(pcieClass, 0));
  Overlapped measurement(std::vector<std::uint32_t>(4));
  DWORD moved = 0;
  std::uint32_t words[] = {0, 0x210, 0};
  EXPECT_TRUE(client.calls().deviceIoControl(file, 0x80002008, words, 12, words, 12, &moved, nullptr));
  EXPECT_FALSE(client.calls().deviceIoControl(file, 0x800020C8, measurement.words.data(), 16,
                                              measurement.words.data(), 16, &moved, &measurement.overlapped));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_PENDING});
  machine.pcieBoard(0).faults().at(1, {sim::Fault::Kind::refuse, 31});
  EXPECT_FALSE(client.calls().deviceIoControl(file, 0x80002008, words, 12, words, 12, &moved, nullptr));
  EXPECT_FALSE(client.calls().deviceIoControl(file, 0x80002008, words, 8, words, 8, &moved, nullptr));
  host.close(file);
  EXPECT_EQ(trace.take(),
            (Lines{"pcie0 open", "pcie0 readRegister [00000000 00000210 00000000] -> 00000000 00001b00",
                   "pcie0 autoActual [00000000 00000000 00000000 00000000] pending",
                   "pcie0 readRegister [00000000 00000210 00001b00] -> error 31",
                   "pcie0 request 80002008 0/8 -> error 87", "pcie0 close"}));
}

}  // namespace

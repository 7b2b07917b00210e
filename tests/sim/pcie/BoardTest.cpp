// Registers, sensor bus, look-up table and records of the PCIe board.
#include <algorithm>

#include "tests/sim/attach/AttachedFixture.h"
#include "tests/sim/pcie/BoardFixture.h"

namespace {

class PcieRecords : public AttachedTest {
 protected:
  bool sendBytes(std::uint32_t code, DWORD inLength, DWORD outLength, OVERLAPPED* overlapped) {
    std::vector<std::uint8_t> record(20000);
    DWORD moved = 0;
    const BOOL accepted = client.calls().deviceIoControl(file, code, record.data(), inLength, record.data(),
                                                         outLength, &moved, overlapped);
    host.lastError = GetLastError();
    return accepted != FALSE || host.lastError == ERROR_IO_PENDING;
  }

  sim::pcie::Board& board = machine.addPcieBoard();
  HANDLE file = host.open(host.path(pcieClass, 0));
};

struct Code {
  std::uint32_t code;
  DWORD bytes;
  bool overlapped;
};

const Code codes[] = {{0x80002008, 12, false},   {0x8000200C, 12, false},    {0x80002010, 12, false},
                      {0x80002014, 12, false},   {0x80002018, 28, true},     {0x80002020, 4, false},
                      {0x80002024, 20, false},   {0x80002028, 20, false},    {0x800020C8, 16, true},
                      {0x800020CC, 8, true},     {0x800020D0, 4, false},     {0x800020D4, 16420, true},
                      {0x800020D8, 16420, true}, {0x80002190, 16392, false}, {0x80002194, 16392, false}};

TEST_F(PcieRecords, FifteenCodesWithTheirLengths) {
  for (const Code& each : codes) {
    OVERLAPPED overlapped{};
    OVERLAPPED* const given = each.overlapped ? &overlapped : nullptr;
    for (const DWORD wrong : {DWORD{0}, each.bytes - 1, each.bytes + 1, each.bytes - 4, each.bytes + 4}) {
      EXPECT_FALSE(sendBytes(each.code, wrong, each.bytes, given)) << std::hex << each.code;
      EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_PARAMETER}) << std::hex << each.code;
      EXPECT_FALSE(sendBytes(each.code, each.bytes, wrong, given)) << std::hex << each.code;
      EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_PARAMETER}) << std::hex << each.code;
    }
  }
  EXPECT_EQ(board.faults().requestCount(), 0U);
}

TEST_F(PcieRecords, OverlappedRequestsNeedTheirRecord) {
  for (const Code& each : codes) {
    const bool accepted = sendBytes(each.code, each.bytes, each.bytes, nullptr);
    if (each.overlapped) {
      EXPECT_FALSE(accepted);
      EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_PARAMETER});
    }
  }
}

TEST_F(PcieRecords, UnknownCodesAreNoFunctions) {
  for (const std::uint32_t code : {0x80002000U, 0x8000201CU, 0x80002009U, 0x0022204EU, 0U}) {
    EXPECT_FALSE(sendBytes(code, 12, 12, nullptr));
    EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_FUNCTION});
  }
}

TEST_F(PcieRecords, SynchronousRequestTellsAnOverlappedRecordToo) {
  Overlapped overlapped;
  EXPECT_TRUE(sendBytes(0x80002008, 12, 12, &overlapped.overlapped));
  EXPECT_FALSE(overlapped.isPending());
  EXPECT_EQ(overlapped.overlapped.InternalHigh, 12U);
  EXPECT_TRUE(overlapped.isSignalled());
}

class PcieBoardTest : public PcieFixture {};

TEST_F(PcieBoardTest, RegistersHoldTheir32Bits) {
  writeRegister(0x504, 0x89ABCDEF);
  EXPECT_EQ(readRegister(0x504), 0x89ABCDEFU);
  EXPECT_EQ(readRegister(0x507), 0x89ABCDEFU);  // the two lowest bits do not count
  EXPECT_EQ(board.boardRegister(0x504), 0x89ABCDEFU);
  EXPECT_EQ(readRegister(0x12345678), 0U);
}

TEST_F(PcieBoardTest, PowerUpValues) {
  EXPECT_EQ(readRegister(0x20), 0x00020104U);
  EXPECT_EQ(readRegister(0x210), 0x1B00U);
  EXPECT_EQ(readRegister(0x214), 0x18U);
  EXPECT_EQ(readRegister(0x310), 0U);
  EXPECT_EQ(readRegister(0x508), 640U);
  EXPECT_EQ(readRegister(0x510), 480U);
  EXPECT_EQ(readRegister(0x60C), 1U);
  EXPECT_EQ(readRegister(0x904), 8U);
}

TEST_F(PcieBoardTest, WiredRegistersAreNotWritten) {
  board.setBoardRegister(0xA04, 0x55);
  writeRegister(0xA04, 0xAA);
  writeRegister(0x20, 1);
  EXPECT_EQ(readRegister(0xA04), 0x55U);
  EXPECT_EQ(readRegister(0x20), 0x00020104U);
}

TEST_F(PcieBoardTest, SwitchesMoveTheSensorsLines) {
  Words read = {0, 0x36, 1, 0x0000, 0};
  const auto status = [&] {
    send(Request::readSensor, read);
    return read[0];
  };
  EXPECT_EQ(status(), 0x2009U);
  powerUp();
  EXPECT_EQ(status(), 0U);
  EXPECT_EQ(read[4], 0x4BU);
  for (const std::uint32_t without : {0x14U, 0x11U, 0x1DU, 0x05U}) {  // V1, clock, reset, I2C lines
    writeRegister(0x214, without);
    EXPECT_EQ(status(), 0x2009U) << without;
  }
}

TEST_F(PcieBoardTest, PeriodRunsWithTheFramesAndStaysBehindThem) {
  stream(64, 64, 250);
  EXPECT_EQ(readRegister(0x310), 250U);
  machine.clock().advance(25000);
  EXPECT_EQ(readRegister(0x310), 0x8000U | 250U);
  machine.clock().advance(25000);
  EXPECT_EQ(readRegister(0x310), 250U);
  writeRegister(0x310, 77);
  EXPECT_EQ(readRegister(0x310), 250U);
  machine.clock().advance(25000);
  EXPECT_EQ(readRegister(0x310), 0x8000U | 250U);
  board.faults().holdFrames(true);
  machine.clock().advance(25000);
  EXPECT_EQ(readRegister(0x310), 0x8000U | 250U);
}

// ---- The sensor's bus ----

class PcieBusTest : public PcieFixture {
 protected:
  void SetUp() override {
    powerUp();
    board.completeBlocksAtOnce(true);
  }

  // A chunk of a block transfer; data go out and come back in `data`.
  std::uint32_t chunk(Request request, std::uint32_t number, std::uint32_t total, Words& data,
                      std::uint32_t mode = 1, std::uint32_t slave = 0x36) {
    Overlapped overlapped({0, number == 0 ? 1U : 0U, mode, total, 0, 0x1000, slave, number,
                           static_cast<std::uint32_t>(data.size())});
    overlapped.words.insert(overlapped.words.end(), data.begin(), data.end());
    EXPECT_EQ(send(request, overlapped.words, &overlapped.overlapped).error, 0U);
    EXPECT_TRUE(overlapped.isSignalled());
    std::copy_n(overlapped.words.begin() + 9, data.size(), data.begin());
    return overlapped.status();
  }
};

TEST_F(PcieBusTest, ChunksContinueAtTheNextRegister) {
  Words first(4096, 0x101);
  Words second(10, 0x202);
  EXPECT_EQ(chunk(Request::writeBlock, 0, 4106, first), 0U);
  EXPECT_EQ(chunk(Request::writeBlock, 1, 4106, second), 0U);
  EXPECT_EQ(board.sensor().peek(0x1000), 1);
  EXPECT_EQ(board.sensor().peek(0x1FFF), 1);
  EXPECT_EQ(board.sensor().peek(0x2000), 2);
  EXPECT_EQ(board.sensor().peek(0x2009), 2);
  EXPECT_EQ(board.sensor().peek(0x200A), 0);
  Words read(10, 7);
  EXPECT_EQ(chunk(Request::readBlock, 1, 4106, read), 0U);
  EXPECT_EQ(read, Words(10, 2));
}

TEST_F(PcieBusTest, SensorWithoutRegisterAddressesContinuesToo) {
  board.sensor().setAddress({0x50, 0});
  Words first(4096, 1);
  Words second(4, 2);
  EXPECT_EQ(chunk(Request::writeBlock, 0, 4100, first, 2, 0x50), 0U);
  EXPECT_EQ(chunk(Request::writeBlock, 1, 4100, second, 2, 0x50), 0U);
  EXPECT_EQ(board.sensor().peek(0x0FFF), 1);
  EXPECT_EQ(board.sensor().peek(0x1000), 2);
}

TEST_F(PcieBusTest, ChunksThatMakeNoSenseHaveTheirStatus) {
  Words data(4, 1);
  EXPECT_EQ(chunk(Request::writeBlock, 0, 5, data), 0x2000U);     // too short
  EXPECT_EQ(chunk(Request::writeBlock, 1, 4, data), 0x2000U);     // behind the end
  EXPECT_EQ(chunk(Request::writeBlock, 1, 4099, data), 0x2000U);  // too long
  EXPECT_EQ(board.sensor().peek(0x1000), 0);
}

TEST_F(PcieBusTest, ModesSlavesAndAcknowledge) {
  Words data(1, 9);
  for (std::uint32_t mode = 0; mode <= 5; ++mode) EXPECT_EQ(chunk(Request::writeBlock, 0, 1, data, mode), 0U);
  EXPECT_EQ(chunk(Request::writeBlock, 0, 1, data, 6), 0x2000U);
  EXPECT_EQ(chunk(Request::writeBlock, 0, 1, data, 1, 0x37), 0x2009U);
  EXPECT_EQ(chunk(Request::readBlock, 0, 1, data, 1, 0x10036), 0x2009U);
  board.faults().holdAcknowledge(true);
  EXPECT_EQ(chunk(Request::readBlock, 0, 1, data), 0x2009U);
}

TEST_F(PcieBusTest, SingleWords) {
  Words words = {0, 0x36, 1, 0x2000, 0xABCDEF12};
  EXPECT_EQ(send(Request::writeSensor, words).error, 0U);
  EXPECT_EQ(board.sensor().peek(0x2000), 0x12);
  words = {0, 0x36, 1, 0x2000, 0};
  send(Request::readSensor, words);
  EXPECT_EQ(words, (Words{0, 0x36, 1, 0x2000, 0x12}));
  words = {0, 0x36, 6, 0x2000, 0};
  send(Request::readSensor, words);
  EXPECT_EQ(words[0], 0x2000U);
}

TEST_F(PcieBusTest, BlockCountsOutOfRangeAreRefused) {
  for (const std::uint32_t count : {0U, 4097U, 0xFFFFFFFFU}) {
    Overlapped overlapped({0, 1, 1, count, 0, 0, 0x36, 0, count});
    EXPECT_EQ(send(Request::readBlock, overlapped.words, &overlapped.overlapped).error,
              std::uint32_t{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(overlapped.isPending());
    Words lut = {0, count};
    EXPECT_EQ(send(Request::writeLut, lut).error, std::uint32_t{ERROR_INVALID_PARAMETER});
  }
}

// ---- Look-up table and memory ----

TEST_F(PcieBoardTest, LutBlocksFollowOneAnother) {
  Words full = {0, 4096};
  full.resize(4098, 1);
  Words rest = {0, 2, 2, 2};
  send(Request::writeLut, full);
  send(Request::writeLut, rest);
  EXPECT_EQ(board.lutWord(4095), 1U);
  EXPECT_EQ(board.lutWord(4096), 2U);
  EXPECT_EQ(board.lutWord(4098), 0U);
  // The short block ended that transfer.
  Words again = {0, 1, 3};
  send(Request::writeLut, again);
  EXPECT_EQ(board.lutWord(0), 3U);
  Words read = {0, 2};
  send(Request::readLut, read);
  EXPECT_EQ(read[2], 3U);
  EXPECT_EQ(read[3], 1U);
}

TEST_F(PcieBoardTest, UnlockNeedsALock) {
  Words region = {0, 0x1000, 0x2000};
  send(Request::unlockMemory, region);
  EXPECT_EQ(region[0], 0x3000U);
  region[0] = 0;
  send(Request::lockMemory, region);
  send(Request::lockMemory, region);
  EXPECT_EQ(board.lockedRegions().size(), 2U);
  send(Request::unlockMemory, region);
  EXPECT_EQ(region[0], 0U);
  EXPECT_EQ(board.lockedRegions().size(), 1U);
}

// ---- The same pictures as on the USB board ----

struct Setting {
  const char* name;
  std::uint8_t bits;
  std::uint8_t yuv;
  std::uint16_t shift;
  std::uint16_t narrow;
  std::uint16_t flags;
  std::uint16_t reduction;
  std::uint16_t bayer;
};

TEST_F(PcieBoardTest, DeliversWhatTheUsbBoardDelivers) {
  sim::usb::Board& usb = machine.addUsbBoard();
  usb.setBoardRegister(0x000A, 0x15);
  powerUp();
  const Setting settings[] = {{"8 bits", 8, 0, 8, 1, 0, 0, 0},
                              {"12 bits in two bytes", 12, 0, 8, 0, 0, 0, 0},
                              {"12 bits in one", 12, 0, 4, 1, 0, 0, 0},
                              {"shifted up", 8, 0, 11, 0, 0, 0, 0},
                              {"every third", 8, 0, 8, 1, 0, 0x22, 0},
                              {"Bayer to RGB", 10, 0, 8, 0, 0, 0, 1},
                              {"YUV", 8, 1, 8, 1, 0, 0, 0},
                              {"packed YUV", 8, 1, 8, 0, 0x100, 0x01, 0},
                              {"YUV to RGB", 8, 1, 0, 0, 0x08, 0, 0}};
  for (const Setting& each : settings) {
    for (sim::Sensor* sensor : {&usb.sensor(), &board.sensor()}) {
      sensor->poke(0x103, each.bits);
      sensor->poke(0x102, each.yuv);
      sensor->poke(0x10A, 3);
      sensor->poke(0x10C, 1);
    }
    const auto set = [&](std::uint16_t usbAddress, std::uint32_t pcieAddress, std::uint16_t value) {
      usb.setBoardRegister(usbAddress, value);
      board.setBoardRegister(pcieAddress, value);
    };
    set(0x302, 0x504, 10);
    set(0x304, 0x508, 202);
    set(0x306, 0x50C, 20);
    set(0x308, 0x510, 120);
    set(0x30A, 0x514, each.reduction);
    set(0x802, 0x904, each.shift);
    set(0x406, 0x60C, each.narrow);
    set(0x104, 0x308, each.flags);
    set(0x502, 0x704, each.bayer);
    set(0x504, 0x708, 2);
    std::vector<std::uint8_t> expected = usb.frameBytes(7);
    EXPECT_FALSE(expected.empty());
    expected.resize((expected.size() + 3) / 4 * 4);
    EXPECT_EQ(board.frameBytes(7), expected) << each.name;
  }
}

}  // namespace

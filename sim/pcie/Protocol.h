// The PCIe driver's requests as they cross its interface; the library's own headers are not asked.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sim::pcie {

enum class Request : std::uint32_t {
  readRegister = 0x80002008,
  writeRegister = 0x8000200C,
  lockMemory = 0x80002010,
  unlockMemory = 0x80002014,
  capture = 0x80002018,
  stop = 0x80002020,
  writeSensor = 0x80002024,
  readSensor = 0x80002028,
  autoActual = 0x800020C8,
  interval = 0x800020CC,
  cancelInterval = 0x800020D0,
  readBlock = 0x800020D4,
  writeBlock = 0x800020D8,
  readLut = 0x80002190,
  writeLut = 0x80002194
};

// A record is a row of 32-bit words, the first of which is the driver's status word. Input and output are
// the same buffer.
struct Shape {
  // Single words, then one block of data whose length another word gives.
  struct Data {
    std::size_t countAt = 0;  // 0: the record has no data
    bool goesIn = false;
  };

  Request request;
  const char* name;  // in the trace
  std::uint32_t words;
  bool overlapped;
  std::size_t headerWords;
  Data data;
  std::size_t answerAt = 0;  // words of the header that the driver fills, beside the status
  std::size_t answerWords = 0;
};

// Words that a block of data can hold.
constexpr std::uint32_t blockWords = 4096;

// Null for a code that the driver does not know.
const Shape* findShape(std::uint32_t code);

// Where the words of the records are.
namespace Word {
constexpr std::size_t status = 0;
// Register requests.
constexpr std::size_t registerAddress = 1;
constexpr std::size_t registerValue = 2;
// Memory requests.
constexpr std::size_t regionStart = 1;
constexpr std::size_t regionLength = 2;
// Capture.
constexpr std::size_t captureBuffer = 1;
constexpr std::size_t captureLength = 2;
constexpr std::size_t captureOne = 3;
constexpr std::size_t captureContinuous = 4;
constexpr std::size_t captureTimeout = 5;
constexpr std::size_t captureMode = 6;
// Sensor words.
constexpr std::size_t wordSlave = 1;
constexpr std::size_t wordMode = 2;
constexpr std::size_t wordAddress = 3;
constexpr std::size_t wordData = 4;
// Measurement.
constexpr std::size_t measuredWidth = 1;
constexpr std::size_t measuredHeight = 2;
constexpr std::size_t measuredPeriod = 3;
// Sensor blocks.
constexpr std::size_t blockFirst = 1;
constexpr std::size_t blockMode = 2;
constexpr std::size_t blockTotal = 3;
constexpr std::size_t blockAddress = 5;
constexpr std::size_t blockSlave = 6;
constexpr std::size_t blockChunk = 7;
constexpr std::size_t blockCount = 8;
constexpr std::size_t blockData = 9;
// Look-up table.
constexpr std::size_t lutCount = 1;
constexpr std::size_t lutData = 2;
}  // namespace Word

// What the simulated driver answers.
namespace Status {
constexpr std::uint32_t success = 0;
constexpr std::uint32_t stopped = 0x1000;
constexpr std::uint32_t busy = 0x1001;  // another capture runs
constexpr std::uint32_t timedOut = 0x1003;
constexpr std::uint32_t badTransfer = 0x2000;  // an address mode or a chunk that makes no sense
constexpr std::uint32_t noAcknowledge = 0x2009;
constexpr std::uint32_t notLocked = 0x3000;  // the region to unlock was not locked
}  // namespace Status

namespace Mode {
constexpr std::uint32_t oneShot = 1;
constexpr std::uint32_t multiShot = 2;
}  // namespace Mode

}  // namespace sim::pcie

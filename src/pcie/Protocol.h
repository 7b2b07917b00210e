// The words of the PCIe board and its driver: control codes, request records, status words, registers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "kvexa.h"

namespace kvexa::pcie {

// Driver requests: device type 0x8000, buffered, any access. One buffer serves as input and output.
enum class Request : std::uint32_t {
  readRegister = 0x80002008,
  writeRegister = 0x8000200C,
  lockMemory = 0x80002010,
  unlockMemory = 0x80002014,
  capture = 0x80002018,
  stop = 0x80002020,
  writeSensorWord = 0x80002024,
  readSensorWord = 0x80002028,
  autoActual = 0x800020C8,
  armInterval = 0x800020CC,
  cancelInterval = 0x800020D0,
  readSensorBlock = 0x800020D4,
  writeSensorBlock = 0x800020D8,
  readLut = 0x80002190,
  writeLut = 0x80002194
};

// Every record begins with the driver's status word.
using Word = std::uint32_t;

struct RegisterRecord {
  Word status;
  Word address;
  Word value;
};
static_assert(sizeof(RegisterRecord) == 12);

struct MemoryRecord {
  Word status;
  Word start;
  Word length;
};
static_assert(sizeof(MemoryRecord) == 12);

struct CaptureRecord {
  Word status;
  Word buffer;
  Word length;
  Word one;  // always 1
  Word continuous;
  Word timeout;
  Word mode;
};
static_assert(sizeof(CaptureRecord) == 28);
static_assert(offsetof(CaptureRecord, continuous) == 16);

constexpr Word oneShotMode = 1;
constexpr Word multiShotMode = 2;

struct StatusRecord {
  Word status;
};
static_assert(sizeof(StatusRecord) == 4);

struct SensorWordRecord {
  Word status;
  Word slave;
  Word mode;
  Word address;
  Word data;
};
static_assert(sizeof(SensorWordRecord) == 20);

struct MeasureRecord {
  Word status;
  Word firstDimension;
  Word secondDimension;
  Word period;
};
static_assert(sizeof(MeasureRecord) == 16);

struct IntervalRecord {
  Word status;
  Word unused;
};
static_assert(sizeof(IntervalRecord) == 8);

constexpr std::uint32_t blockWords = 4096;

struct SensorBlockRecord {
  Word status;
  Word first;  // 1 in the first chunk of a transfer
  Word mode;
  Word total;   // words of the whole transfer
  Word option;  // always 0
  Word address;
  Word slave;
  Word chunk;  // from 0
  Word count;  // words of this chunk
  std::array<Word, blockWords> data;
};
static_assert(sizeof(SensorBlockRecord) == 16420);
static_assert(offsetof(SensorBlockRecord, data) == 36);

struct LutRecord {
  Word unused;
  Word count;
  std::array<Word, blockWords> data;
};
static_assert(sizeof(LutRecord) == 16392);

// What a status word means for the caller. Which words matter differs between requests.
struct StatusMeaning {
  Word status;
  std::int32_t result;
};

struct StatusTable {
  std::span<const StatusMeaning> meanings;
  std::int32_t otherwise;

  constexpr std::int32_t resultOf(Word status) const {
    for (const StatusMeaning& meaning : meanings) {
      if (meaning.status == status) return meaning.result;
    }
    return otherwise;
  }
};

namespace statuses {

inline constexpr std::array<StatusMeaning, 2> plain{
    {{0x3000, KVEXA_DRIVER_3000}, {0x3001, KVEXA_DRIVER_3001}}};

inline constexpr std::array<StatusMeaning, 6> captureStart{{{0x1000, KVEXA_ABORTED},
                                                            {0x1001, KVEXA_DRIVER_1001},
                                                            {0x1003, KVEXA_TIMED_OUT},
                                                            {0x1004, KVEXA_DRIVER_1004},
                                                            {0x3000, KVEXA_DRIVER_3000},
                                                            {0x3001, KVEXA_DRIVER_3001}}};

inline constexpr std::array<StatusMeaning, 3> captureEnd{
    {{0x1000, KVEXA_ABORTED}, {0x1003, KVEXA_TIMED_OUT}, {0x1004, KVEXA_DRIVER_1004}}};

inline constexpr std::array<StatusMeaning, 4> measure{{{0x1000, KVEXA_MEASURE_FAILED},
                                                       {0x1001, KVEXA_DRIVER_1001},
                                                       {0x3000, KVEXA_DRIVER_3000},
                                                       {0x3001, KVEXA_DRIVER_3001}}};

// A measurement with a time-out takes 0x1000 for success. That is intended.
inline constexpr std::array<StatusMeaning, 3> measureWithin{
    {{0x1001, KVEXA_DRIVER_1001}, {0x3000, KVEXA_DRIVER_3000}, {0x3001, KVEXA_DRIVER_3001}}};

inline constexpr std::array<StatusMeaning, 4> interval{{{0x1001, KVEXA_DRIVER_1001},
                                                        {0x1002, KVEXA_MEASURE_FAILED},
                                                        {0x3000, KVEXA_DRIVER_3000},
                                                        {0x3001, KVEXA_DRIVER_3001}}};

inline constexpr std::array<StatusMeaning, 5> sensorBlock{{{0x0000, KVEXA_OK},
                                                           {0x2000, KVEXA_BAD_ARGUMENT},
                                                           {0x2009, KVEXA_NO_ACKNOWLEDGE},
                                                           {0x3000, KVEXA_DRIVER_3000},
                                                           {0x3001, KVEXA_DRIVER_3001}}};

}  // namespace statuses

inline constexpr StatusTable plainStatus{statuses::plain, KVEXA_OK};
inline constexpr StatusTable captureStartStatus{statuses::captureStart, KVEXA_OK};
inline constexpr StatusTable captureEndStatus{statuses::captureEnd, KVEXA_OK};
inline constexpr StatusTable measureStatus{statuses::measure, KVEXA_OK};
inline constexpr StatusTable measureWithinStatus{statuses::measureWithin, KVEXA_OK};
inline constexpr StatusTable intervalStatus{statuses::interval, KVEXA_OK};
inline constexpr StatusTable sensorBlockStatus{statuses::sensorBlock, KVEXA_FAILED};

// Board registers, 32 bits each, by byte address.
enum class Register : std::uint32_t {
  fpgaVersion = 0x20,
  intervalBytes = 0x40,
  i2cSpeed = 0x118,
  acknowledgeWait = 0x11C,
  smiaInput = 0x208,
  dipSwitches = 0x210,
  switches = 0x214,
  captureControl = 0x308,
  frameSkip = 0x30C,
  framePeriod = 0x310,  // see board/FramePeriod.h; written with the frame count when a capture starts
  lineCodes = 0x314,
  frameCodes = 0x318,
  colourMatrix = 0x404,  // 12 coefficients and the offset, 4 apart
  horizontalStart = 0x504,
  horizontalEnd = 0x508,
  verticalStart = 0x50C,
  verticalEnd = 0x510,
  reduction = 0x514,
  narrowData = 0x60C,
  byteExchange = 0x704,
  bayerStage = 0x708,
  portShift = 0x804,
  widthShift = 0x904,
  inputLines = 0xA04,
  outputLines = 0xA08
};

// Per-board state exists for the boards of these indices.
constexpr std::uint32_t boardSlots = 5;

}  // namespace kvexa::pcie

// The words of the USB board and its driver: control codes, pipes, commands, registers.
#pragma once

#include <cstdint>

namespace kvexa::usb {

// Driver requests: device type 0x22.
constexpr std::uint32_t pipeTransferCode = 0x0022204E;      // function 0x813, out-direct
constexpr std::uint32_t deviceDescriptorCode = 0x00222059;  // function 0x816, in-direct

enum class Pipe : std::uint32_t {
  statusRequest = 0,  // out
  statusBlock = 1,    // in
  imageData = 2,      // in
  command = 3,        // out
  registerData = 4    // in
};

constexpr std::uint32_t commandTimeout = 1000;  // milliseconds, for every transfer but image data

// Extended commands: a packet of three bytes, the last one being one of these.
constexpr std::uint8_t extendedOpcode = 0x01;
constexpr std::uint8_t extendedTarget = 0x81;

enum class ExtendedCommand : std::uint8_t {
  localReset = 0,
  flushImagePipe = 1,
  waitVSync0 = 2,
  waitVSync1 = 3,
  clearStatus = 5,
  latchStatus = 6,
  fastBusClock = 7,
  slowBusClock = 8,
  frameDropOn = 9,
  frameDropOff = 10
};

// The status block that the board answers a status request with.
constexpr std::uint32_t statusBlockBytes = 64;
constexpr std::uint32_t statusCodeOffset = 4;
constexpr std::uint32_t statusDigitOffset = 6;
constexpr std::uint8_t statusIdle = 0x00;
constexpr std::uint8_t statusBusError = 0x60;

// Opcodes of register transfers; the write opcode is the read opcode plus 1.
constexpr std::uint8_t writeBit = 1;
constexpr std::uint8_t tenBitPrefix = 0x78;

// Target 0x80 is the board itself; these are its sub-addresses.
constexpr std::uint32_t boardTarget = 0x80;

enum class Target : std::uint32_t {
  addressPort = 0,
  dataPort = 1,
  status = 2,  // bit 0: a measurement is finished, or the transfer engine has drained
  frameDrop = 3,
  measureFirst = 270,
  measureSecond = 272
};

constexpr std::uint32_t targetWordBytes = 2;
constexpr std::uint32_t statusDone = 1;

// Target frameDrop.
constexpr std::uint32_t frameDropOff = 0;
constexpr std::uint32_t frameDropOn = 2;

// Board registers, 16 bits each.
enum class Register : std::uint16_t {
  fpgaVersion = 0x0002,
  smiaInput = 0x0004,
  dipSwitches = 0x0008,
  switches = 0x000A,
  captureMode = 0x0102,
  captureControl = 0x0104,
  frameSkip = 0x0106,
  framePeriod = 0x0108,  // see board/FramePeriod.h
  lineCodes = 0x010A,
  frameCodes = 0x010C,
  firstDimension = 0x010E,
  secondDimension = 0x0110,
  colourMatrix = 0x0202,  // 13 registers, 2 apart
  horizontalStart = 0x0302,
  horizontalEnd = 0x0304,
  verticalStart = 0x0306,
  verticalEnd = 0x0308,
  reduction = 0x030A,
  bufferSize = 0x0402,
  storageStatus = 0x0404,
  narrowData = 0x0406,
  bayerStage = 0x0502,
  bayerPattern = 0x0504,
  portShift = 0x0702,
  widthShift = 0x0802,
  inputLines = 0x0902,
  outputLines = 0x0904
};

// Register captureControl.
constexpr std::uint32_t captureHeld = 2;

// Register captureMode.
constexpr std::uint32_t captureStopped = 0;
constexpr std::uint32_t captureSingle = 1;
constexpr std::uint32_t captureContinuous = 2;  // also storage
constexpr std::uint32_t captureMeasures = 3;

// Register bufferSize counts units of this many bytes down from the top of the board's memory.
constexpr std::uint32_t bufferUnitBytes = 512;
constexpr std::uint32_t bufferTop = 65536;

}  // namespace kvexa::usb

// The USB driver's requests as they cross its interface, and the registers that they reach; the library's own
// headers are not asked.
#pragma once

#include <cstdint>

namespace sim::usb {

// Control codes and their records.
namespace Control {
constexpr std::uint32_t pipeTransfer = 0x0022204E;
constexpr std::uint32_t deviceDescriptor = 0x00222059;

#pragma pack(push, 1)
struct PipeRecord {
  std::uint32_t pipe;
  std::uint32_t timeout;
  std::uint32_t statusAddress;  // of a word in the caller's memory
};

struct DescriptorRecord {
  std::uint8_t fields[5];  // 1, 1, 0, 0, 6
  std::uint8_t unset;
  std::uint16_t type;
  std::uint16_t language;
};
#pragma pack(pop)
static_assert(sizeof(PipeRecord) == 12 && sizeof(DescriptorRecord) == 10);
}  // namespace Control

namespace Pipe {
constexpr std::uint32_t request = 0;  // out: asks for a status block or for recovery
constexpr std::uint32_t status = 1;   // in: what was asked for on the pipe before
constexpr std::uint32_t image = 2;    // in
constexpr std::uint32_t command = 3;  // out: command packets
constexpr std::uint32_t answer = 4;   // in: what was read by command packets

constexpr bool isOutbound(std::uint32_t pipe) { return pipe == request || pipe == command; }
}  // namespace Pipe

// The slave address that means the board itself.
constexpr std::uint16_t boardTarget = 0x80;

// 16-bit registers, reached through the address and the data port.
namespace Register {
constexpr std::uint16_t fpgaVersion = 0x0002;
constexpr std::uint16_t dipSwitches = 0x0008;     // hardware switch in the high byte, software switch low
constexpr std::uint16_t switches = 0x000A;        // bit 0 V1, 1 V2, 2 clock, 3 reset active, 4 I2C lines
constexpr std::uint16_t captureMode = 0x0102;     // 0 stop, 1 single, 2 continuous, 3 measurement
constexpr std::uint16_t captureControl = 0x0104;  // bit 1 hold, bit 3 YUV to RGB, bit 8 packing
constexpr std::uint16_t frameSkip = 0x0106;
constexpr std::uint16_t framePeriod = 0x0108;  // bit 15 toggles with every frame; 100 microseconds
constexpr std::uint16_t measuredWidth = 0x010E;
constexpr std::uint16_t measuredHeight = 0x0110;
constexpr std::uint16_t areaLeft = 0x0302;
constexpr std::uint16_t areaRight = 0x0304;
constexpr std::uint16_t areaTop = 0x0306;
constexpr std::uint16_t areaBottom = 0x0308;
constexpr std::uint16_t reduction = 0x030A;    // columns in bits 0 to 3, lines above
constexpr std::uint16_t bufferSize = 0x0402;   // 512-byte units, down from the top of 32 MiB
constexpr std::uint16_t frameStatus = 0x0404;  // frames stored or dropped; a write of 0 arms it
constexpr std::uint16_t narrowData = 0x0406;   // 1: one byte a sample
constexpr std::uint16_t bayerToRgb = 0x0502;
constexpr std::uint16_t bayerPattern = 0x0504;
constexpr std::uint16_t dataShift = 0x0802;  // 8 leaves samples as they are
}  // namespace Register

// Words of target 0x80 by sub-address.
namespace TargetWord {
constexpr std::uint16_t addressPort = 0;
constexpr std::uint16_t dataPort = 1;
constexpr std::uint16_t status = 2;  // bit 0: a measurement is finished, or the transfer engine drained
constexpr std::uint16_t frameDrop = 3;
}  // namespace TargetWord

}  // namespace sim::usb

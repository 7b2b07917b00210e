#include "cli/trace/RegisterNames.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <span>

#include "sim/pcie/Protocol.h"
#include "sim/pcie/Registers.h"
#include "sim/usb/CommandPacket.h"
#include "sim/usb/Protocol.h"

namespace cli::trace {

namespace {

using sim::record::Line;

struct Name {
  std::uint32_t address;
  const char* name;
};

namespace usb = sim::usb;
namespace pcie = sim::pcie;

constexpr Name usbNames[] = {{usb::Register::fpgaVersion, "FPGA version"},
                             {usb::Register::dipSwitches, "DIP switches"},
                             {usb::Register::switches, "switches"},
                             {usb::Register::captureMode, "capture mode"},
                             {usb::Register::captureControl, "capture control"},
                             {usb::Register::frameSkip, "frame skip"},
                             {usb::Register::framePeriod, "frame period"},
                             {usb::Register::measuredWidth, "measured width"},
                             {usb::Register::measuredHeight, "measured height"},
                             {usb::Register::areaLeft, "area left"},
                             {usb::Register::areaRight, "area right"},
                             {usb::Register::areaTop, "area top"},
                             {usb::Register::areaBottom, "area bottom"},
                             {usb::Register::reduction, "reduction"},
                             {usb::Register::bufferSize, "buffer size"},
                             {usb::Register::frameStatus, "frame status"},
                             {usb::Register::narrowData, "narrow data"},
                             {usb::Register::bayerToRgb, "Bayer to RGB"},
                             {usb::Register::bayerPattern, "Bayer pattern"},
                             {usb::Register::dataShift, "data shift"}};

constexpr Name pcieNames[] = {
    {pcie::Register::fpgaVersion, "FPGA version"},     {pcie::Register::intervalBytes, "interval bytes"},
    {pcie::Register::i2cSpeed, "I2C speed"},           {pcie::Register::acknowledgeWait, "acknowledge wait"},
    {pcie::Register::dipSwitches, "DIP switches"},     {pcie::Register::switches, "switches"},
    {pcie::Register::captureFlags, "capture control"}, {pcie::Register::frameSkip, "frame skip"},
    {pcie::Register::framePeriod, "frame period"},     {pcie::Register::areaLeft, "area left"},
    {pcie::Register::areaRight, "area right"},         {pcie::Register::areaTop, "area top"},
    {pcie::Register::areaBottom, "area bottom"},       {pcie::Register::reduction, "reduction"},
    {pcie::Register::narrowData, "narrow data"},       {pcie::Register::byteExchange, "byte exchange"},
    {pcie::Register::bayerPattern, "Bayer stage"},     {pcie::Register::portShift, "port shift"},
    {pcie::Register::widthShift, "width shift"},       {pcie::Register::inputLines, "input lines"},
    {pcie::Register::outputLines, "output lines"}};

constexpr const char* switchNames[] = {"V1", "V2", "clock", "reset", "I2C"};

std::string nameOf(std::span<const Name> names, std::uint32_t address) {
  const auto found = std::ranges::find(names, address, &Name::address);
  if (found != names.end()) return found->name;
  char text[24];
  std::snprintf(text, sizeof text, "register %04x", static_cast<unsigned>(address));
  return text;
}

std::string valueText(const std::string& name, std::uint32_t value) {
  if (name != "switches") {
    char text[24];
    std::snprintf(text, sizeof text, " = %04x", static_cast<unsigned>(value));
    return name + text;
  }
  std::string text = name + " =";
  for (std::size_t bit = 0; bit < std::size(switchNames); ++bit) {
    if ((value >> bit & 1) != 0) text += std::string(" ") + switchNames[bit];
  }
  return text.back() == '=' ? text + " none" : text;
}

std::uint32_t littleEndian(std::span<const std::uint8_t> bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = std::min<std::size_t>(bytes.size(), 4); i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

std::string sensorText(const usb::PacketItem& item) {
  char text[80];
  const bool writes = item.kind == usb::PacketItem::Kind::write;
  std::snprintf(text, sizeof text, "%s %u byte%s %s slave %02x, address %04x", writes ? "writes" : "reads",
                unsigned{item.count}, item.count == 1 ? "" : "s", writes ? "to" : "of", unsigned{item.slave},
                unsigned{item.subAddress});
  return text;
}

std::string pcieRemark(const Line& line) {
  const auto request = static_cast<pcie::Request>(line.code);
  const bool isOne = request == pcie::Request::writeRegister || request == pcie::Request::readRegister;
  if (!isOne || line.in.size < 12) return {};
  // The answer is kept as far as it differs from what went in.
  std::array<std::uint8_t, 12> record{};
  std::memcpy(record.data(), line.in.data, record.size());
  if (line.out.size != 0)
    std::memcpy(record.data(), line.out.data, std::min<std::size_t>(record.size(), line.out.size));
  const std::span words(record);
  return valueText(nameOf(pcieNames, littleEndian(words.subspan(4))), littleEndian(words.subspan(8)));
}

}  // namespace

std::string RegisterNames::remark(const Line& line) {
  if (line.call != sim::record::Call::request) return {};
  return line.board.type == 0 ? usbRemark(line) : pcieRemark(line);
}

std::string RegisterNames::usbRemark(const Line& line) {
  if (line.code != usb::Control::pipeTransfer) return {};
  UsbPort& port = ports_[line.board.index];
  const std::span out(line.out.data, line.out.size);
  if (line.a == usb::Pipe::answer && port.isRead && out.size() >= 2) {
    port.isRead = false;
    return valueText(nameOf(usbNames, port.address), littleEndian(out.last(2)));
  }
  if (line.a != usb::Pipe::command || line.in.size == 0) return {};
  std::string text;
  for (const usb::PacketItem& item : usb::parsePacket({line.in.data, line.in.size})) {
    using Kind = usb::PacketItem::Kind;
    if (item.kind != Kind::write && item.kind != Kind::read) continue;
    std::string remark;
    if (item.slave != usb::boardTarget) {
      remark = sensorText(item);
    } else if (item.kind == Kind::write && item.subAddress == usb::TargetWord::addressPort) {
      port.address = static_cast<std::uint16_t>(littleEndian(item.data));
    } else if (item.subAddress == usb::TargetWord::dataPort) {
      port.isRead = item.kind == Kind::read;
      if (!port.isRead) remark = valueText(nameOf(usbNames, port.address), littleEndian(item.data));
    }
    if (!remark.empty()) text += (text.empty() ? "" : "; ") + remark;
  }
  return text;
}

}  // namespace cli::trace

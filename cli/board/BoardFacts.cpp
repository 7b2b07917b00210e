#include "cli/board/BoardFacts.h"

#include <fcntl.h>
#include <io.h>

#include <array>
#include <cstdio>

#include "cli/board/BoardNames.h"

namespace cli {

namespace {

constexpr int standardOutput = 1;
constexpr std::size_t statusByte = 4;
constexpr std::uint8_t busError = 0x60;

// The library prints the versions that it finds into the process's standard output.
class Silence {
 public:
  Silence() {
    std::fflush(stdout);
    kept_ = _dup(standardOutput);
    const int nowhere = _open("NUL", _O_WRONLY);
    if (kept_ >= 0 && nowhere >= 0) _dup2(nowhere, standardOutput);
    if (nowhere >= 0) _close(nowhere);
  }
  ~Silence() {
    std::fflush(stdout);
    if (kept_ < 0) return;
    _dup2(kept_, standardOutput);
    _close(kept_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int kept_;
};

const char* onOff(std::uint32_t on) { return on != 0 ? "on" : "off"; }

void tellSwitch(Output& output, const char* name, const char* place, const SwitchStatus& status) {
  output.print("%-9s %-4s DIP hardware %u, software %u\n", name, onOff(status.on), status.hardwareDip,
               status.softwareDip);
  const std::string prefix = std::string("supplies/") + place;
  output.put(prefix + "/on", status.on != 0);
  output.put(prefix + "/hardwareDip", status.hardwareDip);
  output.put(prefix + "/softwareDip", status.softwareDip);
}

}  // namespace

std::int32_t readVersions(const BoardHandle* board, Versions& versions) {
  versions = {0, 0, unknownVersion, unknownVersion};
  const Silence silence;
  return kVexaGetVersion(board, &versions.fpga, &versions.firmware, &versions.driver, &versions.library);
}

std::string fpgaText(std::uint32_t type, std::uint32_t fpga) {
  return format("%0*X", type == KVEXA_BOARD_USB ? 4 : 8, fpga);
}

std::string firmwareText(std::uint32_t firmware) { return format("%X.%02X", firmware >> 8, firmware & 0xFF); }

std::string fileVersionText(std::uint32_t version) {
  if (version == unknownVersion) return "unknown";
  return format("%X.%X.%X.%X", version >> 12 & 0xF, version >> 8 & 0xF, version >> 4 & 0xF, version & 0xF);
}

void tellListed(Output& output, std::uint32_t type, std::uint32_t index, const std::string& place) {
  output.put(place + "/type", typeName(type));
  output.put(place + "/index", index);
  kvexa::Board board;
  Versions versions;
  std::int32_t result = board.open(type, index);
  if (result >= 0) result = readVersions(board.handle(), versions);
  if (result < 0) {
    const kvexa::ResultText* const text = kvexa::findResult(result);
    const std::string reason = result == KVEXA_OPEN_FAILED ? "in use, or its driver does not open it"
                               : text == nullptr           ? "does not answer"
                                                           : text->text;
    output.print("%-4s %3u  %s\n", typeName(type), index, reason.c_str());
    output.put(place + "/error/code", result);
    output.put(place + "/error/text", reason);
    return;
  }
  const std::string firmware = type == KVEXA_BOARD_USB ? firmwareText(versions.firmware) : "-";
  output.print("%-4s %3u  FPGA %s  firmware %s  driver %s\n", typeName(type), index,
               fpgaText(type, versions.fpga).c_str(), firmware.c_str(),
               fileVersionText(versions.driver).c_str());
  output.put(place + "/fpga", fpgaText(type, versions.fpga));
  if (type == KVEXA_BOARD_USB) {
    output.put(place + "/firmware", firmware);
  } else {
    output.put(place + "/firmware", nullptr);
  }
  output.put(place + "/driver", fileVersionText(versions.driver));
}

void tellVersions(const Board& board) {
  Output& output = board.output();
  Versions versions;
  board.step("kVexaGetVersion", readVersions(board.handle(), versions));
  output.print("FPGA     %s\n", fpgaText(board.type(), versions.fpga).c_str());
  output.put("versions/fpga", fpgaText(board.type(), versions.fpga));
  if (board.isUsb()) {
    output.print("firmware %s\n", firmwareText(versions.firmware).c_str());
    output.put("versions/firmware", firmwareText(versions.firmware));
  } else {
    output.put("versions/firmware", nullptr);
  }
  output.print("driver   %s\n", fileVersionText(versions.driver).c_str());
  output.put("versions/driver", fileVersionText(versions.driver));
  output.print("library  %s\n", fileVersionText(versions.library).c_str());
  output.put("versions/library", fileVersionText(versions.library));
}

void tellSupplies(const Board& board) {
  Output& output = board.output();
  SupplyStatus status{};
  board.step("kVexaGetSupplyStatus", kVexaGetSupplyStatus(board.handle(), &status));
  tellSwitch(output, "supply V1", "v1", status.v1);
  tellSwitch(output, "supply V2", "v2", status.v2);
  tellSwitch(output, "clock", "clock", status.clock);
  const std::array<std::tuple<const char*, const char*, std::uint32_t>, 3> others{
      {{"reset", "reset", status.resetOn},
       {"I2C lines", "i2c", status.i2cOn},
       {"switch", "powerSwitch", status.powerSwitchOn}}};
  for (const auto& [name, place, on] : others) {
    output.print("%-9s %s\n", name, onOff(on));
    output.put(std::string("supplies/") + place, on != 0);
  }
}

void tellUsbStatus(const Board& board) {
  Output& output = board.output();
  if (!board.isUsb()) {
    output.put("status", nullptr);
    return;
  }
  std::array<std::uint8_t, KVEXA_STATUS_BLOCK_BYTES> block{};
  const std::int32_t status = kVexaGetUsbStatus(board.handle(), block.data());
  board.step("kVexaGetUsbStatus", status);
  const bool isIdle = block[statusByte] == 0;
  const char* const meaning = isIdle                          ? "idle"
                              : block[statusByte] == busError ? "error on the sensor bus"
                                                              : "busy";
  output.print("state     %s (0x%02X)\n", meaning, block[statusByte]);
  output.put("status/code", block[statusByte]);
  output.put("status/text", meaning);
  const bool dropped = kVexaIsDropFrame(board.handle()) != 0;
  output.print("dropped   %s\n", dropped ? "yes" : "no");
  output.put("status/droppedFrames", dropped);
}

void tellLines(const Board& board) {
  Output& output = board.output();
  std::uint32_t in = 0;
  std::uint32_t out = 0;
  board.step("kVexaGetDin", kVexaGetDin(board.handle(), &in));
  board.step("kVexaGetDout", kVexaGetDout(board.handle(), &out));
  output.print("lines in  0x%04X\nlines out 0x%04X\n", in, out);
  output.put("lines/in", in);
  output.put("lines/out", out);
}

void tellDips(const Board& board) {
  Output& output = board.output();
  std::uint32_t hardware = 0;
  std::uint32_t software = 0;
  board.step("kVexaGetHwDipStatus", kVexaGetHwDipStatus(board.handle(), &hardware));
  board.step("kVexaGetSwDipStatus", kVexaGetSwDipStatus(board.handle(), &software));
  output.print("DIP hardware 0x%02X\nDIP software 0x%02X\n", hardware, software);
  output.put("dip/hardware", hardware);
  output.put("dip/software", software);
}

}  // namespace cli

#include "cli/board/Registers.h"

#include "cli/base/Failure.h"

namespace cli {

namespace {

constexpr Choice modes[] = {
    {"7/16", KVEXA_SLAVE7_SUB16},   {"7/8", KVEXA_SLAVE7_SUB8},   {"7/none", KVEXA_SLAVE7_NO_SUB},
    {"10/16", KVEXA_SLAVE10_SUB16}, {"10/8", KVEXA_SLAVE10_SUB8}, {"10/none", KVEXA_SLAVE10_NO_SUB},
    {"0", KVEXA_SLAVE7_SUB8},       {"1", KVEXA_SLAVE7_SUB16},    {"2", KVEXA_SLAVE7_NO_SUB},
    {"3", KVEXA_SLAVE10_SUB8},      {"4", KVEXA_SLAVE10_SUB16},   {"5", KVEXA_SLAVE10_NO_SUB}};

constexpr std::uint32_t largestAddress = 0xFFFF;
constexpr std::uint32_t mostRegisters = 4096;
constexpr std::uint32_t largestSlave7 = 0x7F;
constexpr std::uint32_t largestSlave = 0x7FFF;  // prefixes of 10-bit addresses included

}  // namespace

std::span<const Choice> addressModeWords() { return modes; }

void addRegisterOptions(Options& options, RegisterOptions& registers) {
  options.flag("--on-board", registers.onBoard, "registers of the board instead of the sensor")
      .text("--slave", registers.slave, "address of the sensor on its bus, such as 0x36")
      .choice(
          "--mode", registers.mode, modes,
          "bits of the slave address / bits of register addresses, or the number 0 to 5 of register files")
      .flag("--power", registers.power, "power the module up before and down afterwards");
}

RegisterRange parseRange(const std::string& text) {
  const std::size_t sign = text.find_first_of("-+");
  RegisterRange range;
  range.first = range.last = parseNumber(text.substr(0, sign), "ADDRESS", 0, largestAddress);
  if (sign == std::string::npos) return range;
  const std::string rest = text.substr(sign + 1);
  if (text[sign] == '-') {
    range.last = parseNumber(rest, "ADDRESS", 0, largestAddress);
  } else {
    range.last = range.first + parseNumber(rest, "COUNT", 1, mostRegisters) - 1;
  }
  if (range.last < range.first || range.last > largestAddress || range.last - range.first >= mostRegisters) {
    throw UsageFailure("'" + text +
                       "': a range goes upwards, to 0xFFFF at most, over 4096 registers at most");
  }
  return range;
}

RegisterWrite parseWrite(const std::string& text, std::uint32_t largestValue) {
  const std::size_t sign = text.find('=');
  if (sign == std::string::npos) {
    throw UsageFailure("'" + text + "' is no ADDRESS=VALUE, such as 0x0100=1 or 0x0104=5,0");
  }
  RegisterWrite write;
  write.address = parseNumber(text.substr(0, sign), "ADDRESS", 0, largestAddress);
  std::string rest = text.substr(sign + 1);
  for (;;) {
    const std::size_t comma = rest.find(',');
    write.values.push_back(parseNumber(rest.substr(0, comma), "VALUE", 0, largestValue));
    if (comma == std::string::npos) break;
    rest.erase(0, comma + 1);
  }
  return write;
}

RegisterAccess::RegisterAccess(const RegisterOptions& options, bool isUsb)
    : onBoard_(options.onBoard), isUsb_(isUsb), mode_(options.mode) {
  if (onBoard_) {
    if (!options.slave.empty()) throw UsageFailure("--on-board and --slave exclude each other");
    step_ = isUsb ? 2 : 4;
    largest_ = isUsb ? 0xFFFF : 0xFFFFFFFF;
    return;
  }
  if (options.slave.empty()) {
    throw UsageFailure("--slave is needed: the sensor's address on its bus",
                       "such as --slave 0x36; --on-board is for the board's own registers");
  }
  const bool isShort = mode_ <= KVEXA_SLAVE7_NO_SUB;
  slave_ = parseNumber(options.slave, "--slave", 0, isShort ? largestSlave7 : largestSlave);
}

std::vector<Register> RegisterAccess::read(const Board& board, const RegisterRange& range) const {
  std::vector<Register> registers;
  if (onBoard_) {
    for (std::uint32_t address = range.first; address <= range.last; address += step_) {
      std::uint32_t word = 0;
      board.step("kVexaFpgaRead", kVexaFpgaRead(board.handle(), address, 2, &word));
      registers.push_back({address, word});
    }
    return registers;
  }
  std::vector<std::uint32_t> words(range.last - range.first + 1);
  const auto count = static_cast<std::uint32_t>(words.size());
  board.step("kVexaRegRead", kVexaRegRead(board.handle(), slave_, range.first, mode_, count, words.data()));
  for (std::uint32_t i = 0; i < count; ++i) registers.push_back({range.first + i, words[i]});
  return registers;
}

void RegisterAccess::write(const Board& board, const RegisterWrite& write) const {
  const auto count = static_cast<std::uint32_t>(write.values.size());
  if (!onBoard_) {
    board.step("kVexaRegWrite",
               kVexaRegWrite(board.handle(), slave_, write.address, mode_, count, write.values.data()));
    return;
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    board.step("kVexaFpgaWrite",
               kVexaFpgaWrite(board.handle(), write.address + i * step_, 2, &write.values[i]));
  }
}

std::string RegisterAccess::valueText(std::uint32_t value) const {
  return format("%0*X", onBoard_ ? (isUsb_ ? 4 : 8) : 2, value);
}

}  // namespace cli

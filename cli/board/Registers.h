// Registers of the sensor or of the board, as the command line names them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "cli/base/Options.h"
#include "cli/board/Board.h"

namespace cli {

struct RegisterOptions {
  bool onBoard = false;
  std::string slave;
  std::uint32_t mode = KVEXA_SLAVE7_SUB16;
  bool power = false;
};

// The words for address modes: a KvexaAddressMode each.
std::span<const Choice> addressModeWords();

void addRegisterOptions(Options& options, RegisterOptions& registers);

// Registers one after another, both ends included.
struct RegisterRange {
  std::uint32_t first = 0;
  std::uint32_t last = 0;
};

// "0x0100", "0x0100-0x0107" or "0x0100+8". Throws UsageFailure.
RegisterRange parseRange(const std::string& text);

// "0x0104=5,0": values from a register on.
struct RegisterWrite {
  std::uint32_t address = 0;
  std::vector<std::uint32_t> values;
};
RegisterWrite parseWrite(const std::string& text, std::uint32_t largestValue);

struct Register {
  std::uint32_t address;
  std::uint32_t value;
};

// Reads and writes them, telling the calls.
class RegisterAccess {
 public:
  // Throws UsageFailure when the options do not say whose registers they are.
  RegisterAccess(const RegisterOptions& options, bool isUsb);

  std::vector<Register> read(const Board& board, const RegisterRange& range) const;
  void write(const Board& board, const RegisterWrite& write) const;

  // Digits of a value: "01", "0018" or "00020104".
  std::string valueText(std::uint32_t value) const;
  std::uint32_t largestValue() const { return largest_; }

 private:
  bool onBoard_;
  bool isUsb_;
  std::uint32_t slave_ = 0;
  std::uint32_t mode_;
  std::uint32_t step_ = 1;  // between the addresses of two registers
  std::uint32_t largest_ = 0xFF;
};

}  // namespace cli

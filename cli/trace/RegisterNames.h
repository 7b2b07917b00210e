// What requests do with a board's registers, in words.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "sim/record/format/Line.h"

namespace cli::trace {

class RegisterNames {
 public:
  // "switches = V1 V2 clock", or an empty text. Lines come in their order: USB boards are told the address of
  // a register before its value.
  std::string remark(const sim::record::Line& line);

 private:
  std::string usbRemark(const sim::record::Line& line);

  struct UsbPort {
    std::uint16_t address = 0;
    bool isRead = false;  // the next answer is the register's value
  };
  std::map<std::uint32_t, UsbPort> ports_;
};

}  // namespace cli::trace

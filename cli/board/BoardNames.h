// What boards are called on the command line, in text and in JSON.
#pragma once

#include <kvexa.h>

#include "cli/base/Options.h"

namespace cli {

inline constexpr Choice boardTypes[] = {{"usb", KVEXA_BOARD_USB}, {"pcie", KVEXA_BOARD_PCIE}};

inline const char* typeName(std::uint32_t type) { return type == KVEXA_BOARD_USB ? "usb" : "pcie"; }

// As in a sentence: "USB board".
inline const char* typeTitle(std::uint32_t type) { return type == KVEXA_BOARD_USB ? "USB" : "PCIe"; }

}  // namespace cli

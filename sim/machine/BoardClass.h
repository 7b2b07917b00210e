// The interface classes by which boards are found, in the order of BoardType of kvexa.h.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <optional>

#include "kvexa.h"

namespace sim {

struct BoardClass {
  std::uint32_t type;
  GUID interfaceClass;
  const char* tracePrefix;
  const char* pathClass;  // the interface class as device paths spell it
};

inline constexpr std::array<BoardClass, 2> boardClasses = {{
    {KVEXA_BOARD_USB,
     {0xB0AB5DB8, 0x9B4F, 0x4262, {0xA6, 0xF1, 0x0D, 0x7A, 0xCA, 0x3C, 0xD6, 0x30}},
     "usb",
     "{b0ab5db8-9b4f-4262-a6f1-0d7aca3cd630}"},
    {KVEXA_BOARD_PCIE,
     {0x48C8F86D, 0xD55D, 0x46CD, {0xB3, 0xC3, 0x77, 0x2D, 0xDE, 0x19, 0x1D, 0x11}},
     "pcie",
     "{48c8f86d-d55d-46cd-b3c3-772dde191d11}"},
}};

const BoardClass* findBoardClass(const GUID* interfaceClass);

}  // namespace sim

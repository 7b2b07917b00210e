#include "ListCommand.h"

#include <kvexa.h>

#include <cstdint>
#include <cstdio>

#include "Failure.h"

namespace cli {

void list() {
  std::uint32_t usb = 0;
  std::uint32_t pcie = 0;
  if (kVexaDevNum(&usb, &pcie) < 0) throw Failure("the boards cannot be enumerated");
  std::printf("USB boards:  %u\nPCIe boards: %u\n", usb, pcie);
}

}  // namespace cli

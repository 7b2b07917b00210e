// The words of target 0x80 that captures use, moved without polling.
#pragma once

#include <windows.h>

#include <cstdint>

#include "usb/link/Link.h"
#include "usb/link/Protocol.h"

namespace kvexa::usb {

// Two bytes; value is 0 when the answer did not come. A status check follows either way, and a bus
// error that it finds is the result.
std::int32_t readTarget(Link link, Target target, std::uint32_t& value);
std::int32_t writeTarget(Link link, Target target, std::uint32_t value);

}  // namespace kvexa::usb

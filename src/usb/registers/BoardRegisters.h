// Register transfers that wait for the board between request and answer, and the board's own registers,
// which are reached that way.
#pragma once

#include <windows.h>

#include <cstdint>

#include "usb/link/Link.h"
#include "usb/link/Protocol.h"
#include "usb/registers/RegisterPacket.h"

namespace kvexa::usb {

std::int32_t writePolled(Link link, const RegisterAddress& address, std::uint32_t count,
                         const std::uint32_t* words);
std::int32_t readPolled(Link link, const RegisterAddress& address, std::uint32_t count, std::uint32_t* words);

// Several bytes of board registers, the way of the exported functions.
std::int32_t fpgaRead(Link link, std::uint32_t address, std::uint32_t count, std::uint32_t* words);
std::int32_t fpgaWrite(Link link, std::uint32_t address, std::uint32_t count, const std::uint32_t* words);

// One board register. A value that could not be read is left as it was.
std::int32_t readRegister(Link link, Register address, std::uint32_t& value);
std::int32_t writeRegister(Link link, Register address, std::uint32_t value);

// Words of target 0x80 that are no registers.
std::int32_t readTargetPolled(Link link, Target target, std::uint32_t& value);
std::int32_t writeTargetPolled(Link link, Target target, std::uint32_t value);

}  // namespace kvexa::usb

// The PCIe requests as the trace shows them; the format is described in Trace.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "sim/pcie/Protocol.h"

namespace sim::pcie {

// "pcie0 writeRegister [00000000 00000214 00000008]", from the record as it goes in.
std::string requestText(const std::string& board, const Shape& shape, std::span<const std::uint32_t> words);

// "00000000 00000018", from the record as it is returned.
std::string answerText(const Shape& shape, std::span<const std::uint32_t> words);

}  // namespace sim::pcie

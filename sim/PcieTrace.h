// The PCIe requests as the trace tells them; the format stands in Trace.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "PcieProtocol.h"

namespace sim {

// "pcie0 writeRegister [00000000 00000214 00000008]", from the record as it goes in.
std::string pcieRequestText(const std::string& board, const PcieShape& shape,
                            std::span<const std::uint32_t> words);

// "00000000 00000018", from the record as it comes back.
std::string pcieAnswerText(const PcieShape& shape, std::span<const std::uint32_t> words);

}  // namespace sim

// kvexa version: the versions of a board's parts and of the software for it.
#pragma once

#include <cstdint>

namespace cli {

void version(std::uint32_t boardType, std::uint32_t boardIndex);

}  // namespace cli

// How fast this machine multiplies and adds doubles when nothing else is in the way.
#pragma once

#include <cstdint>

namespace bench {

// Does that many multiplications and additions, in halves, in vectors of four.
void runDoubles(std::uint64_t operations);

}  // namespace bench

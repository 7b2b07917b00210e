// How a request waits inside a board.
#pragma once

#include <functional>
#include <optional>

#include "sim/base/Clock.h"

namespace sim {

// Lets other requests to the board be served until something has changed or the moment has come, whichever is
// first; what the request found before must be looked at anew. False when the board is gone.
using Patience = std::function<bool(std::optional<Microseconds> moment)>;

}  // namespace sim

// Boards that answer as a recording says.
#pragma once

#include <memory>
#include <string>

#include "sim/attach/Redirection.h"
#include "sim/record/replay/Replay.h"

namespace sim::record {

// Keeps the replay. Image data come from the file beside the recording; without one they are zeros.
std::shared_ptr<Platform> makeReplayPlatform(std::shared_ptr<Replay> replay);

}  // namespace sim::record

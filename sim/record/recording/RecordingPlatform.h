// Another platform, simulated or the real computer, with everything written down that concerns boards.
#pragma once

#include <memory>

#include "sim/attach/Redirection.h"
#include "sim/base/Clock.h"
#include "sim/record/recording/Recorder.h"

namespace sim::record {

// Times are the clock's. All three are kept as long as the platform.
std::shared_ptr<Platform> makeRecordingPlatform(std::shared_ptr<Platform> inner,
                                                std::shared_ptr<Recorder> recorder,
                                                std::shared_ptr<const Clock> clock);

}  // namespace sim::record

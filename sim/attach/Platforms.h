// The two computers that an attached module can see.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "sim/attach/Redirection.h"

namespace sim {

class Machine;
class Trace;

// The machine outlives the platform, or the platform keeps it.
std::shared_ptr<Platform> makeSimulatedPlatform(Machine& machine);
std::shared_ptr<Platform> makeSimulatedPlatform(std::shared_ptr<Machine> machine);
std::shared_ptr<Platform> makeTracedPlatform(Trace& trace);

}  // namespace sim

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

std::unique_ptr<Platform> makeSimulatedPlatform(Machine& machine);
std::unique_ptr<Platform> makeTracedPlatform(Trace& trace);

}  // namespace sim

#include "Session.h"

#include <kvexa.h>

#include "Failure.h"

namespace cli {

Session::Session(const SessionOptions& options)
    : bench_(options.simulate ? sim::Bench::Boards::simulated : sim::Bench::Boards::real) {
  if (!options.scene.empty() && !options.simulate) {
    throw Failure("--scene needs --simulate: a real camera looks at what is in front of it");
  }
  // Before the trace file is made: a scene that is no picture leaves no file.
  if (!options.scene.empty()) bench_.setScene(sim::Scene::fromFile(options.scene));
  if (!options.trace.empty()) bench_.writeTrace(options.trace);
  if (options.simulate) {
    for (std::uint32_t i = 0; i < options.boardCount; ++i) bench_.addBoard(options.boardType);
  }
  // Real boards without a trace need nothing of the bench.
  if (options.simulate || !options.trace.empty()) bench_.attach(GetModuleHandleA("KVEXA_LIB.dll"));
}

}  // namespace cli

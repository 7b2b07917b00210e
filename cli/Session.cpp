#include "Session.h"

#include <kvexa.h>

#include "Failure.h"
#include "sim/sensor/Scene.h"

namespace cli {

Session::Session(const SessionOptions& options) {
  if (!options.scene.empty() && !options.simulate) {
    throw Failure("--scene needs --simulate: a real camera looks at what is in front of it");
  }
  // A picture that is none must be told before a trace file is made.
  const auto scene = options.scene.empty() ? sim::Scene::chart() : sim::Scene::fromFile(options.scene);
  sim::Trace& trace = options.simulate ? machine_.trace() : realTrace_;
  if (!options.trace.empty()) {
    traceFile_.reset(std::fopen(options.trace.c_str(), "wb"));
    if (!traceFile_) throw Failure(options.trace + ": cannot be written");
  }
  trace.writeTo(traceFile_.get());

  const HMODULE library = GetModuleHandleA("KVEXA_LIB.dll");
  if (!options.simulate) {
    if (traceFile_) attachment_ = std::make_unique<sim::Attachment>(library, realTrace_);
    return;
  }
  for (std::uint32_t i = 0; i < options.boardCount; ++i) {
    sim::Sensor& sensor = options.boardType == KVEXA_BOARD_PCIE ? machine_.addPcieBoard().sensor()
                                                                : machine_.addUsbBoard().sensor();
    sensor.setScene(scene);
  }
  attachment_ = std::make_unique<sim::Attachment>(library, machine_);
}

}  // namespace cli

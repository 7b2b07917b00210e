// What a simulation consists of, and how it is written down: TOML, see docs/simulated-boards.md.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sim/base/Clock.h"
#include "sim/base/Faults.h"
#include "sim/sensor/Sensor.h"

namespace sim {

// A sentence for people: file, line, column and reason.
struct DescriptionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A fault of one request, or of every request from one on; requests count from 1.
struct RequestFault {
  unsigned request = 0;
  bool andAllAfter = false;
  Fault fault;
};

// Something that happens to a board at a moment after the start.
struct BoardEvent {
  enum class Kind {
    unplug,
    plug,
    holdAcknowledge,
    releaseAcknowledge,
    holdFrames,
    releaseFrames,
    refuse,
    clear
  };
  Microseconds moment = 0;
  Kind kind = Kind::plug;
  std::uint32_t value = 0;
};

struct BoardDescription {
  std::uint32_t type = 0;       // BoardType of kvexa.h
  std::string scene = "chart";  // "chart", a colour as "#8090a0", or a picture file
  std::string scenePlace;       // where the description names it
  bool plugged = true;
  SensorAddress address;
  std::vector<SensorReset> sensorResets;
  std::vector<std::pair<std::uint16_t, std::uint32_t>> registers;
  std::vector<Defect> defects;
  std::vector<RequestFault> faults;
  std::vector<BoardEvent> events;
};

struct Description {
  Pace pace = Pace::real;
  std::string trace;                     // a file; empty for none
  std::optional<std::string> usbDriver;  // version texts; empty for a driver file without a version
  std::optional<std::string> pcieDriver;
  std::vector<BoardDescription> boards;
};

// Throws DescriptionError. `name` is what errors call the text; files are found from `folder`, unless their
// names are absolute.
Description parseDescription(std::string_view text, const std::string& name, const std::string& folder);

// The same for a file, named in UTF-8.
Description readDescription(const std::string& path);

}  // namespace sim

// Simulated boards as a description puts them together, ready to be attached.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "sim/bench/BoardEvents.h"
#include "sim/bench/Description.h"
#include "sim/bench/TraceFile.h"
#include "sim/machine/Machine.h"

namespace sim {

// A scene by its name in a description: "chart", a colour as "#8090a0", or a picture file. Throws SceneError.
std::shared_ptr<const Scene> sceneNamed(const std::string& name);

// Looks whether the picture files of the boards can be seen. Throws DescriptionError.
void checkScenes(const Description& description);

// What both kinds of boards have, for callers that know a board by type and index.
struct BoardParts {
  Sensor& sensor;
  Faults& faults;
};

class DescribedBench {
 public:
  // Throws DescriptionError for a scene that cannot be seen, TraceError for a trace that cannot be
  // written.
  explicit DescribedBench(const Description& description);
  ~DescribedBench();
  DescribedBench(const DescribedBench&) = delete;
  DescribedBench& operator=(const DescribedBench&) = delete;

  Machine& machine() { return machine_; }

  // Plugged or not.
  unsigned count(std::uint32_t type) const { return type == 0 ? usbBoards_ : pcieBoards_; }

  // Nothing when there is no such board.
  std::optional<BoardParts> board(std::uint32_t type, unsigned index);

  // False when there is no such board.
  bool plug(std::uint32_t type, unsigned index, bool plugged);
  bool writeRegister(std::uint32_t type, unsigned index, std::uint32_t address, std::uint32_t value);
  std::optional<std::uint32_t> readRegister(std::uint32_t type, unsigned index, std::uint32_t address);

  // Traces to the file from now on; an empty name ends that. Throws TraceError.
  void traceTo(const std::string& path);

 private:
  void add(const BoardDescription& description, const std::shared_ptr<const Scene>& scene);
  void setDriver(const char* file, const std::optional<std::string>& version);
  bool has(std::uint32_t type, unsigned index) const;

  unsigned usbBoards_ = 0;
  unsigned pcieBoards_ = 0;
  std::mutex traceMutex_;
  std::unique_ptr<TraceFile> traceFile_;
  BoardEvents events_;
  Machine machine_;  // ends before what it refers to
};

}  // namespace sim

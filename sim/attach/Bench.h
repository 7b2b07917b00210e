// Boards, scene and trace put together under a loaded module: what a program needs that works with simulated
// boards, or looks at the requests to real ones.
#pragma once

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"
#include "sim/sensor/CameraBoard.h"
#include "sim/sensor/Scene.h"

namespace sim {

class Bench {
 public:
  // On a bench with real boards only the trace is simulated: requests pass through to the driver.
  enum class Boards { simulated, real };

  explicit Bench(Boards boards) : boards_(boards) {}

  // Simulated boards by type (BoardType of kvexa.h) and by number, in the order in which they were added.
  // Throws std::invalid_argument when there is no such type, and std::out_of_range when there is no such
  // board.
  CameraBoard& addBoard(std::uint32_t type);
  CameraBoard& board(std::uint32_t type, unsigned number);

  // The scene of every board that is added from now on; the chart unless it is set.
  void setScene(std::shared_ptr<const Scene> scene) { scene_ = std::move(scene); }

  // The requests, as lines: kept in the trace, or written to a file from now on. The caller owns the stream;
  // null keeps the lines again. Throws std::runtime_error when the file cannot be made.
  Trace& trace() { return boards_ == Boards::simulated ? machine_.trace() : realTrace_; }
  void writeTrace(const std::string& path);
  void writeTrace(std::FILE* stream);

  // Puts the boards under the module, until detach or the end of the bench: see Attachment.
  void attach(HMODULE module);
  void detach() { attachment_.reset(); }

  // For all else that can be set up: time, files of the system, resources.
  Machine& machine() { return machine_; }

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  const Boards boards_;
  std::unique_ptr<std::FILE, FileCloser> traceFile_;
  Trace realTrace_;
  std::shared_ptr<const Scene> scene_ = Scene::chart();
  Machine machine_;
  std::unique_ptr<Attachment> attachment_;  // last, so that nothing is called any more when the boards go
};

}  // namespace sim

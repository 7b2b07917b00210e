// The one simulation of this process.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "sim/attach/Redirection.h"
#include "sim/bench/DescribedBench.h"
#include "sim/record/recording/Recorder.h"
#include "sim/record/replay/Replay.h"

namespace sim {

struct SimulationRuns : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Simulation {
 public:
  // Lives until the process ends.
  static Simulation& instance();

  // Every library of the process finds these boards from now on. Throws what DescribedBench throws, and
  // SimulationRuns.
  void start(const Description& description);

  // False when none runs.
  bool stop();

  // The boards of a recording instead of simulated ones. Throws RecordingError and SimulationRuns.
  void startReplay(const std::string& path, bool isLenient, bool isFast);

  // Records from now on what reaches boards, simulated or real; an empty path ends that. Throws
  // RecorderError, and SimulationRuns when a recording is written already. False when there was none to end.
  bool record(const std::string& path, bool frames);

  // The calling thread ends. Inside of the loader: takes no lock that others hold while they call it.
  void threadEnds() noexcept;

  // The process ends: no other thread runs any more.
  void atExit() noexcept;

  // Null when none runs. Whoever holds it keeps it. Begins what is due, and throws what start throws.
  std::shared_ptr<DescribedBench> bench();

  // Whether the environment names boards. They are there from startWhenNeeded on, and begin when a library
  // first looks for them or the program first asks for them.
  static bool isDescribed();
  void startWhenNeeded();

 private:
  Simulation() = default;

  // With the lock held.
  void begin(const Description& description);
  void beginReplay(const std::string& path, bool isLenient, bool isFast);
  void beginRecording(const std::string& path, bool frames);
  void beginDue();
  bool isRunning() const { return bench_ || replay_ || isDue_; }
  void removeRetired();
  void answer(std::shared_ptr<Platform> boards);
  void answer();

  std::mutex mutex_;
  std::shared_ptr<DescribedBench> bench_;
  bool isDue_ = false;                // what the environment names
  std::shared_ptr<Platform> boards_;  // null: the real ones
  std::shared_ptr<record::Recorder> recorder_;
  std::shared_ptr<record::Replay> replay_;  // never another one
  std::atomic<record::Replay*> replaying_ = nullptr;
  // Stopped ones that calls of other threads may still be in. They are destroyed by a later start or stop: it
  // takes a thread that may wait, and a redirected call can be inside the loader.
  std::vector<std::shared_ptr<DescribedBench>> retired_;
};

}  // namespace sim

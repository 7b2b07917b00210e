// The one simulation of this process.
#pragma once

#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "sim/bench/DescribedBench.h"

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

  // Null when none runs. Whoever holds it keeps it. Begins the one that is due, and throws what start throws.
  std::shared_ptr<DescribedBench> bench();

  // Whether the environment describes a simulation. It runs from startWhenNeeded on, and begins when a
  // library first looks for boards or the program first asks for them.
  static bool isDescribed();
  void startWhenNeeded();

 private:
  Simulation() = default;

  void begin(const Description& description);
  void removeRetired();

  std::mutex mutex_;
  std::shared_ptr<DescribedBench> bench_;
  bool isDue_ = false;
  // Stopped ones that calls of other threads may still be in. They are destroyed by a later start or stop: it
  // takes a thread that may wait, and a redirected call can be inside the loader.
  std::vector<std::shared_ptr<DescribedBench>> retired_;
};

}  // namespace sim

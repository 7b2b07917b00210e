// Measures jobs against each other: rounds go through all jobs in turn, so that a slow moment of the
// machine meets all of them, and the best round of each counts.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Job {
  std::string name;
  std::function<void()> run;
  double best = 1e300;  // seconds
};

inline double secondsOf(const std::function<void()>& run, unsigned repeats) {
  const auto start = std::chrono::steady_clock::now();
  for (unsigned i = 0; i < repeats; ++i) run();
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
  return spent.count() / repeats;
}

inline void measure(std::vector<Job>& jobs, unsigned rounds, double secondsPerMeasurement) {
  for (auto& job : jobs) job.best = std::min(job.best, secondsOf(job.run, 1));  // touches all memory
  for (unsigned round = 0; round < rounds; ++round) {
    for (auto& job : jobs) {
      const auto repeats = static_cast<unsigned>(std::clamp(secondsPerMeasurement / job.best, 1.0, 1e6));
      job.best = std::min(job.best, secondsOf(job.run, repeats));
    }
  }
}

}  // namespace bench

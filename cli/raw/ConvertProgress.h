// How far a conversion has come, on standard error: rewritten in place on a terminal, a new line every second
// elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace cli {

class ConvertProgress {
 public:
  // Shows nothing when there is one file alone, or nobody wants to see it.
  ConvertProgress(std::size_t total, bool quiet);

  // Ends the line.
  ~ConvertProgress();
  ConvertProgress(const ConvertProgress&) = delete;
  ConvertProgress& operator=(const ConvertProgress&) = delete;

  // One more file is done. Any thread.
  void advance();

 private:
  void show(std::uint64_t now);

  std::mutex lock_;
  std::size_t total_;
  std::size_t done_ = 0;
  bool wanted_;
  bool terminal_;
  std::uint64_t start_;
  std::uint64_t last_;
};

}  // namespace cli

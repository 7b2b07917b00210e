// The boards that a command works with: the real ones, or simulated ones.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"

namespace cli {

struct SessionOptions {
  bool simulate = false;
  std::uint32_t boardType = 0;
  std::uint32_t boardCount = 1;  // simulated boards
  std::string scene;             // a picture in front of the simulated camera; empty for the chart
  std::string trace;             // a file for every driver request; empty for none
};

// Stands between the library and Windows for as long as it lives.
class Session {
 public:
  explicit Session(const SessionOptions& options);

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::unique_ptr<std::FILE, FileCloser> traceFile_;
  sim::Trace realTrace_;
  sim::Machine machine_;
  std::unique_ptr<sim::Attachment> attachment_;
};

}  // namespace cli

// The boards that a command works with: the real ones, simulated ones, or those of a description.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "cli/board/RequestCounts.h"

namespace cli {

class Options;

// What every command takes.
struct CommonOptions {
  std::uint32_t boardType = 0;
  std::uint32_t boardIndex = 0;
  bool simulate = false;
  std::string boards;  // a number of simulated boards, or a file that describes them
  std::string scene;   // a picture in front of the simulated cameras; empty for the chart
  std::string trace;   // a file for every driver request; empty for none
  bool json = false;
  bool quiet = false;
};

void addCommonOptions(Options& options, CommonOptions& common);

// Throws UsageFailure for options that do not go together.
void checkCommonOptions(const CommonOptions& common);

// How simulated boards run, and who hears of the requests to boards of either kind: Session::requests where
// they are counted, else the listener.
struct SessionOptions {
  bool isRealTime = false;   // simulated boards: also where a description says otherwise
  bool isStreaming = false;  // the sensors of --simulate stream as soon as they are powered up
  bool countsRequests = false;
  std::function<void(const std::string& line)> listener;
};

// While it lives, the library's calls to Windows go to the simulated boards, or into the trace.
class Session {
 public:
  // Throws Failure, or another exception with a sentence for people, when a file does not serve.
  explicit Session(const CommonOptions& options, const SessionOptions& how = {});
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  const RequestCounts& requests() const;

  // By the clock of the boards, which is simulated for simulated ones.
  double seconds() const;

 private:
  struct Simulated;
  std::unique_ptr<Simulated> simulated_;
};

}  // namespace cli

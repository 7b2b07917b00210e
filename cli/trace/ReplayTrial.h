// A program that is run against a recording to see how it ends.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "cli/base/Interrupt.h"
#include "cli/run/Program.h"
#include "sim/record/replay/Outcome.h"

namespace cli::trace {

// How a program ended.
struct Ending {
  std::optional<std::uint32_t> code;  // nothing: not within the time
  bool says = false;                  // the text that was looked for
  sim::record::Outcome outcome;
};

// The same exit code, the same last failed request, the text when one is looked for, and no more questions
// without an answer.
bool failsAlike(const Ending& first, const Ending& other);

class ReplayTrial {
 public:
  // The recording that is tried and what the program writes are in files whose names begin with the path, in
  // UTF-8. `text` is looked for in what the program writes; empty for nothing.
  ReplayTrial(std::wstring commandLine, const std::string& path, std::string text);
  ~ReplayTrial();
  ReplayTrial(const ReplayTrial&) = delete;
  ReplayTrial& operator=(const ReplayTrial&) = delete;

  // Where the recording has to be that is tried when no other one is named.
  const std::string& path() const { return path_; }

  // Runs the program, lenient and without waiting for times. Nothing when a key was pressed. Throws
  // RunFailure.
  std::optional<Ending> run(const std::string& recording, DWORD milliseconds, const Interrupt& interrupt);

 private:
  struct Unmapper {
    void operator()(sim::record::Outcome* outcome) const;
  };

  std::wstring commandLine_;
  std::string path_;
  std::string outputPath_;
  std::string text_;
  std::wstring memoryName_;
  UniqueHandle memory_;
  std::unique_ptr<sim::record::Outcome, Unmapper> outcome_;
};

}  // namespace cli::trace

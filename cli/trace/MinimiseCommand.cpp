// kvexa trace minimise: leaves out of a recording what a program's failure does not need.
#include <windows.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/base/Failure.h"
#include "cli/base/LiveLine.h"
#include "cli/commands/Commands.h"
#include "cli/run/CommandTail.h"
#include "cli/trace/ReplayTrial.h"
#include "cli/trace/TraceCommand.h"
#include "sim/bench/Files.h"
#include "sim/record/shorten/Minimising.h"
#include "sim/record/shorten/RecordingParts.h"

namespace cli {

namespace {

using sim::record::KeptFrames;
using sim::record::Part;
using sim::record::Verdict;
using trace::Ending;
using Steps = std::vector<std::uint32_t>;

constexpr unsigned startRuns = 3;
constexpr DWORD aSecond = 1000;
constexpr DWORD longestStart = 300 * aSecond;
constexpr DWORD shortestLimit = 5 * aSecond;
constexpr DWORD limitFactor = 10;  // of the time that the failing program took

struct MinimiseOptions {
  std::vector<std::string> files;
  std::string out;
  std::string says;
  std::optional<std::uint32_t> limit;  // seconds
  std::uint32_t trials = 1000;
};

// "failure-min.jsonl" of "failure.jsonl".
std::string shorterName(const std::string& path) {
  const std::size_t dot = path.find_last_of('.');
  const std::size_t folder = path.find_last_of("/\\");
  const bool hasEnding = dot != std::string::npos && (folder == std::string::npos || dot > folder);
  return hasEnding ? path.substr(0, dot) + "-min" + path.substr(dot) : path + "-min";
}

bool isSameFile(const std::string& first, const std::string& second) {
  return CompareStringOrdinal(sim::wideText(first).c_str(), -1, sim::wideText(second).c_str(), -1, TRUE) ==
         CSTR_EQUAL;
}

std::string described(const Ending& ending) {
  if (!ending.code) return "does not end";
  const std::string text(ending.outcome.text.data());
  return "ends with code " + std::to_string(*ending.code) +
         (text.empty() ? "" : ", last failed request: " + text);
}

std::size_t callsOf(const sim::record::Script& script, const Steps& steps) {
  return static_cast<std::size_t>(std::ranges::count_if(
      steps, [&](std::uint32_t step) { return script.steps()[step].call != sim::record::Call::complete; }));
}

class Minimiser {
 public:
  Minimiser(const MinimiseOptions& options, std::wstring commandLine, Output& output)
      : options_(options),
        path_(trace::absolutePath(options.files.front())),
        out_(options.out.empty() ? shorterName(options.files.front()) : options.out),
        script_(path_),
        trial_(std::move(commandLine), trace::absolutePath(out_), options.says),
        output_(output) {
    if (isSameFile(path_, trace::absolutePath(out_))) {
      throw UsageFailure("--out names the recording itself, which is left as it is");
    }
  }

  void run() {
    first_ = start();
    const std::vector<Part> parts = sim::record::dialogues(script_);
    Steps all(parts.size());
    for (std::uint32_t i = 0; i < all.size(); ++i) all[i] = i;
    kept_ = sim::record::stepsOf(parts, all);
    whole_ = callsOf(script_, kept_);
    leaveOutFrames();
    leaveOut(parts);
    leaveOut(sim::record::singleCalls(script_, kept_));
    sim::record::writePart(script_, kept_, keepsFrames_ ? KeptFrames::copied : KeptFrames::none,
                           trace::absolutePath(out_));
    confirm();
    tellEnd();
  }

 private:
  // How the program fails with the whole recording; it must do so each time.
  Ending start() {
    Ending first;
    DWORD longest = 0;
    for (unsigned run = 0; run < startRuns; ++run) {
      const ULONGLONG begin = GetTickCount64();
      const auto ending =
          trial_.run(path_, options_.limit ? *options_.limit * aSecond : longestStart, interrupt_);
      if (!ending) throw Failure("interrupted", ExitCode::interrupted);
      longest = std::max(longest, static_cast<DWORD>(GetTickCount64() - begin));
      if (run == 0) checkFailure(first = *ending);
      if (!failsAlike(first, *ending)) {
        throw Failure("the program does not fail alike each time: once it " + described(first) +
                          "; then it " + described(*ending),
                      ExitCode::outOfLimits);
      }
    }
    limit_ = options_.limit ? *options_.limit * aSecond
                            : std::clamp(longest * limitFactor, shortestLimit, longestStart);
    output_.print("the program %s, each of %u times\n", described(first).c_str(), startRuns);
    return first;
  }

  void checkFailure(const Ending& ending) const {
    if (!ending.code) throw Failure("the program does not end within --limit", ExitCode::outOfLimits);
    if (!options_.says.empty() && !ending.says) {
      throw Failure("the program does not write the text of --says", ExitCode::outOfLimits);
    }
    if (options_.says.empty() && *ending.code == 0) {
      throw Failure("the program does not fail with this recording: it ends with code 0",
                    ExitCode::outOfLimits, "name a text that tells the failure with --says");
    }
  }

  // What was tried before is not tried again: parts of different kinds may be the same calls.
  Verdict fails(const Steps& steps, bool keepsFrames) {
    if (different_.contains(steps)) return Verdict::different;
    if (interrupt_.isSet() || trials_ == options_.trials) return Verdict::stop;
    ++trials_;
    sim::record::writePart(script_, steps, keepsFrames ? KeptFrames::inPlace : KeptFrames::none,
                           trial_.path());
    const auto ending = trial_.run(trial_.path(), limit_, interrupt_);
    if (!ending) return Verdict::stop;
    if (failsAlike(first_, *ending)) return Verdict::same;
    if (keepsFrames == keepsFrames_) different_.insert(steps);
    return Verdict::different;
  }

  // What the pictures showed seldom matters, and they are large.
  void leaveOutFrames() {
    keepsFrames_ = script_.hasFrames();
    if (!keepsFrames_ || fails(kept_, false) == Verdict::same) {
      keepsFrames_ = false;
      return;
    }
    const std::wstring from = sim::wideText(path_ + ".frames");
    const std::wstring to = sim::wideText(trial_.path() + ".frames");
    if (CreateHardLinkW(to.c_str(), from.c_str(), nullptr) == FALSE)
      CopyFileW(from.c_str(), to.c_str(), FALSE);
  }

  void leaveOut(const std::vector<Part>& parts) {
    sim::record::minimise(parts.size(), [&](const Steps& rest) {
      const Steps steps = sim::record::stepsOf(parts, rest);
      const Verdict verdict = fails(steps, keepsFrames_);
      if (verdict == Verdict::same) kept_ = steps;
      if (live_.isDue()) live_.show(progress());
      return verdict;
    });
  }

  std::string progress() const {
    return "trial " + std::to_string(trials_) + ": " + std::to_string(callsOf(script_, kept_)) + " of " +
           std::to_string(whole_) + " calls fail alike";
  }

  // The file as it is there now.
  void confirm() {
    if (interrupt_.isSet()) return;
    const auto ending = trial_.run(trace::absolutePath(out_), limit_, interrupt_);
    if (ending && !failsAlike(first_, *ending)) {
      throw Failure(out_ + ": the program does not fail alike each time with it; it " + described(*ending),
                    ExitCode::outOfLimits);
    }
  }

  void tellEnd() {
    const std::string end = interrupt_.isSet() ? "stopped, it may be shorter still"
                            : trials_ == options_.trials
                                ? "the limit of --trials is met, it may be shorter still"
                                : "none of them can be left out by itself";
    live_.finish(out_ + ": " + std::to_string(callsOf(script_, kept_)) + " of " + std::to_string(whole_) +
                 " calls after " + std::to_string(trials_) + " trials; " + end);
  }

  const MinimiseOptions& options_;
  const std::string path_;
  const std::string out_;
  const sim::record::Script script_;
  trace::ReplayTrial trial_;
  Output& output_;
  Interrupt interrupt_;
  LiveLine live_{output_};
  Ending first_;
  DWORD limit_ = 0;
  Steps kept_;
  std::set<Steps> different_;
  std::size_t whole_ = 0;
  bool keepsFrames_ = false;
  unsigned trials_ = 0;
};

}  // namespace

Action traceMinimiseCommand(Options& options) {
  const auto values = std::make_shared<MinimiseOptions>();
  options.texts("FILE", values->files, "a recording")
      .required()
      .text("--out", values->out, "the shorter recording (FILE with -min in its name, when not given)")
      .text("--says", values->says, "what the failing program writes, beside its exit code")
      .number("--limit", values->limit, 1, 86400,
              "seconds for a trial (ten times what the failing program takes, when not given)")
      .number("--trials", values->trials, 1, 1000000, "so many trials at most");
  return [values](Context& context) {
    if (values->files.size() != 1) throw UsageFailure("trace minimise takes one recording");
    auto commandLine = tailAfterDashes(GetCommandLineW());
    if (!commandLine || commandLine->empty()) {
      throw UsageFailure("trace minimise needs a program: kvexa trace minimise FILE -- PROGRAM ARGUMENTS");
    }
    try {
      Minimiser(*values, std::move(*commandLine), context.output).run();
    } catch (const sim::record::RecordingError& error) {
      throw Failure(error.what());
    }
  };
}

}  // namespace cli

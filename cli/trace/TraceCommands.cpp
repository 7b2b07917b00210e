// The options of the commands that look at recordings.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cli/base/Failure.h"
#include "cli/commands/Commands.h"
#include "cli/trace/TraceCommand.h"
#include "sim/record/format/RecordingReader.h"

namespace cli {

namespace {

template <class Look>
void reading(Look look) {
  std::setvbuf(stdout, nullptr, _IOFBF, std::size_t{1} << 16);  // there may be millions of lines
  try {
    look();
  } catch (const sim::record::RecordingError& error) {
    throw Failure(error.what());
  }
}

Action forEachFile(Options& options, void (*look)(const std::string& path)) {
  const auto paths = std::make_shared<std::vector<std::string>>();
  options.texts("FILE", *paths, "recordings").required();
  return [paths, look](const Context&) {
    reading([&] {
      for (const std::string& path : *paths) look(path);
    });
  };
}

}  // namespace

Action traceShowCommand(Options& options) { return forEachFile(options, trace::show); }

Action traceSummaryCommand(Options& options) { return forEachFile(options, trace::summarise); }

Action traceCheckCommand(Options& options) { return forEachFile(options, trace::check); }

Action traceDiffCommand(Options& options) {
  const auto paths = std::make_shared<std::vector<std::string>>();
  const auto compared = std::make_shared<trace::DiffOptions>();
  options.texts("FILE", *paths, "two recordings")
      .required()
      .flag("--times", compared->times, "compare times, too")
      .flag("--frames", compared->frames, "compare what frames show, too")
      .flag("--addresses", compared->addresses, "compare addresses and device paths, too");
  return [paths, compared](Context& context) {
    if (paths->size() != 2) throw UsageFailure("trace diff compares two recordings");
    reading([&] { context.exitCode = trace::compare(paths->at(0), paths->at(1), *compared) ? 0 : 1; });
  };
}

}  // namespace cli

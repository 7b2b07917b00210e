// kvexa trace: looks at recordings.
#pragma once

#include <string>

namespace cli::trace {

// Paths are those of the command line. All throw sim::record::RecordingError.

// Every line as text.
void show(const std::string& path);

// Requests by kind, the slowest, failures, frame intervals, where the time went.
void summarise(const std::string& path);

// Reads the whole file and tells whether it is complete.
void check(const std::string& path);

struct DiffOptions {
  bool times = false;
  bool frames = false;
  bool addresses = false;
};

// Shows the first difference. True when there is none.
bool compare(const std::string& first, const std::string& second, const DiffOptions& options);

// UTF-8 of a path of the command line.
std::string absolutePath(const std::string& path);

}  // namespace cli::trace

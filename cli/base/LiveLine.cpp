#include "cli/base/LiveLine.h"

#include <io.h>
#include <windows.h>

#include <cstdio>

namespace cli {

namespace {

constexpr std::uint64_t terminalInterval = 100;  // milliseconds
constexpr std::uint64_t fileInterval = 1000;

}  // namespace

LiveLine::LiveLine(Output& output)
    : output_(output),
      terminal_(!output.isJson() && _isatty(_fileno(stdout)) != 0),
      last_(GetTickCount64()) {}

LiveLine::~LiveLine() {
  if (open_) output_.print("\n");
}

bool LiveLine::isDue() const {
  return !output_.isQuiet() && GetTickCount64() - last_ >= (terminal_ ? terminalInterval : fileInterval);
}

void LiveLine::show(const std::string& text) {
  output_.endLine();
  print(text);
  if (terminal_) {
    open_ = true;
  } else {
    output_.print("\n");
  }
  last_ = GetTickCount64();
}

void LiveLine::finish(const std::string& text) {
  print(text);
  output_.print("\n");
  open_ = false;
}

void LiveLine::print(const std::string& text) {
  // A shorter text covers the rest of a longer one.
  const std::size_t rest = terminal_ && shown_ > text.size() ? shown_ - text.size() : 0;
  output_.print("%s  %s%s", open_ ? "\r" : "", text.c_str(), std::string(rest, ' ').c_str());
  shown_ = text.size();
}

}  // namespace cli

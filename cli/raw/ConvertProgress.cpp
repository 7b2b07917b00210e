#include "cli/raw/ConvertProgress.h"

#include <io.h>
#include <windows.h>

#include <cstdio>

namespace cli {

namespace {

constexpr std::uint64_t terminalInterval = 100;  // milliseconds
constexpr std::uint64_t fileInterval = 1000;

}  // namespace

ConvertProgress::ConvertProgress(std::size_t total, bool quiet)
    : total_(total),
      wanted_(total > 1 && !quiet),
      terminal_(_isatty(_fileno(stderr)) != 0),
      start_(GetTickCount64()),
      last_(start_) {}

ConvertProgress::~ConvertProgress() {
  if (wanted_ && terminal_) std::fputc('\n', stderr);
}

void ConvertProgress::advance() {
  const std::scoped_lock guard(lock_);
  ++done_;
  if (!wanted_) return;
  const std::uint64_t now = GetTickCount64();
  const bool isDue = now - last_ >= (terminal_ ? terminalInterval : fileInterval);
  if (isDue || done_ == total_) show(now);
}

void ConvertProgress::show(std::uint64_t now) {
  last_ = now;
  const std::uint64_t spent = now - start_;
  const std::uint64_t left = (spent * (total_ - done_) / done_ + 999) / 1000;
  std::fprintf(stderr, "%s  %u of %u files, %u s left   %s", terminal_ ? "\r" : "",
               static_cast<unsigned>(done_), static_cast<unsigned>(total_), static_cast<unsigned>(left),
               terminal_ ? "" : "\n");
  std::fflush(stderr);
}

}  // namespace cli

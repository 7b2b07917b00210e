#include "sim/base/Trace.h"

#include <algorithm>
#include <utility>

namespace sim {

void Trace::add(std::string line) {
  const std::lock_guard lock(mutex_);
  const bool yields = line == "sleep 0";
  if (yields && yielding_) return;
  yielding_ = yields;
  if (watcher_) watcher_(line);
  if (sink_) return sink_(line);
  if (lines_.size() == mostLines) lines_.pop_front();
  lines_.push_back(std::move(line));
}

std::vector<std::string> Trace::take() {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> taken(std::make_move_iterator(lines_.begin()),
                                 std::make_move_iterator(lines_.end()));
  lines_.clear();
  yielding_ = false;
  return taken;
}

void Trace::sendTo(Sink sink) {
  const std::lock_guard lock(mutex_);
  sink_ = std::move(sink);
  yielding_ = false;
}

void Trace::watch(Sink watcher) {
  const std::lock_guard lock(mutex_);
  watcher_ = std::move(watcher);
}

void Trace::writeTo(std::FILE* file) {
  if (file == nullptr) return sendTo({});
  sendTo([file](const std::string& line) { std::fputs((line + '\n').c_str(), file); });
}

std::string outcome(std::uint32_t error, bool statusReported) {
  if (error != 0) return " -> error " + std::to_string(error);
  return statusReported ? "" : " -> status kept";
}

}  // namespace sim

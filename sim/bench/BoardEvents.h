// What happens to boards at moments after the start.
#pragma once

#include <functional>
#include <map>
#include <mutex>

#include "sim/base/Timeline.h"
#include "sim/bench/Description.h"

namespace sim {

class BoardEvents : public Timeline::Source {
 public:
  using Plug = std::function<void(bool plugged)>;

  // Before the source is added to a timeline.
  void add(const BoardEvent& event, Faults& faults, Plug plug);

  bool isEmpty() const { return events_.empty(); }

  std::optional<Microseconds> nextDue() override;
  bool isWaiting() override { return false; }  // nobody changes them but their moments
  bool movesTime() const override { return false; }
  void happen() override;

 private:
  struct Planned {
    BoardEvent event;
    Faults* faults;
    Plug plug;
  };

  std::mutex mutex_;
  std::multimap<Microseconds, Planned> events_;
};

}  // namespace sim

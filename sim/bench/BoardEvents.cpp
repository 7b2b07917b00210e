#include "sim/bench/BoardEvents.h"

#include <utility>

namespace sim {

void BoardEvents::add(const BoardEvent& event, Faults& faults, Plug plug) {
  events_.emplace(event.moment, Planned{event, &faults, std::move(plug)});
}

std::optional<Microseconds> BoardEvents::nextDue() {
  const std::lock_guard lock(mutex_);
  if (events_.empty()) return std::nullopt;
  return events_.begin()->first;
}

void BoardEvents::happen() {
  std::unique_lock lock(mutex_);
  if (events_.empty()) return;
  const Planned planned = std::move(events_.extract(events_.begin()).mapped());
  lock.unlock();
  Faults& faults = *planned.faults;
  switch (planned.event.kind) {
    case BoardEvent::Kind::unplug: planned.plug(false); break;
    case BoardEvent::Kind::plug: planned.plug(true); break;
    case BoardEvent::Kind::holdAcknowledge: faults.holdAcknowledge(true); break;
    case BoardEvent::Kind::releaseAcknowledge: faults.holdAcknowledge(false); break;
    case BoardEvent::Kind::holdFrames: faults.holdFrames(true); break;
    case BoardEvent::Kind::releaseFrames: faults.holdFrames(false); break;
    case BoardEvent::Kind::refuse: faults.from(1, {Fault::Kind::refuse, planned.event.value}); break;
    case BoardEvent::Kind::clear: faults.clear(); break;
  }
}

}  // namespace sim

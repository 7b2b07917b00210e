#include "PcieEngine.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

constexpr unsigned measuredFrames = 2;

PcieTransfer::Order orderOf(const std::vector<std::uint32_t>& words) {
  return {reinterpret_cast<std::uint8_t*>(static_cast<std::uintptr_t>(words[PcieWord::captureBuffer])),
          words[PcieWord::captureLength], words[PcieWord::captureContinuous] != 0,
          words[PcieWord::captureMode] == PcieMode::oneShot, words[PcieWord::captureTimeout]};
}

std::uint32_t statusOfStopped(PendingRequest& capture) {
  const bool oneShot = capture.words()[PcieWord::captureMode] == PcieMode::oneShot;
  return oneShot ? PcieStatus::stopped : PcieStatus::success;
}

}  // namespace

PcieEngine::PcieEngine(Clock& clock, const Sensor& sensor, PcieRegisters& registers, Told told)
    : clock_(clock),
      sensor_(sensor),
      registers_(registers),
      told_(std::move(told)),
      transfer_(sensor, registers) {}

void PcieEngine::settle() {
  const Microseconds now = clock_.now();
  transfer_.follow(now);
  for (auto event = nextEvent(); event && event->at < now; event = nextEvent()) handle(*event);
  transfer_.advance(now);
}

void PcieEngine::happen() {
  const Microseconds now = clock_.now();
  transfer_.follow(now);
  const std::optional<Event> event = nextEvent();
  if (event && event->at <= now) handle(*event);
}

std::optional<Microseconds> PcieEngine::nextDue() {
  transfer_.follow(clock_.now());
  const std::optional<Event> event = nextEvent();
  return event ? std::optional(event->at) : std::nullopt;
}

void PcieEngine::add(PcieWait kind, RequestPointer request, std::optional<std::uint32_t> status) {
  waiting_.push_back({kind, std::move(request), status, clock_.now(), 0, std::nullopt});
  begin(waiting_.back());
}

void PcieEngine::stop() {
  for (auto entry = waiting_.begin(); entry != waiting_.end();) {
    const auto each = entry++;
    if (each->end) continue;
    // Whatever ends here is gone from the list.
    switch (each->kind) {
      case PcieWait::measurement: end(each, PcieStatus::stopped); break;
      case PcieWait::capture: end(each, stopStatus_.value_or(statusOfStopped(*each->request))); break;
      case PcieWait::interval:
      case PcieWait::block: break;
    }
  }
}

void PcieEngine::cancelIntervals() {
  for (auto entry = waiting_.begin(); entry != waiting_.end();) {
    const auto each = entry++;
    if (each->kind == PcieWait::interval && !each->end) end(each, PcieStatus::stopped);
  }
}

void PcieEngine::endAll(std::uint32_t status, std::uint32_t outcome) {
  transfer_.end();
  while (!waiting_.empty()) {
    waiting_.front().end = status;
    finish(waiting_.begin(), outcome);
  }
}

void PcieEngine::hold(PcieWait kind, bool held) {
  if (held) {
    held_.insert(kind);
    return;
  }
  held_.erase(kind);
  for (auto entry = waiting_.begin(); entry != waiting_.end();) {
    const auto each = entry++;
    if (each->kind == kind && each->end) finish(each, 0);
  }
}

bool PcieEngine::complete(PcieWait kind, std::uint32_t status) {
  const auto entry =
      std::ranges::find_if(waiting_, [kind](const Waiting& waiting) { return waiting.kind == kind; });
  if (entry == waiting_.end()) return false;
  if (kind == PcieWait::capture && !entry->end) transfer_.end();
  entry->end = status;
  finish(entry, 0);
  return true;
}

unsigned PcieEngine::pending(PcieWait kind) const {
  return static_cast<unsigned>(
      std::ranges::count_if(waiting_, [kind](const Waiting& waiting) { return waiting.kind == kind; }));
}

// Of several at the same moment an interval's end comes first: the program is told of the last frame before
// it is told of the end.
std::optional<PcieEngine::Event> PcieEngine::nextEvent() {
  std::optional<Event> next;
  for (auto entry = waiting_.begin(); entry != waiting_.end(); ++entry) {
    if (entry->end) continue;
    const std::optional<Event> event = eventOf(entry);
    if (!event) continue;
    const bool goesFirst = !next || event->at < next->at ||
                           (event->at == next->at && entry->kind == PcieWait::interval &&
                            next->entry->kind != PcieWait::interval);
    if (goesFirst) next = event;
  }
  return next;
}

std::optional<PcieEngine::Event> PcieEngine::eventOf(Entry entry) {
  const auto at = [&](std::optional<Microseconds> moment, std::uint32_t status) {
    return moment ? std::optional(Event{*moment, entry, status}) : std::nullopt;
  };
  switch (entry->kind) {
    case PcieWait::block: return Event{entry->since, entry, entry->request->words()[PcieWord::status]};
    case PcieWait::interval: return at(intervalEnd(*entry), PcieStatus::success);
    case PcieWait::measurement: return at(measurementEnd(*entry), PcieStatus::success);
    case PcieWait::capture: break;
  }
  const std::optional<Microseconds> completion = transfer_.completion();
  const std::optional<Microseconds> timeout = transfer_.timeout();
  if (timeout && (!completion || *timeout < *completion)) return Event{*timeout, entry, PcieStatus::timedOut};
  return at(completion, PcieStatus::success);
}

std::optional<Microseconds> PcieEngine::intervalEnd(const Waiting& interval) const {
  const std::uint64_t bytes = registers_.intervalBytes();
  if (bytes == 0 || !transfer_.isActive()) return std::nullopt;
  return transfer_.arrival((interval.from / bytes + 1) * bytes);
}

std::optional<Microseconds> PcieEngine::measurementEnd(Waiting& measurement) {
  if (!registers_.framesArrive()) {
    measurement.since = clock_.now();
    return std::nullopt;
  }
  return std::max(measurement.since, sensor_.streamStart()) + measuredFrames * sensor_.framePeriod();
}

void PcieEngine::handle(const Event& event) {
  transfer_.advance(event.at);
  if (event.entry->kind == PcieWait::measurement) fillMeasurement(*event.entry);
  end(event.entry, event.status);
}

void PcieEngine::begin(Waiting& waiting) {
  if (waiting.kind == PcieWait::interval) waiting.from = transfer_.isActive() ? transfer_.position() : 0;
  if (waiting.kind != PcieWait::capture) return;
  transfer_.start(orderOf(waiting.request->words()), clock_.now());
  for (Waiting& each : waiting_) each.from = 0;
}

void PcieEngine::fillMeasurement(Waiting& measurement) {
  const SensorPicture picture = sensor_.picture();
  std::vector<std::uint32_t>& words = measurement.request->words();
  words[PcieWord::measuredWidth] = picture.width;
  words[PcieWord::measuredHeight] = picture.height;
  words[PcieWord::measuredPeriod] = registers_.framePeriod();
}

void PcieEngine::end(Entry entry, std::uint32_t status) {
  if (entry->kind == PcieWait::capture) transfer_.end();
  entry->end = entry->ownStatus.value_or(status);
  if (!isHeld(entry->kind)) finish(entry, 0);
}

void PcieEngine::finish(Entry entry, std::uint32_t outcome) {
  const Waiting waiting = std::move(*entry);
  waiting_.erase(entry);
  PendingRequest& request = *waiting.request;
  request.words()[PcieWord::status] = *waiting.end;
  told_(request);
  request.complete(outcome);
}

}  // namespace sim

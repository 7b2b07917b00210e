#include "sim/pcie/Engine.h"

#include <algorithm>
#include <utility>

namespace sim::pcie {

namespace {

constexpr unsigned measuredFrames = 2;

Transfer::Order orderOf(const std::vector<std::uint32_t>& words) {
  return {reinterpret_cast<std::uint8_t*>(static_cast<std::uintptr_t>(words[Word::captureBuffer])),
          words[Word::captureLength], words[Word::captureContinuous] != 0,
          words[Word::captureMode] == Mode::oneShot, words[Word::captureTimeout]};
}

std::uint32_t statusOfStopped(PendingRequest& capture) {
  const bool oneShot = capture.words()[Word::captureMode] == Mode::oneShot;
  return oneShot ? Status::stopped : Status::success;
}

}  // namespace

Engine::Engine(Clock& clock, const Sensor& sensor, Registers& registers, Reported reported)
    : clock_(clock),
      sensor_(sensor),
      registers_(registers),
      reported_(std::move(reported)),
      transfer_(sensor, registers) {}

void Engine::settle() {
  const Microseconds now = clock_.now();
  transfer_.follow(now);
  for (auto event = nextEvent(); event && event->at < now; event = nextEvent()) handle(*event);
  transfer_.advance(now);
}

void Engine::happen() {
  const Microseconds now = clock_.now();
  transfer_.follow(now);
  const std::optional<Event> event = nextEvent();
  if (event && event->at <= now) handle(*event);
}

std::optional<Microseconds> Engine::nextDue() {
  transfer_.follow(clock_.now());
  const std::optional<Event> event = nextEvent();
  return event ? std::optional(event->at) : std::nullopt;
}

void Engine::add(Wait kind, RequestPointer request, std::optional<std::uint32_t> status) {
  waiting_.push_back({kind, std::move(request), status, clock_.now(), 0, std::nullopt, false});
  begin(waiting_.back());
}

void Engine::stop() {
  for (auto entry = waiting_.begin(); entry != waiting_.end();) {
    const auto each = entry++;
    if (each->end) continue;
    // Whatever ends here is gone from the list.
    switch (each->kind) {
      case Wait::measurement: end(each, Status::stopped); break;
      case Wait::capture: end(each, stopStatus_.value_or(statusOfStopped(*each->request))); break;
      case Wait::interval:
      case Wait::block: break;
    }
  }
}

void Engine::cancelIntervals() {
  for (auto entry = waiting_.begin(); entry != waiting_.end();) {
    const auto each = entry++;
    if (each->kind == Wait::interval && !each->end) end(each, Status::stopped);
  }
}

void Engine::endAll(std::uint32_t status, std::uint32_t outcome) {
  transfer_.end();
  while (!waiting_.empty()) {
    waiting_.front().end = status;
    finish(waiting_.begin(), outcome);
  }
}

void Engine::hold(Wait kind, bool held) {
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

bool Engine::complete(Wait kind, std::uint32_t status) {
  const auto entry =
      std::ranges::find_if(waiting_, [kind](const Waiting& waiting) { return waiting.kind == kind; });
  if (entry == waiting_.end()) return false;
  if (kind == Wait::capture && !entry->end) transfer_.end();
  entry->end = status;
  finish(entry, 0);
  return true;
}

unsigned Engine::pending(Wait kind) const {
  return static_cast<unsigned>(
      std::ranges::count_if(waiting_, [kind](const Waiting& waiting) { return waiting.kind == kind; }));
}

// Of several at the same moment an interval's end comes first: the program is told of the last frame before
// it is told of the end.
std::optional<Engine::Event> Engine::nextEvent() {
  std::optional<Event> next;
  for (auto entry = waiting_.begin(); entry != waiting_.end(); ++entry) {
    if (entry->end) continue;
    const std::optional<Event> event = eventOf(entry);
    if (!event) continue;
    const bool goesFirst =
        !next || event->at < next->at ||
        (event->at == next->at && entry->kind == Wait::interval && next->entry->kind != Wait::interval);
    if (goesFirst) next = event;
  }
  return next;
}

std::optional<Engine::Event> Engine::eventOf(Entry entry) {
  const auto at = [&](std::optional<Microseconds> moment, std::uint32_t status) {
    return moment ? std::optional(Event{*moment, entry, status}) : std::nullopt;
  };
  switch (entry->kind) {
    case Wait::block: return Event{entry->since, entry, entry->request->words()[Word::status]};
    case Wait::interval: return at(intervalEnd(*entry), Status::success);
    case Wait::measurement: return at(measurementEnd(*entry), Status::success);
    case Wait::capture: break;
  }
  const std::optional<Microseconds> completion = transfer_.completion();
  const std::optional<Microseconds> timeout = transfer_.timeout();
  if (timeout && (!completion || *timeout < *completion)) return Event{*timeout, entry, Status::timedOut};
  return at(completion, Status::success);
}

std::optional<Microseconds> Engine::intervalEnd(const Waiting& interval) const {
  const std::uint64_t bytes = registers_.intervalBytes();
  if (bytes == 0 || !transfer_.isActive()) return std::nullopt;
  return transfer_.arrival((interval.from / bytes + 1) * bytes);
}

std::optional<Microseconds> Engine::measurementEnd(Waiting& measurement) {
  if (!registers_.framesArrive()) {
    measurement.since = clock_.now();
    return std::nullopt;
  }
  return std::max(measurement.since, sensor_.streamStart()) + measuredFrames * sensor_.framePeriod();
}

void Engine::handle(const Event& event) {
  transfer_.advance(event.at);
  if (event.entry->kind == Wait::measurement) fillMeasurement(*event.entry);
  end(event.entry, event.status);
}

void Engine::begin(Waiting& waiting) {
  if (waiting.kind == Wait::interval) waiting.from = transfer_.isActive() ? transfer_.position() : 0;
  if (waiting.kind != Wait::capture) return;
  transfer_.start(orderOf(waiting.request->words()), clock_.now());
  for (Waiting& each : waiting_) each.from = 0;
}

void Engine::fillMeasurement(Waiting& measurement) {
  const SensorPicture picture = sensor_.picture();
  std::vector<std::uint32_t>& words = measurement.request->words();
  words[Word::measuredWidth] = picture.width;
  words[Word::measuredHeight] = picture.height - (registers_.defects().has(Defect::heightOff) ? 1 : 0);
  words[Word::measuredPeriod] = registers_.defects().period(registers_.framePeriod());
}

void Engine::end(Entry entry, std::uint32_t status) {
  if (entry->kind == Wait::capture) transfer_.end();
  entry->end = entry->ownStatus.value_or(status);
  if (!isHeld(entry->kind)) finish(entry, 0);
}

void Engine::finish(Entry entry, std::uint32_t outcome) {
  Waiting waiting = std::move(*entry);
  waiting_.erase(entry);
  PendingRequest& request = *waiting.request;
  if (waiting.isTold) return request.signalAgain();
  request.words()[Word::status] = *waiting.end;
  reported_(request);
  request.complete(outcome);
  if (waiting.kind == Wait::interval && outcome == 0) tellAgain(std::move(waiting));
}

// The defect of a driver that completes an interval twice.
void Engine::tellAgain(Waiting waiting) {
  // Programs answer each one with another request: these must not add up.
  if (!registers_.defects().has(Defect::doubleCompletion) || pending(Wait::interval) != 0) return;
  waiting.isTold = true;
  waiting.from = transfer_.isActive() ? transfer_.position() : 0;
  waiting.end.reset();
  waiting_.push_back(std::move(waiting));
}

}  // namespace sim::pcie

#include "sim/pcie/Transfer.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace sim::pcie {

namespace {

constexpr Microseconds microsecondsPerMillisecond = 1000;

std::uint64_t roundUp(std::uint64_t value, std::uint64_t unit) { return (value + unit - 1) / unit * unit; }

}  // namespace

bool Transfer::Run::isLike(const Run& other) const {
  return picture == other.picture && delivery == other.delivery && streamStart == other.streamStart &&
         period == other.period && stride == other.stride;
}

std::uint64_t Transfer::Run::arrivedBy(Microseconds now) const {
  if (now <= begin(0)) return 0;
  const std::uint64_t frame = (now - begin(0)) / (stride * period);
  const Microseconds within = std::min(now - begin(frame), period);
  return frame * frameBytes + within * frameBytes / period;
}

void Transfer::start(const Order& order, Microseconds now) {
  active_ = true;
  order_ = order;
  position_ = 0;
  patience_ = now;
  run_.reset();
  follow(now);
}

void Transfer::end() {
  active_ = false;
  run_.reset();
  frameNumber_.reset();
}

void Transfer::follow(Microseconds now) {
  if (!active_) return;
  const std::optional<Run> run = present(now);
  if (run_ && run && run_->isLike(*run)) return;
  if (run_) {
    // What has come of the frame that was under way counts for nothing.
    if (!order_.singleFrame) patience_ = now;
    position_ = run_->base + framesDone() * run_->frameBytes;
  }
  run_ = run;
  if (run_) run_->base = position_;
  frameNumber_.reset();
}

std::optional<Microseconds> Transfer::arrival(std::uint64_t position) const {
  if (!active_ || !run_ || position <= run_->base) return std::nullopt;
  const std::uint64_t bytes = position - run_->base;
  const std::uint64_t frame = (bytes - 1) / run_->frameBytes;
  const std::uint64_t within = bytes - frame * run_->frameBytes;
  const Microseconds late = registers_.defects().lateness(run_->number(frame), run_->period);
  return run_->begin(frame) + late + (within * run_->period + run_->frameBytes - 1) / run_->frameBytes;
}

std::optional<Microseconds> Transfer::completion() const {
  if (!active_ || order_.continuous) return std::nullopt;
  return arrival(limit());
}

// While frames come in time there is nothing to be reported.
std::optional<Microseconds> Transfer::timeout() const {
  if (!active_ || order_.timeout == 0) return std::nullopt;
  const Microseconds last = order_.singleFrame ? patience_ : lastFrameEnd();
  const unsigned slowness = registers_.defects().has(Defect::slowTimeout) ? 2 : 1;
  const Microseconds deadline = last + Microseconds{slowness} * order_.timeout * microsecondsPerMillisecond;
  if (!run_) return deadline;
  const Microseconds nextEnd = run_->begin(framesDone()) + run_->period;
  return nextEnd <= deadline ? std::nullopt : std::optional(deadline);
}

void Transfer::advance(Microseconds now) {
  if (!active_ || !run_) return;
  const std::uint64_t target = std::min(run_->base + run_->arrivedBy(now), limit());
  if (target <= position_) return;
  // Of what goes over and over into the same buffer only the end stays.
  const std::uint64_t kept = target - std::min(target, order_.length);
  copy(std::max(position_, kept), target);
  position_ = target;
}

std::optional<Transfer::Run> Transfer::present(Microseconds now) const {
  if (!registers_.framesArrive()) return std::nullopt;
  Run run;
  run.picture = sensor_.picture();
  run.delivery = registers_.delivery();
  run.streamStart = sensor_.streamStart();
  run.period = sensor_.framePeriod();
  run.stride = std::uint64_t{registers_.frameSkip()} + 1;
  run.frameBytes = roundUp(registers_.defects().bytes(run.delivery.frameBytes(run.picture.yuv)), 4);
  if (run.frameBytes == 0) return std::nullopt;
  const std::uint64_t whole =
      now <= run.streamStart ? 0 : (now - run.streamStart + run.period - 1) / run.period;
  run.first = whole + run.stride - 1;
  return run;
}

// Whole frames of the run that have been moved.
std::uint64_t Transfer::framesDone() const { return run_ ? (position_ - run_->base) / run_->frameBytes : 0; }

Microseconds Transfer::lastFrameEnd() const {
  const std::uint64_t done = framesDone();
  return done == 0 ? patience_ : std::max(patience_, run_->begin(done - 1) + run_->period);
}

// The position at which the transfer is complete.
std::uint64_t Transfer::limit() const {
  if (order_.continuous) return std::numeric_limits<std::uint64_t>::max();
  if (!order_.singleFrame || !run_) return order_.length;
  return std::min(order_.length, run_->base + run_->frameBytes);
}

void Transfer::copy(std::uint64_t from, std::uint64_t to) {
  while (from < to) {
    const std::uint64_t index = (from - run_->base) / run_->frameBytes;
    const std::uint64_t within = (from - run_->base) % run_->frameBytes;
    const std::uint64_t place = from % order_.length;
    const std::uint64_t count = std::min({to - from, run_->frameBytes - within, order_.length - place});
    std::memcpy(order_.buffer + static_cast<std::size_t>(place),
                frame(index).data() + static_cast<std::size_t>(within), static_cast<std::size_t>(count));
    from += count;
  }
}

const std::vector<std::uint8_t>& Transfer::frame(std::uint64_t index) {
  const std::uint64_t number = run_->number(index);
  if (frameNumber_ != number) {
    const Defects& defects = registers_.defects();
    frame_ = run_->delivery.bytes(run_->picture, sensor_.frame(run_->picture, defects.shownInStream(number)));
    defects.spoil(number, frame_);
    frame_.resize(static_cast<std::size_t>(run_->frameBytes));
    frameNumber_ = number;
  }
  return frame_;
}

}  // namespace sim::pcie

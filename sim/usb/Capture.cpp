#include "sim/usb/Capture.h"

#include <algorithm>
#include <cstring>

namespace sim::usb {

namespace {

constexpr std::uint32_t errorSemTimeout = 121;
constexpr Microseconds microsecondsPerMillisecond = 1000;

std::uint64_t roundUp(std::uint64_t value, std::uint64_t unit) { return (value + unit - 1) / unit * unit; }

}  // namespace

Capture::Capture(const Clock& clock, const Sensor& sensor, const Faults& faults, const Patience& patience)
    : clock_(clock), sensor_(sensor), faults_(faults), patience_(patience) {}

void Capture::settle() {
  if (!takesFrames()) return;
  const Microseconds now = clock_.now();
  if (!framesArrive() || frameRoom() == 0) {
    cursor_ = now;
    return;
  }
  const Microseconds start = sensor_.streamStart();
  const Microseconds period = sensor_.framePeriod();
  const std::uint64_t first = firstWhole();
  std::uint64_t end = now < start ? 0 : (now - start) / period;
  while (end > first && arrival(end - 1) > now) --end;
  if (end <= first) return;
  take(first, end);
  cursor_ = start + end * period;
}

void Capture::start(bool single) {
  running_ = true;
  single_ = single;
  ended_ = false;
  cursor_ = clock_.now();
  skipLeft_ = settings_.frameSkip;
  untouched_ = true;
  blockFrames_ = 0;
}

void Capture::stop() { running_ = false; }

void Capture::flush() {
  stored_.clear();
  storedBytes_ = 0;
  current_.clear();
  offset_ = 0;
  reading_ = false;
  blockFrames_ = 0;
}

void Capture::arm() {
  dropped_ = false;
  if (settings_.stopAtDrop && !single_) ended_ = false;
}

void Capture::offerBlock() {
  if (untouched_ && running_ && !single_) blockFrames_ = stored_.size();
}

Microseconds Capture::frameEnd() const {
  const Microseconds now = clock_.now();
  const Microseconds start = sensor_.streamStart();
  if (!framesArrive() || now < start) return now;
  const Microseconds period = sensor_.framePeriod();
  return start + ((now - start) / period + 1) * period;
}

bool Capture::framesArrive() const { return sensor_.isStreaming() && !faults_.framesAreHeld(); }

Answer Capture::read(std::uint32_t timeout, std::uint8_t* data, std::uint32_t length) {
  settle();
  if (length == 0) return {};
  if (!reading_ && stored_.empty() && !waitForFrame(timeout)) return {errorSemTimeout, 0, false};
  untouched_ = false;
  return {0, copyOut(data, length), true};
}

std::vector<std::uint8_t> Capture::frameBytes(std::uint64_t number) const {
  if (frameRoom() == 0) return {};
  const SensorPicture picture = sensor_.picture();
  return settings_.delivery.bytes(picture, sensor_.frame(picture, number));
}

bool Capture::takesFrames() const { return running_ && !ended_; }

// The space that a frame takes in the buffer; 0 when the board delivers no such frame.
std::uint64_t Capture::frameRoom() const {
  const std::uint64_t bytes = settings_.delivery.frameBytes(sensor_.picture().yuv);
  return bytes > memoryBytes ? 0 : roundUp(bytes, unitBytes);
}

// When a frame is in the buffer.
Microseconds Capture::arrival(std::uint64_t number) const {
  const Microseconds period = sensor_.framePeriod();
  return sensor_.streamStart() + (number + 1) * period + defects().lateness(number, period);
}

// The first frame that begins at the cursor or later.
std::uint64_t Capture::firstWhole() const {
  const Microseconds start = sensor_.streamStart();
  const Microseconds period = sensor_.framePeriod();
  return cursor_ <= start ? 0 : (cursor_ - start + period - 1) / period;
}

void Capture::take(std::uint64_t first, std::uint64_t end) {
  std::uint64_t number = first;
  while (number < end && !ended_) {
    const std::uint64_t skipped = std::min(skipLeft_, end - number);
    number += skipped;
    skipLeft_ -= skipped;
    if (number == end) return;
    if (defects().loses(number)) {
      ++number;
      continue;
    }
    const bool stored = store(number++);
    skipLeft_ = settings_.frameSkip;
    if (stored) continue;
    // No space is freed while nobody reads: the rest is dropped as well.
    passOver(end - number);
    return;
  }
}

bool Capture::store(std::uint64_t number) {
  const std::uint64_t room = frameRoom();
  if (!hasRoom(room)) {
    dropped_ = true;
    ended_ = settings_.stopAtDrop;
    return false;
  }
  stored_.push_back({sensor_.picture(), settings_.delivery, number, room});
  storedBytes_ += room;
  ended_ = single_;
  return true;
}

// A frame that is larger than the buffer passes through while the buffer is empty.
bool Capture::hasRoom(std::uint64_t bytes) const {
  const std::uint64_t unread = reading_ ? roundUp(current_.size() - offset_, unitBytes) : 0;
  const std::uint64_t used = storedBytes_ + unread;
  return used == 0 || used + bytes <= settings_.bufferBytes;
}

void Capture::passOver(std::uint64_t frames) {
  const std::uint64_t cycle = std::uint64_t{settings_.frameSkip} + 1;
  skipLeft_ = settings_.frameSkip - frames % cycle;
}

std::optional<Microseconds> Capture::nextFrameEnd() const {
  if (!takesFrames() || !framesArrive() || frameRoom() == 0) return std::nullopt;
  return arrival(firstWhole() + skipLeft_);
}

// False when the time-out passes before a frame is there. Other requests are served meanwhile, and may start,
// stop or flush what is being waited for.
bool Capture::waitForFrame(std::uint32_t timeout) {
  const unsigned slowness = defects().has(Defect::slowTimeout) ? 2 : 1;
  const Microseconds deadline = clock_.now() + Microseconds{slowness} * timeout * microsecondsPerMillisecond;
  while (!reading_ && stored_.empty()) {
    if (clock_.now() >= deadline) return false;
    if (!patience_(std::min(nextFrameEnd().value_or(deadline), deadline))) return false;
    settle();
  }
  return true;
}

void Capture::openNext() {
  const std::ptrdiff_t which = blockFrames_ > 1 && defects().has(Defect::swappedStorage) ? 1 : 0;
  const Stored next = stored_[static_cast<std::size_t>(which)];
  stored_.erase(stored_.begin() + which);
  storedBytes_ -= next.bytes;
  current_ = next.delivery.bytes(next.picture, sensor_.frame(next.picture, defects().shown(next.number)));
  defects().spoil(next.number, current_);
  current_.resize(static_cast<std::size_t>(defects().bytes(current_.size())));
  if (blockFrames_ > 0) current_.resize(static_cast<std::size_t>(next.bytes));
  offset_ = 0;
  reading_ = true;
}

std::uint32_t Capture::copyOut(std::uint8_t* data, std::uint32_t length) {
  std::uint32_t copied = 0;
  while (copied < length) {
    if (!reading_) openNext();
    const std::size_t count = std::min<std::size_t>(current_.size() - offset_, length - copied);
    std::memcpy(data + copied, current_.data() + offset_, count);
    copied += static_cast<std::uint32_t>(count);
    offset_ += count;
    if (offset_ < current_.size()) break;
    reading_ = false;
    if (blockFrames_ == 0 || --blockFrames_ == 0) break;
  }
  return copied;
}

}  // namespace sim::usb

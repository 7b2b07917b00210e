#include "cli/serve/board/CaptureLoop.h"

#include "cli/base/Failure.h"
#include "cli/frames/FrameCounter.h"

namespace cli::serve {

namespace {

constexpr std::size_t ratedFrames = 32;
constexpr std::uint32_t frameTimeout = 1000;  // milliseconds
constexpr std::uint32_t ringBuffers = 8;
constexpr std::uint32_t rowBuffers = 4;  // a PCIe board gives as many frames at once
// A picture can look like a number by chance: numbers count when some of them have followed one another.
constexpr unsigned numbersToTrust = 3;
constexpr std::uint32_t mostMissing = 1000;

}  // namespace

CaptureLoop::CaptureLoop(FrameSlot& slot, std::function<void(std::exception_ptr)> ended)
    : slot_(slot), ended_(std::move(ended)) {}

CaptureLoop::~CaptureLoop() { stop(); }

void CaptureLoop::start(const Board& board, const std::shared_ptr<const FrameShape>& shape) {
  stop();
  interrupt_.reset();
  {
    const auto held = turn();
    const SourceOptions options{frameTimeout, board.isUsb() ? ringBuffers : rowBuffers, &turn_};
    source_ = board.isUsb() ? makeUsbSource(board, shape->layout, options)
                            : makePcieSource(board, shape->layout, options);
    source_->start();
  }
  {
    const std::lock_guard lock(mutex_);
    times_.clear();
    counts_.rate = 0;
    drawn_.reset();
    isDropTold_ = false;
    inOrder_ = 0;
  }
  thread_ = std::thread([this, shape] { run(shape); });
}

void CaptureLoop::stop() {
  if (!thread_.joinable()) return;
  interrupt_.set();
  thread_.join();
  const std::lock_guard lock(mutex_);
  counts_.rate = 0;
}

void CaptureLoop::run(const std::shared_ptr<const FrameShape>& shape) {
  std::exception_ptr failure;
  try {
    takeFrames(shape);
  } catch (...) {
    failure = std::current_exception();
  }
  {
    const auto held = turn();
    try {
      source_->stop();
    } catch (const Failure&) {
      if (!failure && !interrupt_.isSet()) failure = std::current_exception();
    }
    source_.reset();
  }
  if (failure) ended_(failure);
}

void CaptureLoop::takeFrames(const std::shared_ptr<const FrameShape>& shape) {
  for (;;) {
    switch (source_->next(interrupt_.get())) {
      case FrameSource::Next::frame: takeFrame(shape); break;
      case FrameSource::Next::interrupted: return;
      case FrameSource::Next::timedOut: {
        {
          const std::lock_guard lock(mutex_);
          ++counts_.failed;
          counts_.rate = 0;
          times_.clear();
        }
        // A sensor that pauses is waited for: somebody may be setting it up just now.
        const auto held = turn();
        source_->startAgain();
      }
    }
  }
}

void CaptureLoop::takeFrame(const std::shared_ptr<const FrameShape>& shape) {
  lookAtNumber(source_->frame(), *shape);
  put(source_->frame(), shape);
  source_->giveBack();
}

void CaptureLoop::put(const std::uint8_t* bytes, const std::shared_ptr<const FrameShape>& shape) {
  const double now = seconds();
  {
    const std::lock_guard lock(mutex_);
    ++counts_.frames;
    times_.push_back(now);
    if (times_.size() > ratedFrames) times_.pop_front();
    const double duration = times_.back() - times_.front();
    counts_.rate = duration > 0 ? static_cast<double>(times_.size() - 1) / duration : 0;
  }
  slot_.put(bytes, shape, now);
}

void CaptureLoop::lookAtNumber(const std::uint8_t* frame, const FrameShape& shape) {
  const FrameLayout& layout = shape.layout;
  const bool hasRoom = layout.unit == 1 && layout.width >= counterCells * counterCellSize &&
                       layout.height >= counterCellSize &&
                       std::uint64_t{layout.width} * layout.height <= layout.bytes;
  const auto number = hasRoom ? drawnNumber(frame, layout.width) : std::nullopt;
  const std::lock_guard lock(mutex_);
  const std::uint32_t step = number && drawn_ ? *number - *drawn_ : 0;
  if (inOrder_ >= numbersToTrust && step > 1 && step <= mostMissing) {
    counts_.lost += step - 1;
  } else {
    inOrder_ = step == 1 ? inOrder_ + 1 : 0;
  }
  drawn_ = number;
}

CaptureCounts CaptureLoop::counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

void CaptureLoop::noteDrop() {
  const std::lock_guard lock(mutex_);
  // A sensor that numbers its frames tells it exactly.
  if (inOrder_ < numbersToTrust && !isDropTold_) ++counts_.lost;
  isDropTold_ = true;
}

double CaptureLoop::seconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

}  // namespace cli::serve

#include <cstddef>
#include <vector>

#include "cli/base/Failure.h"
#include "cli/frames/FrameSource.h"

namespace cli {

namespace {

class PcieSource : public FrameSource {
 public:
  PcieSource(const Board& board, const FrameLayout& layout, const SourceOptions& options)
      : board_(board),
        bytes_(layout.bytes),
        count_(options.buffers),
        timeout_(options.timeout),
        turn_(options.turn) {
    const std::uint64_t all = std::uint64_t{bytes_} * count_;
    if (all > SIZE_MAX / 2) throw Failure("there is no memory for so many --buffers", ExitCode::usage);
    for (auto& set : sets_) set.resize(static_cast<std::size_t>(all));
  }

  // Whatever the driver may still write into must outlive the capture.
  ~PcieSource() override {
    if (runs_) kVexaAbortCapture(board_.handle());
  }
  PcieSource(const PcieSource&) = delete;
  PcieSource& operator=(const PcieSource&) = delete;

  void start() override { board_.step("kVexaMultiShotCaptureEx", begin()); }
  void stop() override {
    runs_ = false;
    board_.step("kVexaAbortCapture", kVexaAbortCapture(board_.handle()));
  }

  void startAgain() override { require("kVexaMultiShotCaptureEx", begin()); }

  Next next(HANDLE interrupt) override {
    if (WaitForSingleObject(interrupt, 0) == WAIT_OBJECT_0) return Next::interrupted;
    if (ready_ != 0) return Next::frame;
    const End end = awaitEnd(interrupt);
    if (end == End::interrupted) return Next::interrupted;
    const auto held = turn();
    // Waits until the worker, too, has come to its end.
    require("kVexaAbortCapture", kVexaAbortCapture(board_.handle()));
    runs_ = false;
    if (end == End::overdue || result_ == KVEXA_TIMED_OUT) return Next::timedOut;
    require("the capture", result_);
    shown_ = filling_;
    place_ = 0;
    require("kVexaMultiShotCaptureEx", begin());
    ready_ = count_;
    return Next::frame;
  }

  const std::uint8_t* frame() const override { return sets_[shown_].data() + std::size_t{place_} * bytes_; }
  void giveBack() override {
    --ready_;
    ++place_;
  }

 private:
  // The calls of a board that other threads command come in turn.
  std::unique_lock<std::mutex> turn() const {
    return turn_ == nullptr ? std::unique_lock<std::mutex>() : std::unique_lock(*turn_);
  }

  enum class End { reached, interrupted, overdue };

  // The worker of a capture that the driver refused waits for an abort, so a board that is gone never ends
  // one: the board is asked now and then.
  End awaitEnd(HANDLE interrupt) const {
    constexpr DWORD pause = 1000;  // milliseconds
    const HANDLE events[] = {end_.get(), interrupt};
    const std::uint64_t most = std::uint64_t{timeout_} * count_;
    for (std::uint64_t waited = 0; waited <= most; waited += pause) {
      const DWORD object = WaitForMultipleObjects(2, events, FALSE, pause);
      if (object != WAIT_TIMEOUT) return object == WAIT_OBJECT_0 ? End::reached : End::interrupted;
      const auto held = turn();
      std::uint32_t lines = 0;
      require("kVexaGetDin", kVexaGetDin(board_.handle(), &lines));
    }
    return End::overdue;
  }

  std::int32_t begin() {
    ready_ = 0;
    filling_ = shown_ ^ 1U;
    const std::int32_t result = kVexaMultiShotCaptureEx(
        board_.handle(), bytes_, count_, sets_[filling_].data(), timeout_, nullptr, end_.get(), &result_);
    runs_ = result >= 0;
    return result;
  }

  const Board& board_;
  std::uint32_t bytes_;
  std::uint32_t count_;  // frames of a set
  std::uint32_t timeout_;
  std::mutex* turn_;
  std::vector<std::uint8_t> sets_[2];
  std::size_t filling_ = 0;
  std::size_t shown_ = 0;
  std::uint32_t place_ = 0;  // of the frame in its set
  std::uint32_t ready_ = 0;
  kvexa::Event end_;
  std::int32_t result_ = KVEXA_OK;
  bool runs_ = false;
};

}  // namespace

std::unique_ptr<FrameSource> makePcieSource(const Board& board, const FrameLayout& layout,
                                            const SourceOptions& options) {
  return std::make_unique<PcieSource>(board, layout, options);
}

}  // namespace cli

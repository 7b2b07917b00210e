#include "cli/base/Failure.h"
#include "cli/frames/FrameSource.h"

namespace cli {

namespace {

constexpr double boardBuffer = 31.0;  // MiB, of 32

class UsbSource : public FrameSource {
 public:
  UsbSource(const Board& board, const FrameLayout& layout, const SourceOptions& options)
      : board_(board), frames_(board.owner(), layout.bytes, options.buffers, options.timeout) {}

  void start() override {
    board_.step("kVexaSetBufSize", kVexaSetBufSize(board_.handle(), boardBuffer));
    board_.step("kVexaMultiShotCapArrayStart", frames_.start());
  }
  void stop() override { board_.step("kVexaMultiShotCapArrayStop", frames_.stop()); }

  void startAgain() override {
    require("kVexaMultiShotCapArrayStop", frames_.stop());
    require("kVexaMultiShotCapArrayStart", frames_.start());
  }

  Next next(HANDLE interrupt) override {
    switch (frames_.next(interrupt)) {
      case kvexa::CaptureSession::Next::frame: return Next::frame;
      case kvexa::CaptureSession::Next::ended: break;
      default: return Next::interrupted;
    }
    if (frames_.result() == KVEXA_TIMED_OUT) return Next::timedOut;
    throw CallFailure("the capture", frames_.result());
  }

  const std::uint8_t* frame() const override { return frames_.frame(); }
  void giveBack() override { frames_.giveBack(); }

 private:
  const Board& board_;
  kvexa::CaptureSession frames_;
};

}  // namespace

std::unique_ptr<FrameSource> makeUsbSource(const Board& board, const FrameLayout& layout,
                                           const SourceOptions& options) {
  return std::make_unique<UsbSource>(board, layout, options);
}

}  // namespace cli

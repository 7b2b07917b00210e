#include "StreamCommand.h"

#include <kvexa.hpp>

#include <cstdio>
#include <optional>

#include "Board.h"
#include "Failure.h"
#include "FrameFiles.h"
#include "FrameSetup.h"
#include "Interrupt.h"
#include "LiveLine.h"
#include "sim/sensor/Sensor.h"

namespace cli {

namespace {

constexpr double boardBuffer = 31.0;  // MiB, of 32
constexpr unsigned mostTimeoutsInARow = 3;

// Supplies and clock for as long as it lives, also when the command fails.
class Powered {
 public:
  explicit Powered(Board& board) : board_(board) { board_.powerUp(); }
  ~Powered() {
    if (!on_) return;
    try {
      board_.powerDown();
    } catch (const kvexa::Error&) {
      // The command fails already, with the reason of that.
    }
  }
  Powered(const Powered&) = delete;
  Powered& operator=(const Powered&) = delete;

  void off() {
    on_ = false;
    board_.powerDown();
  }

 private:
  Board& board_;
  bool on_ = true;
};

// The number that a sensor draws into its frames: a row of squares, white for 1 and black for 0, most
// significant bit first.
std::uint32_t drawnNumber(const std::uint8_t* samples) {
  std::uint32_t number = 0;
  for (unsigned cell = 0; cell < sim::FrameCounter::cells; ++cell) {
    number = number << 1 | samples[cell * sim::FrameCounter::cellSize] >> 7;
  }
  return number;
}

// How the stream goes.
class Progress {
 public:
  Progress(const StreamOptions& options, double rate) : options_(options), rate_(rate) {}

  std::uint32_t frames() const { return frames_; }
  bool isComplete() const { return options_.count != 0 && frames_ == options_.count; }
  unsigned timeoutsInARow() const { return timeoutsInARow_; }

  void addFrame(const std::uint8_t* samples) {
    ++frames_;
    timeoutsInARow_ = 0;
    if (!options_.frameCounter) return;
    const std::uint32_t number = drawnNumber(samples);
    if (last_) missing_ += number - *last_ - 1;
    last_ = number;
  }

  void addTimeout() {
    ++timeouts_;
    ++timeoutsInARow_;
  }

  // The board reports a drop until a capture starts anew.
  void lookForDrops(const Board& board) { dropped_ = kVexaIsDropFrame(board.handle()) != 0 || dropped_; }

  std::string text() const {
    const std::string ofAll = options_.count == 0 ? "" : " of " + std::to_string(options_.count);
    const std::string missing = options_.frameCounter ? ", missing " + std::to_string(missing_) : "";
    char line[160];
    std::snprintf(line, sizeof line, "frames %u%s | %.2f frames/s at the board | dropped %s%s | timed out %u",
                  frames_, ofAll.c_str(), rate_, dropped_ ? "yes" : "no", missing.c_str(), timeouts_);
    return line;
  }

 private:
  const StreamOptions& options_;
  double rate_;
  std::uint32_t frames_ = 0;
  bool dropped_ = false;
  std::uint32_t timeouts_ = 0;
  unsigned timeoutsInARow_ = 0;
  std::uint32_t missing_ = 0;
  std::optional<std::uint32_t> last_;
};

void checkFormat(const StreamOptions& options, const FrameLayout& frame) {
  if (!options.pictures.empty() && frame.bytesPerUnit != 1) {
    throw Failure("the samples are not 8-bit Bayer, so there are no pictures to save: leave --out away");
  }
  const bool hasRoom =
      frame.bytesPerUnit == 1 && frame.width >= sim::FrameCounter::cells * sim::FrameCounter::cellSize;
  if (options.frameCounter && !hasRoom) {
    throw Failure("--frame-counter needs 8-bit samples and a width of 128 pixels or more");
  }
}

// The capture ends at a frame that does not come; one that is late may be a sensor that pauses.
void startAgain(kvexa::CaptureSession& frames, const Progress& progress, const StreamOptions& options) {
  if (progress.timeoutsInARow() == mostTimeoutsInARow) {
    throw Failure("no frame came within " + std::to_string(options.timeout) + " ms, " +
                  std::to_string(mostTimeoutsInARow) + " times in a row; does the sensor stream?");
  }
  kvexa::require("kVexaMultiShotCapArrayStop", frames.stop());
  kvexa::require("kVexaMultiShotCapArrayStart", frames.start());
}

void run(const Board& board, const FrameLayout& layout, const StreamOptions& options, FrameFiles* files,
         Progress& progress) {
  const Interrupt interrupt;
  kvexa::CaptureSession frames(board.owner(), layout.bytes, options.buffers, options.timeout);
  step("kVexaMultiShotCapArrayStart", frames.start());
  LiveLine line;
  while (!progress.isComplete()) {
    const auto next = frames.next(interrupt.event());
    if (next == kvexa::CaptureSession::Next::interrupted) break;
    if (next == kvexa::CaptureSession::Next::ended) {
      if (frames.result() != KVEXA_TIMED_OUT) throw kvexa::Error("the capture", frames.result());
      progress.addTimeout();
      startAgain(frames, progress, options);
      continue;
    }
    progress.addFrame(frames.frame());
    if (files != nullptr) files->save(progress.frames(), frames.frame(), layout, options.pattern);
    frames.giveBack();
    if (!line.isDue()) continue;
    progress.lookForDrops(board);
    line.show(progress.text());
  }
  progress.lookForDrops(board);
  line.finish(progress.text());
  step("kVexaMultiShotCapArrayStop", frames.stop());
}

}  // namespace

void stream(const StreamOptions& options) {
  checkReadable(options.registers);
  checkReadable(options.parameters);
  std::optional<FrameFiles> files;
  if (!options.pictures.empty()) files.emplace(options.pictures, options.count);
  const CapParam parameters = readParameters(options.parameters);
  const FrameLayout layout = layoutOf(parameters);
  checkFormat(options, layout);

  Board board(KVEXA_BOARD_USB, options.boardIndex);
  Powered power(board);
  setUpSensor(board, options.registers, parameters);
  Progress progress(options, measureRate(board));
  step("kVexaSetBufSize", kVexaSetBufSize(board.handle(), boardBuffer));
  run(board, layout, options, files ? &*files : nullptr, progress);
  power.off();
}

}  // namespace cli

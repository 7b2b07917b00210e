// kvexa stream: frame after frame, with a line that shows its progress.
#include <kvexa.hpp>

#include <memory>
#include <optional>

#include "cli/base/Failure.h"
#include "cli/base/LiveLine.h"
#include "cli/board/Board.h"
#include "cli/commands/Commands.h"
#include "cli/frames/FrameCounter.h"
#include "cli/frames/FrameFiles.h"
#include "cli/frames/FrameSetup.h"
#include "cli/frames/FrameSource.h"
#include "cli/frames/Picture.h"

namespace cli {

namespace {

constexpr unsigned mostTimeoutsInARow = 3;

struct StreamOptions {
  std::string registers;
  std::string parameters;
  std::uint32_t count = 0;  // frames, 0 until Ctrl-C
  SourceOptions source;
  std::string files;  // name of the files, with a '#'; empty for none
  bool frameCounter = false;
  PictureOptions picture;
};

// How the stream goes.
class Progress {
 public:
  Progress(const StreamOptions& options, const FrameLayout& layout, std::uint32_t padding, double rate)
      : options_(options), layout_(layout), padding_(padding), rate_(rate) {}

  std::uint32_t frames() const { return frames_; }
  bool isComplete() const { return options_.count != 0 && frames_ == options_.count; }
  unsigned timeoutsInARow() const { return timeoutsInARow_; }

  void addFrame(const std::uint8_t* samples) {
    ++frames_;
    timeoutsInARow_ = 0;
    if (!options_.frameCounter) return;
    const auto number = drawnNumber(samples, layout_.width);
    if (!number || (last_ && *number == *last_)) {
      throw Failure("--frame-counter: frame " + std::to_string(frames_) +
                        (number ? " has the number of the one before it" : " carries no number"),
                    ExitCode::board, "let the sensor draw one (the simulated one: register 0x010C)");
    }
    // A sensor that was started anew counts from 0.
    if (last_ && *number > *last_) missing_ += *number - *last_ - 1;
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
    return format("frames %u%s | %.2f frames/s at the board | dropped %s%s | timed out %u", frames_,
                  ofAll.c_str(), rate_, dropped_ ? "yes" : "no", missing.c_str(), timeouts_);
  }

  void put(Output& output, bool isEnd) const {
    output.put("frames", frames_);
    output.put("frameRate", rate_);
    output.put("dropped", dropped_);
    if (options_.frameCounter) output.put("missing", missing_);
    output.put("timeouts", timeouts_);
    if (padding_ != 0) output.put("picturePadding", padding_);
    output.put("end", isEnd);
  }

 private:
  const StreamOptions& options_;
  const FrameLayout& layout_;
  std::uint32_t padding_;  // black columns of each bitmap
  double rate_;
  std::uint32_t frames_ = 0;
  bool dropped_ = false;
  std::uint32_t timeouts_ = 0;
  unsigned timeoutsInARow_ = 0;
  std::uint32_t missing_ = 0;
  std::optional<std::uint32_t> last_;
};

void checkFormat(const StreamOptions& options, const FrameLayout& frame, const FrameFiles* files,
                 const FrameWriter& writer) {
  if (files != nullptr && !writer.hindrance(files->kind()).empty()) {
    throw Failure("there are no pictures to save: " + writer.hindrance(files->kind()), ExitCode::file,
                  "leave --out away, or end its name in .raw");
  }
  const bool hasRoom =
      frame.unit == 1 && frame.width >= counterCells * counterCellSize && frame.height >= counterCellSize;
  if (options.frameCounter && !hasRoom) {
    throw Failure("--frame-counter needs 8-bit samples and a width of 128 pixels or more", ExitCode::usage);
  }
}

// Tells it once for all frames.
std::uint32_t tellPadding(Output& output, const FrameFiles* files, std::uint32_t width) {
  if (files == nullptr || files->kind() != FileKind::bmp || bitmapPadding(width) == 0) return 0;
  output.detail("padding", "each bitmap " + paddingText(width));
  return bitmapPadding(width);
}

// The capture ends at a frame that does not come; one that is late may be a sensor that pauses.
void startAgain(FrameSource& source, const Progress& progress, const StreamOptions& options) {
  if (progress.timeoutsInARow() == mostTimeoutsInARow) {
    throw Failure("no frame came within " + std::to_string(options.source.timeout) + " ms, " +
                      std::to_string(mostTimeoutsInARow) + " times in a row; does the sensor stream?",
                  ExitCode::timeLimit,
                  "look at the last line of the register-setting file, and at --timeout");
  }
  source.startAgain();
}

struct Stream {
  Context& context;
  const Board& board;
  FrameSource& source;
  FrameFiles* files;
  FrameWriter& writer;
  Progress& progress;
};

void takeFrame(Stream& stream) {
  stream.progress.addFrame(stream.source.frame());
  if (stream.files != nullptr) {
    stream.files->save(stream.progress.frames(), stream.source.frame(), stream.writer);
  }
  stream.source.giveBack();
}

// Until all frames are there, a key is pressed, or nobody reads any more.
void run(Stream& stream, const StreamOptions& options) {
  Output& output = stream.context.output;
  LiveLine line(output);
  while (!stream.progress.isComplete() && !output.isReaderGone()) {
    const auto next = stream.source.next(stream.context.interrupt->event());
    if (next == FrameSource::Next::interrupted) break;
    if (next == FrameSource::Next::timedOut) {
      stream.progress.addTimeout();
      startAgain(stream.source, stream.progress, options);
      continue;
    }
    takeFrame(stream);
    if (!line.isDue()) continue;
    stream.progress.lookForDrops(stream.board);
    stream.progress.put(output, false);
    line.show(stream.progress.text());
  }
  stream.progress.lookForDrops(stream.board);
  line.finish(stream.progress.text());
}

void stream(Context& context, const StreamOptions& options) {
  Output& output = context.output;
  checkReadable(options.registers);
  checkReadable(options.parameters);
  std::optional<FrameFiles> files;
  if (!options.files.empty()) files.emplace(options.files, options.count);
  const CapParam parameters = readParameters(output, options.parameters);
  const FrameLayout layout = layoutOf(output, parameters);
  const PictureMaker maker(options.picture, parameters, layout);
  FrameWriter writer(maker, options.picture, layout);
  checkFormat(options, layout, files ? &*files : nullptr, writer);
  const std::uint32_t padding = tellPadding(output, files ? &*files : nullptr, maker.width());

  const Board board(context);
  Powered power(board);
  setUpSensor(board, options.registers, parameters);
  Progress progress(options, layout, padding, measureRate(board));
  const auto source = board.isUsb() ? makeUsbSource(board, layout, options.source)
                                    : makePcieSource(board, layout, options.source);
  Stream all{context, board, *source, files ? &*files : nullptr, writer, progress};
  source->start();
  run(all, options);
  source->stop();
  power.off();
  progress.put(output, true);
  if (options.count != 0 && !progress.isComplete()) context.interrupt->check();
}

}  // namespace

Action streamCommand(Options& options) {
  const auto values = std::make_shared<StreamOptions>();
  options.text("--regs", values->registers, "register-setting file of the sensor")
      .required()
      .text("--params", values->parameters, "capture-parameter file")
      .required()
      .number("--count", values->count, 1, 999999999, "frames to capture; without it there is no end")
      .text("--out", values->files,
            "name of the files, '#' for the frame's number, the ending says what they are: frame-#.bmp")
      // Less leaves the board no time to stop.
      .number("--timeout", values->source.timeout, 100, 600000, "milliseconds to wait for a frame")
      .number("--buffers", values->source.buffers, 2, 1000, "frames in this computer's memory")
      .flag("--frame-counter", values->frameCounter,
            "count missing frames by the number that the sensor draws (the simulated one: register 0x010C)");
  addPictureOptions(options, values->picture);
  return [values](Context& context) { stream(context, *values); };
}

}  // namespace cli

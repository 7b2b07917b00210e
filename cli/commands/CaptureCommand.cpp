// kvexa capture: one frame from the sensor to files on disk; tells every step.
#include <kvexa.hpp>

#include <memory>
#include <vector>

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/commands/Commands.h"
#include "cli/files/OutputFiles.h"
#include "cli/frames/FrameSetup.h"
#include "cli/frames/OneShot.h"
#include "cli/frames/Picture.h"

namespace cli {

namespace {

struct CaptureOptions {
  std::string registers;
  std::string parameters;
  std::uint32_t timeout = 1000;  // milliseconds
  std::vector<std::string> destinations;
  PictureOptions picture;
};

struct Destination {
  std::string path;
  FileKind kind;
};

// A folder stands for frame.raw and, where there can be one, frame.bmp.
std::vector<Destination> destinationsOf(const std::vector<std::string>& names) {
  std::vector<Destination> destinations;
  for (const std::string& name : names) {
    const FileKind kind = fileKindOf(name);
    MadeFolders::check(kind == FileKind::folder ? name : folderOf(name));
    if (kind == FileKind::folder) {
      const bool isOpen = name.ends_with('/') || name.ends_with('\\');
      destinations.push_back({name + (isOpen ? "" : "/") + "frame", kind});
    } else {
      destinations.push_back({name, kind});
    }
  }
  return destinations;
}

void checkPictures(const std::vector<Destination>& destinations, const FrameWriter& writer) {
  for (const Destination& each : destinations) {
    const std::string hindrance = writer.hindrance(each.kind);
    if (!hindrance.empty()) {
      throw Failure(each.path + ": there can be no picture: " + hindrance, ExitCode::file,
                    "a name that ends in .raw or .bin keeps the samples");
    }
  }
}

class Saver {
 public:
  Saver(FrameWriter& writer, OutputFiles& files, Output& output, const std::uint8_t* frame)
      : writer_(writer), files_(files), output_(output), frame_(frame) {}

  void save(const char* what, const std::string& path, FileKind kind) {
    files_.add(path);
    writer_.write(path, kind, frame_, &output_);
    output_.detail(what, path);
    if (output_.isQuiet()) output_.print("%s\n", path.c_str());
    output_.put("files/" + std::to_string(count_++), path);
  }

 private:
  FrameWriter& writer_;
  OutputFiles& files_;
  Output& output_;
  const std::uint8_t* frame_;
  unsigned count_ = 0;
};

void save(Saver& saver, const Destination& destination, const PictureMaker& maker, Output& output) {
  const bool isRaw = destination.kind == FileKind::raw || destination.kind == FileKind::bin;
  if (destination.kind != FileKind::folder) {
    saver.save(isRaw ? "samples" : "picture", destination.path, destination.kind);
    return;
  }
  saver.save("samples", destination.path + ".raw", FileKind::raw);
  if (maker.hindrance().empty()) {
    saver.save("picture", destination.path + ".bmp", FileKind::bmp);
  } else {
    output.detail("no picture", maker.hindrance() + "; frame.raw holds the samples");
  }
}

void capture(Context& context, const CaptureOptions& options) {
  Output& output = context.output;
  checkReadable(options.registers);
  checkReadable(options.parameters);
  const auto destinations = destinationsOf(options.destinations);
  const CapParam parameters = readParameters(output, options.parameters);
  const FrameLayout layout = layoutOf(output, parameters);
  const PictureMaker maker(options.picture, parameters, layout);
  FrameWriter writer(maker, options.picture, layout);
  checkPictures(destinations, writer);

  std::vector<std::uint8_t> raw;
  {
    const Board board(context);
    Powered power(board);
    setUpSensor(board, options.registers, parameters);
    measureRate(board);
    context.interrupt->check();
    raw = captureFrame(board, layout, options.timeout);
    power.off();
  }
  context.interrupt->check();

  OutputFiles files;
  Saver saver(writer, files, output, raw.data());
  for (const Destination& destination : destinations) save(saver, destination, maker, output);
  files.keep();
}

}  // namespace

Action captureCommand(Options& options) {
  const auto values = std::make_shared<CaptureOptions>();
  options.text("--regs", values->registers, "register-setting file of the sensor")
      .required()
      .text("--params", values->parameters, "capture-parameter file")
      .required()
      .texts("--out", values->destinations,
             "files by their ending (.raw, .bin, .bmp, .jpg, .png, .tif, .dng, .npy), or a folder for "
             "frame.raw and frame.bmp; without "
             "it the working folder")
      .number("--timeout", values->timeout, 1, 600000, "milliseconds to wait for the frame");
  addPictureOptions(options, values->picture);
  return [values](Context& context) {
    if (values->destinations.empty()) values->destinations.emplace_back(".");
    capture(context, *values);
  };
}

}  // namespace cli

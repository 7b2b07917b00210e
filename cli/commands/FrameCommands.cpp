// The options of the commands that work on raw files, without a board.
#include <kvexa.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/base/Failure.h"
#include "cli/commands/Commands.h"
#include "cli/raw/ConvertCommand.h"
#include "cli/raw/StatisticsCommand.h"

namespace cli {

namespace {

// Raw files have limits of their own, which say more than a range.
constexpr std::uint32_t anyNumber = 0xFFFFFFFF;
constexpr std::uint32_t mostLevel = 65535;

constexpr std::array<Choice, 4> patterns{{{"grbg", KVEXA_BAYER_GRBG},
                                          {"rggb", KVEXA_BAYER_RGGB},
                                          {"bggr", KVEXA_BAYER_BGGR},
                                          {"gbrg", KVEXA_BAYER_GBRG}}};

constexpr std::array<Choice, 5> formats{{{"bayer", static_cast<std::uint32_t>(RawFormat::bayer)},
                                         {"grey", static_cast<std::uint32_t>(RawFormat::grey)},
                                         {"yuyv", static_cast<std::uint32_t>(RawFormat::yuyv)},
                                         {"rgb565", static_cast<std::uint32_t>(RawFormat::rgb565)},
                                         {"bgr24", static_cast<std::uint32_t>(RawFormat::bgr24)}}};

// A number with a point, which the command line gives as a text.
double parseReal(const std::string& text, const char* what, double least, double most) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  // In this form it is false for a value that is no number.
  if (text.empty() || *end != '\0' || !(value >= least && value <= most)) {
    throw UsageFailure(std::string(what) + ": '" + text + "' is no number from " +
                       format("%g to %g", least, most));
  }
  return value;
}

struct LayoutOptions {
  std::uint32_t format = 0;
  RawLayout layout;

  void add(Options& options) {
    options.number("--width", layout.width, 0, anyNumber, "pixels of a row")
        .required()
        .number("--height", layout.height, 0, anyNumber, "rows")
        .required()
        .choice("--format", format, formats, "what the samples are")
        .number("--bits", layout.bits, 0, anyNumber, "bits of a sample; more than 8 take two bytes")
        .choice("--pattern", layout.pattern, patterns, "Bayer pattern of the sensor");
  }

  RawLayout get() const {
    RawLayout made = layout;
    made.format = static_cast<RawFormat>(format);
    return made;
  }
};

struct Conversion {
  ConvertOptions options;
  LayoutOptions layout;
  std::string gains = "1,1,1";

  void add(Options& to) {
    PictureSettings& settings = options.settings;
    to.text("INPUT", options.input, "a raw file, or a folder of .raw and .bin files")
        .required()
        .text("--out", options.output, "the picture (.bmp .jpg .png .tif .dng .npy), or a folder")
        .required()
        .text("--as", options.ending, "kind of the pictures of a folder: png");
    layout.add(to);
    to.flag("--mosaic", settings.mosaic, "PNG and TIFF: the samples as they are, not colours")
        .number("--quality", settings.quality, 0, 100, "of JPEG files")
        .number("--black", settings.black, 0, mostLevel, "black level of DNG files")
        .number("--white", settings.white, 0, mostLevel, "white level of DNG files; 0 for the largest value")
        .text("--gains", gains, "DNG: factors that make grey grey: red,green,blue")
        .number("--method", settings.yuyvMethod, 0, 3, "yuyv: 0 to 3, as KvexaYuyvMethod")
        .number("--order", settings.yuyvOrder, 0, 1, "yuyv: 0 for Y0 U Y1 V, 1 for U Y0 V Y1");
  }

  void run(const Context& context) {
    options.settings.gains = parseGains(gains);
    options.layout = layout.get();
    options.quiet = context.output.isQuiet();
    const ConvertReport report = convert(options);
    if (context.output.isJson()) {
      context.output.putMembers(toJson(report).dump());
    } else if (!options.quiet) {
      print(report);
    }
    requireAll(report);
  }
};

struct Analysis {
  StatisticsOptions options;
  LayoutOptions layout;
  std::string defectShare = "0.02";

  void add(Options& to) {
    to.texts("FILES", options.files, "raw files of the same scene").required();
    layout.add(to);
    to.number("--black", options.black, 0, mostLevel, "black level")
        .number("--white", options.white, 0, mostLevel, "white level; 0 for the largest value of the depth")
        .text("--defect-share", defectShare, "least difference of a defect, of the range")
        .text("--edge", options.edge, "measure sharpness in X,Y,WIDTH,HEIGHT, or find an edge: find");
  }

  void run(const Context& context) {
    options.layout = layout.get();
    options.defectShare = parseReal(defectShare, "--defect-share", 0, 1);
    const StatisticsReport report = statistics(options, *context.interrupt);
    if (context.output.isJson()) {
      context.output.putMembers(toJson(report).dump());
    } else {
      print(report);
    }
  }
};

}  // namespace

Action convertCommand(Options& options) {
  const auto conversion = std::make_shared<Conversion>();
  conversion->add(options);
  return [conversion](const Context& context) { conversion->run(context); };
}

Action statisticsCommand(Options& options) {
  const auto analysis = std::make_shared<Analysis>();
  analysis->add(options);
  return [analysis](const Context& context) { analysis->run(context); };
}

}  // namespace cli

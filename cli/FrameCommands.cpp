#include "FrameCommands.h"

#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "ConvertCommand.h"
#include "StatisticsCommand.h"

namespace cli {

namespace {

const std::map<std::string, std::uint32_t> patterns{{"grbg", KVEXA_BAYER_GRBG},
                                                    {"rggb", KVEXA_BAYER_RGGB},
                                                    {"bggr", KVEXA_BAYER_BGGR},
                                                    {"gbrg", KVEXA_BAYER_GBRG}};

const std::map<std::string, RawFormat> formats{{"bayer", RawFormat::bayer},
                                               {"grey", RawFormat::grey},
                                               {"yuyv", RawFormat::yuyv},
                                               {"rgb565", RawFormat::rgb565},
                                               {"bgr24", RawFormat::bgr24}};

void addLayout(CLI::App& command, RawLayout& layout) {
  command.add_option("--width", layout.width, "pixels of a row")->required();
  command.add_option("--height", layout.height, "rows")->required();
  command.add_option("--format", layout.format, "bayer, grey, yuyv, rgb565 or bgr24")
      ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case))
      ->default_str("bayer");
  command.add_option("--bits", layout.bits, "bits of a sample; more than 8 take two bytes")
      ->capture_default_str();
  command.add_option("--pattern", layout.pattern, "Bayer pattern of the sensor")
      ->transform(CLI::CheckedTransformer(patterns, CLI::ignore_case))
      ->default_str("grbg");
}

void printJson(const nlohmann::json& object) { std::printf("%s\n", object.dump().c_str()); }

struct Conversion {
  ConvertOptions options;
  std::vector<double> gains{1, 1, 1};
  bool json = false;

  void run() {
    options.settings.gains = {gains[0], gains[1], gains[2]};
    const ConvertReport report = convert(options);
    if (json) {
      printJson(toJson(report));
    } else if (!options.quiet) {
      print(report);
    }
    requireAll(report);
  }
};

void addPicture(CLI::App& command, Conversion& conversion) {
  PictureSettings& settings = conversion.options.settings;
  command.add_flag("--mosaic", settings.mosaic, "PNG and TIFF: the samples as they are, not colours");
  command.add_option("--quality", settings.quality, "of JPEG files")
      ->check(CLI::Range(0U, 100U))
      ->capture_default_str();
  command.add_option("--black", settings.black, "black level of DNG files")->check(CLI::Range(0U, 65535U));
  command.add_option("--white", settings.white, "white level of DNG files; without it the largest value")
      ->check(CLI::Range(1U, 65535U));
  command.add_option("--gains", conversion.gains, "DNG: factors that make grey grey: red,green,blue")
      ->delimiter(',')
      ->expected(3);
  command.add_option("--method", settings.yuyvMethod, "yuyv: 0 to 3, as KvexaYuyvMethod")
      ->check(CLI::Range(0U, 3U));
  command.add_option("--order", settings.yuyvOrder, "yuyv: 0 for Y0 U Y1 V, 1 for U Y0 V Y1")
      ->check(CLI::Range(0U, 1U));
}

}  // namespace

void addConvert(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("convert", "make pictures of raw files: a single one, or a folder of them");
  auto conversion = std::make_shared<Conversion>();
  ConvertOptions& options = conversion->options;
  command->add_option("INPUT", options.input, "a raw file, or a folder of .raw and .bin files")->required();
  command->add_option("--out", options.output, "the picture (.bmp .jpg .png .tif .dng .npy), or a folder")
      ->required();
  command->add_option("--as", options.ending, "kind of the pictures of a folder: png");
  addLayout(*command, options.layout);
  addPicture(*command, *conversion);
  command->add_flag("--json", conversion->json, "one JSON object instead of text");
  command->add_flag("--quiet", options.quiet, "no text, and no progress");
  command->callback([conversion] { conversion->run(); });
}

void addStatistics(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "statistics",
      "noise, defects, shading and sharpness of raw frames; several frames of one scene tell more");
  auto options = std::make_shared<StatisticsOptions>();
  auto json = std::make_shared<bool>(false);
  command->add_option("FILES", options->files, "raw files of the same scene")->required();
  addLayout(*command, options->layout);
  command->add_option("--black", options->black, "black level")->check(CLI::Range(0U, 65535U));
  command->add_option("--white", options->white, "white level; without it the largest value of the depth")
      ->check(CLI::Range(1U, 65535U));
  command->add_option("--defect-share", options->defectShare, "least difference of a defect, of the range")
      ->check(CLI::Range(0.0, 1.0))
      ->capture_default_str();
  command->add_option("--edge", options->edge,
                      "measure sharpness in X,Y,WIDTH,HEIGHT, or find an edge: find");
  command->add_flag("--json", *json, "one JSON object instead of text");
  command->callback([options, json] {
    const StatisticsReport report = statistics(*options);
    if (*json) {
      printJson(toJson(report));
    } else {
      print(report);
    }
  });
}

}  // namespace cli

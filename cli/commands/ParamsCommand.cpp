// kvexa params: what the library reads from a capture-parameter file, what looks wrong in it, and new files.
#include <kvexa.hpp>

#include <memory>

#include "cli/base/Failure.h"
#include "cli/commands/CommandLine.h"
#include "cli/commands/Commands.h"
#include "cli/files/FileRemarks.h"
#include "cli/files/OutputFiles.h"
#include "cli/files/ParameterFile.h"
#include "cli/frames/FrameSetup.h"
#include "files/CapParamReader.h"

namespace cli {

namespace {

using kvexa::files::capParamKeys;

void tellFields(Output& output, const CapParam& parameters) {
  for (const auto& key : capParamKeys) {
    const unsigned value = parameters.*key.field;
    const std::string name(key.name);
    output.print("  %-13s %5u  0x%04X\n", name.c_str(), value, value);
    output.put("fields/" + name, value);
  }
}

void tellFrameSize(Output& output, const CapParam& parameters) {
  kvexa::FrameLayout frame;
  const std::int32_t result = kVexaCalcFrameSizeEx(&parameters, &frame.bytes, &frame.unit, &frame.width,
                                                   &frame.height, KVEXA_ALIGN_512);
  if (result != KVEXA_OK) {
    output.print("frame: no size (kVexaCalcFrameSizeEx: %d): %s, or an empty area\n", result,
                 describeFormat(parameters).c_str());
    output.put("frame", nullptr);
    return;
  }
  output.print("frame: %u x %u, %u byte%s a unit, %u bytes (kVexaCalcFrameSize says %u)\n", frame.width,
               frame.height, frame.unit, frame.unit == 1 ? "" : "s", frame.bytes,
               kVexaCalcFrameSize(&parameters, KVEXA_ALIGN_512));
  output.put("frame/width", frame.width);
  output.put("frame/height", frame.height);
  output.put("frame/unitBytes", frame.unit);
  output.put("frame/bytes", frame.bytes);
}

void explain(Output& output, const std::string& path) {
  const std::string content = readTextFile(path);
  CapParam parameters{};
  const std::int32_t result = kVexaGetCapFileParam(path.c_str(), &parameters);
  const Remarks remarks = examineParameters(content);
  output.put("file", path);
  if (result == KVEXA_OK) {
    tellFields(output, parameters);
    tellFrameSize(output, parameters);
  }
  remarks.tell(output);
  if (!kvexa::files::isCapParamName(path)) {
    throw Failure(path + ": is refused: the name must end in \"dat\", in lower case");
  }
  if (result != KVEXA_OK) {
    const std::string& cause = remarks.fault();
    throw Failure(path + ": is refused: " + kvexa::describe(result) + (cause.empty() ? "" : ": " + cause));
  }
}

struct WriteOptions {
  std::string file;
  std::string from;
  std::vector<std::string> settings;
};

// "HCNT=1280". The value has 16 bits in the file.
void set(CapParam& parameters, const std::string& setting) {
  const std::size_t sign = setting.find('=');
  if (sign == std::string::npos) throw UsageFailure("'" + setting + "' is no KEY=VALUE, such as HCNT=1280");
  const std::string name = setting.substr(0, sign);
  std::vector<std::string> names;
  for (const auto& key : capParamKeys) {
    names.emplace_back(key.name);
    if (key.name != name) continue;
    parameters.*key.field =
        static_cast<std::uint16_t>(parseNumber(setting.substr(sign + 1), name, 0, 0xFFFF));
    return;
  }
  const std::string nearest = nearestWord(name, names);
  throw UsageFailure("there is no key '" + name + "'" +
                     (nearest.empty() ? "" : ", did you mean " + nearest + "?"));
}

void write(Output& output, const WriteOptions& options) {
  if (!kvexa::files::isCapParamName(options.file)) {
    throw UsageFailure(options.file + ": the name must end in \"dat\", in lower case");
  }
  CapParam parameters{};
  if (!options.from.empty()) parameters = readParameters(output, options.from);
  for (const std::string& setting : options.settings) set(parameters, setting);
  std::string content;
  for (const auto& key : capParamKeys) {
    content += std::string(key.name) + ":" + std::to_string(parameters.*key.field) + "\n";
  }
  content += std::string(kvexa::files::capParamEndKey) + "\n";
  writeWholeFile(options.file, content);
  output.put("file", options.file);
  tellFields(output, parameters);
  tellFrameSize(output, parameters);
}

}  // namespace

Action paramsExplainCommand(Options& options) {
  const auto file = std::make_shared<std::string>();
  options.text("FILE", *file, "the capture-parameter file").required();
  return [file](Context& context) { explain(context.output, *file); };
}

Action paramsWriteCommand(Options& options) {
  const auto values = std::make_shared<WriteOptions>();
  options.text("FILE", values->file, "the file, whose name ends in \"dat\"")
      .required()
      .texts("KEY=VALUE", values->settings, "keys with their values; all others are 0")
      .text("--from", values->from, "take the values that are not given from this file");
  return [values](Context& context) { write(context.output, *values); };
}

}  // namespace cli

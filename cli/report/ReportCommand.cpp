// kvexa report: a bring-up on one page.
#include "convert/vector/InstructionSet.h"

#include <windows.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"
#include "cli/commands/Commands.h"
#include "cli/files/OutputFiles.h"
#include "cli/report/BringUp.h"
#include "cli/report/Page.h"

namespace cli {

namespace {

constexpr std::uint32_t mostFrames = 1000;
constexpr double mostPixels = 4e6;  // of the page's picture, so that the page can be sent to people

void checkOptions(const ReportOptions& options) {
  const std::string ending = endingOf(options.output);
  if (ending != ".html" && ending != ".htm") {
    throw UsageFailure("--out " + options.output + ": a report is a page, so its name ends in .html");
  }
  if (isFolder(options.output))
    throw Failure(options.output + ": is a folder, so no file can have this name");
  MadeFolders::check(folderOf(options.output));
  checkReadable(options.registers);
  checkReadable(options.parameters);
}

std::string now() {
  SYSTEMTIME time{};
  GetLocalTime(&time);
  return format("%04u-%02u-%02u %02u:%02u", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute);
}

void tellOccasion(const ReportOptions& options, Output& found) {
  if (!options.module.empty()) found.put("module", options.module);
  if (!options.note.empty()) found.put("note", options.note);
  found.put("date", options.date.empty() ? now() : options.date);
  found.put("versions/tool",
            format("%d.%d.%d", KVEXA_VERSION_MAJOR, KVEXA_VERSION_MINOR, KVEXA_VERSION_PATCH));
  found.put("versions/instructionSet", kvexa::convert::nameOf(kvexa::convert::chosenInstructionSet()));
}

void tellRequests(const RequestCounts& requests, Output& found) {
  found.putList("requests");
  unsigned number = 0;
  for (const auto& [kind, count] : requests.byKind()) {
    const std::string place = "requests/" + std::to_string(number++);
    found.put(place + "/request", kind);
    found.put(place + "/count", count.count);
    found.put(place + "/failed", count.failed);
  }
  found.putList("failedRequests");
  number = 0;
  for (const std::string& line : requests.failures()) {
    found.put("failedRequests/" + std::to_string(number++), line);
  }
}

// Each pixel is the mean of so many along each side; what is left over at the right and the bottom is left
// out.
kvexa::Image reduced(const kvexa::Image& image, std::uint32_t factor) {
  kvexa::Image small(image.width() / factor, image.height() / factor);
  std::uint8_t* to = small.pixels();
  for (std::size_t y = 0; y < small.height(); ++y) {
    for (std::size_t x = 0; x < small.width(); ++x) {
      std::array<std::uint32_t, 3> sums{};
      for (std::size_t row = 0; row < factor; ++row) {
        const std::uint8_t* from = image.pixels() + 3 * ((y * factor + row) * image.width() + x * factor);
        for (std::size_t i = 0; i < std::size_t{3} * factor; ++i) sums[i % 3] += from[i];
      }
      for (const std::uint32_t sum : sums) *to++ = static_cast<std::uint8_t>(sum / (factor * factor));
    }
  }
  return small;
}

// By the library, which writes files alone; the file is gone afterwards.
std::vector<std::uint8_t> jpegOf(const kvexa::Image& image, const ReportOptions& options, Output& found) {
  const std::string name = unfinishedName(options.output) + ".jpg";
  OutputFiles files;
  files.add(name);
  found.step("kVexaSaveJpegFile", image.saveJpeg(name, options.picture.quality), name);
  std::ifstream stream(name, std::ios::binary);
  std::vector<std::uint8_t> bytes(std::istreambuf_iterator<char>(stream), {});
  stream.close();
  if (bytes.empty()) throw Failure(name + ": cannot be read");
  return bytes;
}

PagePicture pagePicture(const kvexa::Image& image, const ReportOptions& options, Output& found) {
  if (image.width() == 0) {
    found.put("picture", nullptr);
    return {};
  }
  const double pixels = static_cast<double>(image.width()) * image.height();
  const auto factor = static_cast<std::uint32_t>(std::ceil(std::sqrt(std::max(1.0, pixels / mostPixels))));
  const auto bytes = jpegOf(factor == 1 ? image : reduced(image, factor), options, found);
  found.put("picture/width", image.width());
  found.put("picture/height", image.height());
  found.put("picture/reducedBy", factor);
  found.put("picture/bytes", bytes.size());
  return {"data:image/jpeg;base64," + base64(bytes), image.width(), image.height(), factor};
}

// A failure of the board is what the page is about; one of the command line or its files, or Ctrl-C, leaves
// none.
std::exception_ptr runTold(BringUp& bringUp, Output& found) {
  try {
    bringUp.run();
  } catch (const Failure& failure) {
    const bool isOfBoard = failure.exitCode == ExitCode::board || failure.exitCode == ExitCode::timeLimit;
    if (!bringUp.isOpen() || !isOfBoard) throw;
    putFailure(found, failure);
    return std::current_exception();
  }
  return nullptr;
}

// What the object of the command gets: the steps are there already, or not wanted.
void tellFindings(Output& output, Output& found, const std::string& file) {
  Json members = Json::parse(found.object());
  members.erase("calls");
  output.putMembers(members.dump());
  output.put("file", file);
  output.detail("report", file);
  if (output.isQuiet()) output.print("%s\n", file.c_str());
}

void report(Context& context, const ReportOptions& options) {
  checkOptions(options);
  Output found;
  found.begin("report", true, false);
  found.echoTo(&context.output);
  tellOccasion(options, found);
  BringUp bringUp(context, options, found);
  const std::exception_ptr failure = runTold(bringUp, found);
  context.interrupt->check();
  bringUp.tellStatistics();
  const PagePicture picture = pagePicture(bringUp.picture(), options, found);
  tellRequests(context.session->requests(), found);
  writeWholeFile(options.output, pageOf(Json::parse(found.object()), picture));
  tellFindings(context.output, found, options.output);
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

Action reportCommand(Options& options) {
  const auto values = std::make_shared<ReportOptions>();
  options.text("--regs", values->registers, "register-setting file of the sensor")
      .required()
      .text("--params", values->parameters, "capture-parameter file")
      .required()
      .text("--out", values->output, "the page, whose name ends in .html")
      .required()
      .text("--module", values->module, "name of the module, for the heading")
      .text("--note", values->note, "a line below it")
      .text("--date", values->date, "instead of date and time of this computer")
      .number("--frames", values->frames, 1, mostFrames,
              "frames to capture; two or more tell noise from pattern")
      .text("--samples", values->samples, "keep the frames in files too: name with '#' for the number")
      .text("--edge", values->edge, "measure sharpness in X,Y,WIDTH,HEIGHT, find an edge, or none")
      .number("--timeout", values->timeout, 1, 600000, "milliseconds to wait for a frame");
  addPictureOptions(options, values->picture);
  return [values](Context& context) { report(context, *values); };
}

}  // namespace cli

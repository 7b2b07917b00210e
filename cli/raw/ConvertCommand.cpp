#include "cli/raw/ConvertCommand.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <system_error>
#include <thread>

#include "cli/base/Failure.h"
#include "cli/base/Interrupt.h"
#include "cli/base/Paths.h"
#include "cli/raw/ConvertProgress.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

struct Job {
  fs::path input;
  fs::path output;
};

bool isRaw(const fs::path& path) {
  std::wstring ending = path.extension().wstring();
  for (wchar_t& letter : ending)
    letter = static_cast<wchar_t>(letter >= L'A' && letter <= L'Z' ? letter + 32 : letter);
  return ending == L".raw" || ending == L".bin";
}

std::vector<Job> jobsOfFolder(const fs::path& folder, const fs::path& output, const std::string& ending) {
  std::vector<Job> jobs;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!entry->is_regular_file(error) || !isRaw(entry->path())) continue;
    fs::path name = entry->path().filename();
    jobs.push_back({entry->path(), output / name.replace_extension(toPath("." + ending))});
  }
  if (error) throw Failure(shownName(folder) + ": cannot be read");
  if (jobs.empty()) throw Failure(shownName(folder) + ": has no file that ends in .raw or .bin");
  std::ranges::sort(jobs, {}, &Job::input);
  for (std::size_t i = 1; i < jobs.size(); ++i) {
    if (jobs[i].output != jobs[i - 1].output) continue;
    throw Failure(shownName(jobs[i].input) + " and " + shownName(jobs[i - 1].input) +
                  " would become one file");
  }
  return jobs;
}

void makeFolder(const fs::path& folder) {
  if (folder.empty()) return;
  std::error_code error;
  fs::create_directories(folder, error);
  if (!fs::is_directory(folder, error)) throw Failure(shownName(folder) + ": cannot be made a folder");
}

// Each thread holds a frame, its picture and the file: as many as go into a 32-bit process with room to
// spare.
unsigned threadsFor(const RawLayout& layout, std::size_t files) {
  constexpr std::uint64_t memory = std::uint64_t{1} << 30;
  const std::uint64_t pixels = std::uint64_t{layout.width} * layout.height;
  const std::uint64_t each = layout.bytes() + 7 * pixels + (std::uint64_t{1} << 20);
  const std::uint64_t most =
      std::min<std::uint64_t>({std::max(1U, std::thread::hardware_concurrency()), files, memory / each});
  return static_cast<unsigned>(std::max<std::uint64_t>(most, 1));
}

// The files of one run, handed out to threads one by one.
class Run {
 public:
  Run(const ConvertOptions& options, PictureKind kind, std::vector<Job> jobs)
      : options_(options), kind_(kind), jobs_(std::move(jobs)), progress_(jobs_.size(), options.quiet) {
    for (const Job& job : jobs_)
      report_.files.push_back({shownName(job.input), shownName(job.output), "not converted"});
  }

  ConvertReport onAllCores() {
    {
      std::vector<std::jthread> threads;
      const unsigned count = threadsFor(options_.layout, jobs_.size());
      while (threads.size() + 1 < count) threads.emplace_back([this] { work(); });
      work();
    }
    report_.stopped = isStopped();
    return std::move(report_);
  }

 private:
  bool isStopped() const { return WaitForSingleObject(interrupt_.event(), 0) == WAIT_OBJECT_0; }

  void work() {
    RawFrame frame;
    PictureFile picture(options_.layout, kind_, options_.settings);
    while (!isStopped()) {
      const std::size_t index = next_.fetch_add(1);
      if (index >= jobs_.size()) return;
      report_.files[index].failure = failureOf(jobs_[index], frame, picture);
      progress_.advance();
    }
  }

  static std::string failureOf(const Job& job, RawFrame& frame, PictureFile& picture);

  const ConvertOptions& options_;
  PictureKind kind_;
  std::vector<Job> jobs_;
  ConvertReport report_;
  ConvertProgress progress_;
  Interrupt interrupt_;
  std::atomic<std::size_t> next_ = 0;
};

std::string Run::failureOf(const Job& job, RawFrame& frame, PictureFile& picture) {
  const auto ofOutput = [&job](const std::exception& error) {
    return shownName(job.output) + ": " + error.what();
  };
  try {
    frame.read(job.input, picture.layout());
    try {
      picture.save(frame, job.output);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      return ofOutput(error);
    }
    return {};
  } catch (const std::bad_alloc&) {
    return shownName(job.input) + ": there is not enough memory";
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

ConvertReport convert(const ConvertOptions& options) {
  const fs::path input = toPath(options.input);
  const fs::path output = toPath(options.output);
  std::error_code error;
  const bool isFolder = fs::is_directory(input, error);
  std::string ending = options.ending;
  if (isFolder && ending.empty()) throw Failure("a folder needs --as, the ending of its pictures: --as png");
  if (!isFolder && ending.empty()) {
    ending = shownName(output.extension());
    if (ending.empty()) throw Failure(options.output + ": needs an ending that tells the kind of picture");
    ending.erase(0, 1);
  }
  const PictureKind kind = pictureKindOf(ending);
  checkKind(options.layout, kind, options.settings);
  std::vector<Job> jobs;
  if (isFolder) {
    jobs = jobsOfFolder(input, output, ending);
    makeFolder(output);
  } else {
    if (!fs::is_regular_file(input, error)) throw Failure(options.input + ": cannot be opened");
    if (fs::equivalent(input, output, error)) throw Failure(options.output + ": is the raw file itself");
    makeFolder(output.parent_path());
    jobs.push_back({input, output});
  }
  ConvertReport report = Run(options, kind, std::move(jobs)).onAllCores();
  report.width = options.layout.width;
  report.padding = PictureFile(options.layout, kind, options.settings).padding();
  return report;
}

void print(const ConvertReport& report) {
  const auto made = std::ranges::count(report.files, "", &ConvertedFile::failure);
  for (const ConvertedFile& file : report.files) {
    if (file.failure.empty() && report.files.size() == 1) std::printf("  %s\n", file.output.c_str());
  }
  if (report.files.size() > 1) {
    std::printf("  %u of %u files converted\n", static_cast<unsigned>(made),
                static_cast<unsigned>(report.files.size()));
  }
  if (report.padding != 0 && made != 0) {
    std::printf("  %s %s\n", report.files.size() > 1 ? "each" : "it", paddingText(report.width).c_str());
  }
}

nlohmann::json toJson(const ConvertReport& report) {
  nlohmann::json files = nlohmann::json::array();
  for (const ConvertedFile& file : report.files) {
    nlohmann::json entry{
        {"input", toUtf8(file.input)}, {"output", toUtf8(file.output)}, {"ok", file.failure.empty()}};
    if (!file.failure.empty()) entry["failure"] = toUtf8(file.failure);
    files.push_back(std::move(entry));
  }
  return {{"files", std::move(files)}, {"picturePadding", report.padding}, {"stopped", report.stopped}};
}

void requireAll(const ConvertReport& report) {
  const auto made = std::ranges::count(report.files, "", &ConvertedFile::failure);
  const auto total = static_cast<std::ptrdiff_t>(report.files.size());
  if (report.stopped && made != total) {
    throw Failure("stopped after " + std::to_string(made) + " of " + std::to_string(total) + " files",
                  ExitCode::interrupted);
  }
  if (made == total) return;
  if (total == 1) throw Failure(report.files.front().failure);
  for (const ConvertedFile& file : report.files) {
    if (!file.failure.empty()) std::fprintf(stderr, "kvexa: %s\n", file.failure.c_str());
  }
  throw Failure(std::to_string(total - made) + " of " + std::to_string(total) +
                " files could not be converted");
}

}  // namespace cli

// kvexa convert against the library's own time for the same work: frames of 13 megapixels to bitmaps, on all
// cores. Prints the milliseconds a frame of the library with reading and writing, of the command, and the
// ratio.
#include <kvexa.hpp>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/Timing.h"
#include "cli/raw/ConvertCommand.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t width = 4208;
constexpr std::uint32_t height = 3120;
constexpr std::size_t files = 12;
constexpr unsigned rounds = 3;

void makeFrames(const fs::path& folder) {
  std::vector<char> samples(std::size_t{width} * height);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<char>(i * 7 + i / width);
  for (std::size_t i = 0; i < files; ++i) {
    std::ofstream file(folder / (std::to_string(i) + ".raw"), std::ios::binary);
    file.write(samples.data(), static_cast<std::streamsize>(samples.size()));
  }
}

// As a program would that has nothing but this to do.
bool convertThroughLibrary(const fs::path& from, const fs::path& to) {
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> good = true;
  const auto work = [&] {
    std::vector<std::uint8_t> samples(std::size_t{width} * height);
    kvexa::Image image(width, height);
    for (std::size_t i = next++; i < files; i = next++) {
      std::ifstream file(from / (std::to_string(i) + ".raw"), std::ios::binary);
      file.read(reinterpret_cast<char*>(samples.data()), static_cast<std::streamsize>(samples.size()));
      const std::string name = (to / (std::to_string(i) + ".bmp")).string();
      if (!file || image.fromBayer8(samples.data(), KVEXA_BAYER_GRBG) != 0 || image.saveBmp(name) != 0)
        good = false;
    }
  };
  {
    std::vector<std::jthread> threads;
    for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i) threads.emplace_back(work);
    work();
  }
  return good;
}

bool convertByCommand(const fs::path& from, const fs::path& to) {
  cli::ConvertOptions options;
  options.input = from.string();
  options.output = to.string();
  options.ending = "bmp";
  options.layout = {width, height};
  options.quiet = true;
  const cli::ConvertReport report = cli::convert(options);
  return std::ranges::count(report.files, "", &cli::ConvertedFile::failure) ==
         static_cast<std::ptrdiff_t>(files);
}

}  // namespace

int main() {
  const fs::path folder = fs::temp_directory_path() / "kvexa_convert_bench";
  fs::create_directories(folder / "out");
  makeFrames(folder);
  bool good = true;
  double library = 1e300;
  double command = 1e300;
  // In turn, so that a slow moment of the machine meets both.
  for (unsigned round = 0; round < rounds; ++round) {
    library = std::min(
        library, bench::secondsOf([&] { good = convertThroughLibrary(folder, folder / "out") && good; }, 1));
    command = std::min(command,
                       bench::secondsOf([&] { good = convertByCommand(folder, folder / "out") && good; }, 1));
  }
  fs::remove_all(folder);
  std::printf("%.1f %.1f %.2f\n", library / files * 1e3, command / files * 1e3, command / library);
  return good ? 0 : 1;
}

// The library's converters on each instruction set, and the copy limit, in the code that ships: 32 bits.
// Prints lines "job|frame|set|seconds".
// library_bench [PART OF A NAME [ROUNDS [plots]]]: the frames of the tables, or those that the plots add
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Jobs.h"
#include "KernelSets.h"
#include "Timing.h"
#include "convert/bayer/BayerToRgb.h"
#include "convert/filter/FilteredBayer.h"
#include "convert/yuyv/YuyvToRgb.h"

using namespace kvexa::convert;

namespace {

struct Buffers {
  explicit Buffers(bench::Frame frame)
      : samples8(frame.pixels() * 2), samples16(frame.pixels() * 4), pixels(frame.pixels() * 4) {
    bench::fillFrame(samples8.data(), samples8.size());
    bench::fillFrame16(samples16.data(), samples16.size() / 2, 10);
  }
  const std::uint16_t* words() const { return reinterpret_cast<const std::uint16_t*>(samples16.data()); }
  std::uint16_t* pixelWords() { return reinterpret_cast<std::uint16_t*>(pixels.data()); }

  std::vector<std::uint8_t> samples8, samples16, pixels;
};

struct Conversion {
  std::string name;
  std::size_t sourceBytes, pixelBytes;  // of a pixel
  std::function<void(const RowLoops&)> run;
};

std::vector<Conversion> conversionsOf(Buffers& b, bench::Frame f) {
  const std::uint32_t w = f.width, h = f.height;
  std::vector<Conversion> all = {
      {"Raw8 to RGB888", 1, 3,
       [&b, w, h](auto& k) { raw8ToRgb888(b.samples8.data(), b.pixels.data(), w, h, 1, k); }},
      {"Raw8 to RGB565", 1, 2,
       [&b, w, h](auto& k) { raw8ToRgb565(b.samples8.data(), b.pixelWords(), w, h, 1, k); }},
      {"Raw16 to RGB888", 2, 3,
       [&b, w, h](auto& k) { raw16ToRgb888(b.words(), b.pixels.data(), w, h, 1, 10, k); }},
      {"Raw16 to RGB565", 2, 2,
       [&b, w, h](auto& k) { raw16ToRgb565(b.words(), b.pixelWords(), w, h, 1, 10, k); }},
  };
  for (const auto& set : bench::kernelSets()) {
    for (const Packing packing : {Packing::rgb888, Packing::rgb565}) {
      for (const Extent extent : {Extent::framed, Extent::interior}) {
        const bool plain = packing == Packing::rgb888 && extent == Extent::framed;
        if (!plain && set.name != std::string("colour correction")) continue;
        const std::string suffix = std::string(packing == Packing::rgb888 ? " to RGB888" : " to RGB565") +
                                   (extent == Extent::interior ? " Ex" : "") + ", " + set.name;
        const std::size_t bytes = packing == Packing::rgb888 ? 3 : 2;
        const double* kernels = set.weights.data();
        all.push_back({"Raw8 through kernels" + suffix, 1, bytes, [=, &b](auto& k) {
                         filterRaw8(b.samples8.data(), b.pixels.data(), w, h, 1, kernels, packing, extent, k);
                       }});
        all.push_back({"Raw16 through kernels" + suffix, 2, bytes, [=, &b](auto& k) {
                         filterRaw16(b.words(), b.pixels.data(), w, h, 1, kernels, 10, packing, extent, k);
                       }});
      }
    }
  }
  static const char* const methods[] = {"integer studio", "double studio", "integer full", "double full"};
  static const char* const formats[] = {"RGB888", "RGB565", "RGB555"};
  for (std::uint32_t format = 10; format <= 12; ++format) {
    const std::size_t bytes = format == 10 ? 3 : 2;
    const std::string to = std::string(" to ") + formats[format - 10];
    for (std::uint32_t method = 0; method < 4; ++method) {
      all.push_back({std::string("YUYV ") + methods[method] + to, 2, bytes, [=, &b](auto& k) {
                       yuyv8ToRgb(b.samples8.data(), b.pixels.data(), w, h, YuyvMethod{method},
                                  YuyvOrder::chromaFirst, format, k);
                     }});
      if (format == 12) continue;
      all.push_back({std::string("YUYV16 ") + methods[method] + to, 4, bytes, [=, &b](auto& k) {
                       yuyv16ToRgb(b.words(), b.pixels.data(), w, h, YuyvMethod{method},
                                   YuyvOrder::chromaFirst, format, 10, k);
                     }});
    }
    all.push_back({"YUYV matrix" + to, 2, bytes, [=, &b](auto& k) {
                     yuyv8ToMtxRgb(b.samples8.data(), b.pixels.data(), w, h, bench::matrix,
                                   YuyvOrder::chromaFirst, format, k);
                   }});
    all.push_back({"YUYV16 matrix" + to, 4, bytes, [=, &b](auto& k) {
                     yuyv16ToMtxRgb(b.words(), b.pixels.data(), w, h, bench::matrix, YuyvOrder::chromaFirst,
                                    format, 10, k);
                   }});
  }
  return all;
}

void measureFrame(bench::Frame frame, const std::string& only, unsigned rounds) {
  Buffers buffers(frame);
  for (const auto& conversion : conversionsOf(buffers, frame)) {
    if (conversion.name.find(only) == std::string::npos) continue;
    std::vector<bench::Job> jobs;
    for (const InstructionSet set : allInstructionSets) {
      const RowLoops* loops = rowLoopsOf(set);
      if (loops == nullptr) continue;
      jobs.push_back({nameOf(set), [&conversion, loops] { conversion.run(*loops); }});
    }
    // The limit: a copy that moves as many bytes, reads and writes together, as the conversion does.
    const std::size_t copied = frame.pixels() * (conversion.sourceBytes + conversion.pixelBytes) / 2;
    jobs.push_back(
        {"copy", [&, copied] { std::memcpy(buffers.pixels.data(), buffers.samples16.data(), copied); }});
    bench::measure(jobs, rounds, 0.02);
    for (const auto& job : jobs) {
      std::printf("%s|%ux%u|%s|%.9f\n", conversion.name.c_str(), frame.width, frame.height, job.name.c_str(),
                  job.best);
    }
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string only = argc > 1 ? argv[1] : "";
  const unsigned rounds = argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : 7;
  const bool forPlots = argc > 3 && argv[3] == std::string("plots");
  const unsigned first = forPlots ? bench::tableFrames : 0;
  const unsigned end = forPlots ? bench::allFrames : bench::tableFrames;
  for (unsigned i = first; i < end; ++i) measureFrame(bench::frames[i], only, rounds);
}

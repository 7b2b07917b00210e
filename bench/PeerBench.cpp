// What a user would pick instead, native: OpenCV and libyuv on one core, and this library's plain code as
// the compiler alone makes it fast. Also the double-precision peak of the machine. Prints lines
// "job|frame|peer|seconds".
#include <libyuv.h>

#include <cstdio>
#include <functional>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "DoublePeak.h"
#include "Jobs.h"
#include "KernelSets.h"
#include "Timing.h"
#include "convert/bayer/BayerToRgb.h"
#include "convert/filter/FilteredBayer.h"
#include "convert/yuyv/YuyvToRgb.h"

using namespace kvexa::convert;

namespace {

struct Peer {
  std::string conversion, name;
  std::function<void()> run;
};

struct Frames {
  explicit Frames(bench::Frame f)
      : frame(f),
        size(static_cast<int>(f.width), static_cast<int>(f.height)),
        bytes(f.pixels() * 4),
        words(f.pixels() * 4),
        pixels(f.pixels() * 4),
        argb(std::size_t{f.width} * 16 * 4) {
    bench::fillFrame(bytes.data(), bytes.size());
    bench::fillFrame16(reinterpret_cast<std::uint8_t*>(words.data()), words.size(), 10);
  }
  bench::Frame frame;
  cv::Size size;
  std::vector<std::uint8_t> bytes;
  std::vector<std::uint16_t> words;
  std::vector<std::uint8_t> pixels, argb;
  cv::Mat bgr8, bgr16, bgr565;
};

// Strip by strip, so that what lies between the two steps of libyuv stays in the cache.
template <typename Finish>
void throughArgb(Frames& f, std::size_t pixelBytes, const Finish& finish) {
  const int width = f.size.width;
  for (int row = 0; row < f.size.height; row += 16) {
    const int rows = std::min(16, f.size.height - row);
    const std::size_t first = static_cast<std::size_t>(row) * f.frame.width;
    libyuv::UYVYToARGB(f.bytes.data() + 2 * first, 2 * width, f.argb.data(), 4 * width, width, rows);
    finish(f.argb.data(), 4 * width, f.pixels.data() + first * pixelBytes,
           width * static_cast<int>(pixelBytes), width, rows);
  }
}

std::vector<Peer> peersOf(Frames& f) {
  const std::uint32_t w = f.frame.width, h = f.frame.height;
  const auto bayer8 = [&f] { return cv::Mat(f.size, CV_8UC1, f.bytes.data()); };
  const auto bayer16 = [&f] { return cv::Mat(f.size, CV_16UC1, f.words.data()); };
  std::vector<Peer> peers = {
      {"Raw8 to RGB888", "OpenCV", [=, &f] { cv::cvtColor(bayer8(), f.bgr8, cv::COLOR_BayerBG2BGR); }},
      {"Raw8 to RGB565", "OpenCV",
       [=, &f] {
         cv::cvtColor(bayer8(), f.bgr8, cv::COLOR_BayerBG2BGR);
         cv::cvtColor(f.bgr8, f.bgr565, cv::COLOR_BGR2BGR565);
       }},
      {"Raw16 to RGB888", "OpenCV",
       [=, &f] {
         cv::cvtColor(bayer16(), f.bgr16, cv::COLOR_BayerBG2BGR);
         f.bgr16.convertTo(f.bgr8, CV_8U, 0.25);
       }},
      {"Raw16 to RGB565", "OpenCV",
       [=, &f] {
         cv::cvtColor(bayer16(), f.bgr16, cv::COLOR_BayerBG2BGR);
         f.bgr16.convertTo(f.bgr8, CV_8U, 0.25);
         cv::cvtColor(f.bgr8, f.bgr565, cv::COLOR_BGR2BGR565);
       }},
      {"YUYV integer studio to RGB888", "OpenCV",
       [&f] { cv::cvtColor(cv::Mat(f.size, CV_8UC2, f.bytes.data()), f.bgr8, cv::COLOR_YUV2BGR_UYVY); }},
      {"YUYV integer studio to RGB888", "libyuv", [&f] { throughArgb(f, 3, libyuv::ARGBToRGB24); }},
      {"YUYV integer studio to RGB565", "libyuv", [&f] { throughArgb(f, 2, libyuv::ARGBToRGB565); }},
      // Its input has a U and a V for every pixel already.
      {"YUYV matrix to RGB888", "OpenCV",
       [&f] {
         const cv::Matx34f matrix(1.164F, 0, 1.596F, -222.9F, 1.164F, -0.392F, -0.813F, 135.6F, 1.164F,
                                  2.017F, 0, -276.8F);
         cv::transform(cv::Mat(f.size, CV_8UC3, f.bytes.data()), f.bgr8, matrix);
       }},
  };
  for (const auto& set : bench::kernelSets()) {
    const double* kernels = set.weights.data();
    peers.push_back({"Raw8 through kernels to RGB888, " + set.name, "compiler", [=, &f] {
                       filterRaw8(f.bytes.data(), f.pixels.data(), w, h, 1, kernels, Packing::rgb888,
                                  Extent::framed, scalarRowLoops);
                     }});
  }
  // Operations in doubles that the text of a conversion asks for, a pixel.
  const auto peak = [&](const std::string& conversion, std::uint64_t operations) {
    peers.push_back({conversion, "peak", [=, &f] { bench::runDoubles(f.frame.pixels() * operations); }});
  };
  for (const auto& set : bench::kernelSets()) {
    peak("Raw8 through kernels to RGB888, " + set.name, 54);
    peak("Raw16 through kernels to RGB888, " + set.name, 54);
  }
  peak("YUYV double studio to RGB888", 11);
  peak("YUYV double full to RGB888", 10);
  peak("YUYV matrix to RGB888", 18);
  return peers;
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned rounds = argc > 1 ? static_cast<unsigned>(std::stoul(argv[1])) : 7;
  const std::string only = argc > 2 ? argv[2] : "";
  const unsigned count = argc > 3 ? static_cast<unsigned>(std::stoul(argv[3])) : bench::tableFrames;
  cv::setNumThreads(1);
  for (unsigned i = 0; i < count; ++i) {
    const bench::Frame frame = bench::frames[i];
    Frames frames(frame);
    for (const auto& peer : peersOf(frames)) {
      if (peer.conversion.find(only) == std::string::npos) continue;
      std::vector<bench::Job> jobs = {{peer.name, peer.run}};
      bench::measure(jobs, rounds, 0.02);
      std::printf("%s|%ux%u|%s|%.9f\n", peer.conversion.c_str(), frame.width, frame.height, peer.name.c_str(),
                  jobs[0].best);
    }
  }
}

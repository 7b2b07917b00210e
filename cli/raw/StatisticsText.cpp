// The statistics of frames for people.
#include <algorithm>
#include <cstdio>

#include "cli/raw/StatisticsCommand.h"

namespace cli {

namespace {

constexpr double percent = 100;
constexpr std::size_t mostDefects = 20;

std::string number(const std::optional<double>& value, const char* format) {
  if (!value) return "-";
  char text[64];
  std::snprintf(text, sizeof text, format, *value);
  return text;
}

void printValues(const analysis::Statistics& statistics) {
  std::printf("  %-5s %7s %9s %10s %9s %8s %10s\n", "", "least", "greatest", "mean", "sigma", "black",
              "saturated");
  for (const auto& channel : statistics.channels) {
    const analysis::Values& values = channel.values;
    std::printf("  %-5s %7u %9u %10.2f %9.3f %7.3f%% %9.3f%%\n", nameOf(channel.channel), values.least,
                values.greatest, values.mean, values.sigma, percent * values.blackShare,
                percent * values.saturatedShare);
    if (values.beyondDepth != 0) {
      std::printf("        %llu samples do not fit into %u bits\n",
                  static_cast<unsigned long long>(values.beyondDepth), statistics.bits);
    }
  }
}

void printNoise(const analysis::Statistics& statistics) {
  if (statistics.frames == 1) {
    std::printf(
        "noise and fixed pattern together (one frame cannot tell them apart; scene detail adds to it)\n");
    for (const auto& channel : statistics.channels) {
      std::printf("  %-5s at most %s\n", nameOf(channel.channel),
                  number(channel.noise.upperBound, "%.3f").c_str());
    }
    return;
  }
  std::printf("noise            temporal  fixed pattern\n");
  for (const auto& channel : statistics.channels) {
    std::printf("  %-5s %18s %14s\n", nameOf(channel.channel), number(channel.noise.temporal, "%.3f").c_str(),
                number(channel.noise.fixedPattern, "%.3f").c_str());
  }
}

void printDefects(const analysis::Statistics& statistics) {
  std::printf("samples far from their neighbours%s\n",
              statistics.frames < 4 ? " (fewer than 4 frames: candidates)" : "");
  for (const auto& channel : statistics.channels) {
    const analysis::Outliers& outliers = channel.outliers;
    if (outliers.tooMany) {
      std::printf("  %-5s not told: the scene is not flat\n", nameOf(channel.channel));
      continue;
    }
    const auto high = std::ranges::count_if(outliers.defects, &analysis::Defect::isHigh);
    std::printf(
        "  %-5s %u high, %u low (by more than %.1f)\n", nameOf(channel.channel), static_cast<unsigned>(high),
        static_cast<unsigned>(outliers.defects.size() - static_cast<std::size_t>(high)), outliers.threshold);
    for (std::size_t i = 0; i < std::min(outliers.defects.size(), mostDefects); ++i) {
      const analysis::Defect& defect = outliers.defects[i];
      std::printf("          %u, %u: %u instead of %u\n", defect.x, defect.y, defect.value, defect.expected);
    }
    if (outliers.defects.size() > mostDefects) std::printf("          and more; --json lists all\n");
  }
}

void printShading(const analysis::Statistics& statistics) {
  std::printf("corners, of the centre (a flat, evenly lit scene)\n");
  std::printf("  %-5s %10s %8s %8s %8s %8s\n", "", "centre", "top l.", "top r.", "bott. l.", "bott. r.");
  for (const auto& channel : statistics.channels) {
    if (!channel.shading) {
      std::printf("  %-5s not told: the centre is black\n", nameOf(channel.channel));
      continue;
    }
    std::printf("  %-5s %10.2f", nameOf(channel.channel), channel.shading->centre);
    for (const double corner : channel.shading->corners) std::printf(" %7.2f%%", percent * corner);
    std::printf("\n");
  }
}

void printEdge(const StatisticsReport& report) {
  if (!report.edgeWanted) return;
  if (!report.edge) {
    std::printf("sharpness: no slanted edge was found\n");
    return;
  }
  const analysis::Region& region = report.edge->region;
  std::printf("sharpness in %u,%u,%u,%u\n", region.x, region.y, region.width, region.height);
  for (const auto& result : report.edge->results) {
    std::printf("  %-5s SFR50 %s cycles a pixel, edge at %.2f degrees\n",
                result.channel ? nameOf(*result.channel) : "all", number(result.sfr50, "%.4f").c_str(),
                result.angle);
    for (const analysis::EdgeFlag flag : result.flags) std::printf("          spoiled: %s\n", textOf(flag));
  }
}

}  // namespace

void print(const StatisticsReport& report) {
  const analysis::Statistics& statistics = report.statistics;
  std::printf("%u frame%s of %u x %u, %u bits\n", statistics.frames, statistics.frames == 1 ? "" : "s",
              statistics.width, statistics.height, statistics.bits);
  printValues(statistics);
  printNoise(statistics);
  printDefects(statistics);
  printShading(statistics);
  printEdge(report);
}

}  // namespace cli

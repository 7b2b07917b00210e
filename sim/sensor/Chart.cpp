// The built-in test chart.
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "sim/sensor/Canvas.h"

namespace sim {

namespace {

constexpr int chartWidth = 1600;
constexpr int chartHeight = 1200;

constexpr Colour ground{104, 106, 108};
constexpr Colour ink{24, 24, 26};
constexpr Colour paper{244, 244, 240};

// Six columns, four rows: skin, foliage and sky tones, mixed colours, the primaries, greys.
constexpr int patchColumns = 6;
constexpr int patchRows = 4;
constexpr std::array<Colour, patchColumns* patchRows> patches = {{
    {112, 78, 62},   {202, 152, 128}, {88, 118, 164},  {84, 112, 60},   {130, 126, 182}, {96, 196, 172},
    {222, 126, 36},  {64, 84, 176},   {204, 78, 96},   {88, 52, 112},   {164, 194, 56},  {236, 168, 40},
    {36, 52, 156},   {60, 152, 68},   {182, 36, 44},   {242, 208, 20},  {192, 72, 150},  {0, 136, 170},
    {246, 246, 244}, {204, 204, 204}, {162, 162, 162}, {118, 118, 118}, {78, 78, 78},    {36, 36, 36},
}};

std::uint8_t grey(double share) { return static_cast<std::uint8_t>(std::lround(share * 255)); }

Colour mixed(Colour a, Colour b, double share) {
  const auto mix = [&](std::uint8_t from, std::uint8_t to) {
    return static_cast<std::uint8_t>(std::lround(from + (to - from) * share));
  };
  return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue)};
}

void paintPatches(Canvas& canvas, const Rectangle& area) {
  constexpr int gap = 12;
  canvas.fill(area, ink);
  const int width = (area.width - gap) / patchColumns;
  const int height = (area.height - gap) / patchRows;
  for (int i = 0; i < patchColumns * patchRows; ++i) {
    const int x = area.x + gap + i % patchColumns * width;
    const int y = area.y + gap + i / patchColumns * height;
    canvas.fill({x, y, width - gap, height - gap}, patches[static_cast<std::size_t>(i)]);
  }
}

// Rings whose frequency grows outward to half a cycle a pixel at the rim.
void paintZonePlate(Canvas& canvas, const Rectangle& area) {
  const double centre = area.width / 2.0;
  canvas.paint(area, [&](double x, double y) {
    const double squared = (x - centre) * (x - centre) + (y - centre) * (y - centre);
    const double fade = std::clamp((centre - std::sqrt(squared)) / 6, 0.0, 1.0);
    const double wave = 0.5 + 0.46 * std::cos(std::numbers::pi * squared / (2 * centre));
    return mixed(ground, {grey(wave), grey(wave), grey(wave)}, fade);
  });
}

// A dark field whose edges lean by five degrees, for measuring sharpness.
void paintSlantedEdge(Canvas& canvas, const Rectangle& area) {
  const double angle = 5 * std::numbers::pi / 180;
  const double half = area.width * 0.36;
  canvas.paint(area, [&](double x, double y) {
    const double dx = x - area.width / 2.0;
    const double dy = y - area.height / 2.0;
    const double u = std::abs(dx * std::cos(angle) + dy * std::sin(angle));
    const double v = std::abs(dy * std::cos(angle) - dx * std::sin(angle));
    return mixed(paper, ink, std::clamp(half - std::max(u, v) + 0.5, 0.0, 1.0));
  });
}

// Alternating wedges that meet in the centre, for finding the limit of resolution by eye.
void paintStar(Canvas& canvas, const Rectangle& area) {
  constexpr int samples = 3;
  const double centre = area.width / 2.0;
  canvas.paint(area, [&](double x, double y) {
    double lit = 0;
    for (int i = 0; i < samples * samples; ++i) {
      const int row = i / samples;
      const int column = i % samples;
      const double dx = x - centre + (column - 1) / double(samples);
      const double dy = y - centre + (row - 1) / double(samples);
      lit += std::cos(36 * std::atan2(dy, dx)) > 0 ? 1 : 0;
    }
    const double fade = std::clamp(centre - std::hypot(x - centre, y - centre), 0.0, 1.0);
    return mixed(ground, mixed(ink, paper, lit / (samples * samples)), fade);
  });
}

// Line pairs of 2, 3, 4, 6 and 8 pixels a bar, upright above, lying below.
void paintBars(Canvas& canvas, const Rectangle& area) {
  constexpr std::array<int, 5> bars = {2, 3, 4, 6, 8};
  const int width = area.width / static_cast<int>(bars.size());
  const int height = area.height / 2;
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const int x = area.x + static_cast<int>(i) * width;
    const auto bar = [&](double along) { return static_cast<int>(along) / bars[i] % 2 == 0 ? ink : paper; };
    canvas.paint({x, area.y, width - 8, height - 8}, [&](double along, double) { return bar(along); });
    canvas.paint({x, area.y + height, width - 8, height - 8},
                 [&](double, double along) { return bar(along); });
  }
}

// A smooth ramp, dark at the left, over sixteen equal steps.
void paintRamp(Canvas& canvas, const Rectangle& area) {
  constexpr int steps = 16;
  const int half = area.height / 2;
  canvas.paint({area.x, area.y, area.width, half}, [&](double x, double) {
    const std::uint8_t level = grey(x / area.width);
    return Colour{level, level, level};
  });
  canvas.paint({area.x, area.y + half, area.width, area.height - half}, [&](double x, double) {
    const int step = std::min(static_cast<int>(x * steps / area.width), steps - 1);
    const std::uint8_t level = grey(step / (steps - 1.0));
    return Colour{level, level, level};
  });
}

// Each primary from dark to full, and the colours of the rainbow below.
void paintColourRamps(Canvas& canvas, const Rectangle& area) {
  constexpr std::array<Colour, 3> primaries = {{{255, 0, 0}, {0, 255, 0}, {0, 0, 255}}};
  const int height = area.height / 4;
  for (int row = 0; row < 3; ++row) {
    canvas.paint({area.x, area.y + row * height, area.width, height}, [&](double x, double) {
      return mixed({0, 0, 0}, primaries[static_cast<std::size_t>(row)], x / area.width);
    });
  }
  canvas.paint({area.x, area.y + 3 * height, area.width, area.height - 3 * height}, [&](double x, double) {
    const auto share = [&](double peak) {
      const double distance = std::abs(x / area.width - peak);
      return grey(std::clamp(2 - 6 * std::min(distance, 1 - distance), 0.0, 1.0));
    };
    return Colour{share(0), share(1.0 / 3), share(2.0 / 3)};
  });
}

// A scale of black and white along the rim, and a colour of its own in each corner.
void paintRim(Canvas& canvas) {
  constexpr int rim = 20;
  constexpr int corner = 80;
  const int right = canvas.width() - corner;
  const int bottom = canvas.height() - corner;
  canvas.paint({0, 0, canvas.width(), canvas.height()}, [&](double x, double y) {
    const bool inside = x > rim && y > rim && x < canvas.width() - rim && y < canvas.height() - rim;
    if (inside) return ground;
    return (static_cast<int>(x) / 40 + static_cast<int>(y) / 40) % 2 == 0 ? ink : paper;
  });
  canvas.fill({0, 0, corner, corner}, {214, 40, 40});
  canvas.fill({right, 0, corner, corner}, {40, 170, 70});
  canvas.fill({0, bottom, corner, corner}, {40, 80, 210});
  canvas.fill({right, bottom, corner, corner}, {240, 200, 30});
}

void paintNames(Canvas& canvas) {
  canvas.write(722, 34, "TOP", 9, paper);
  canvas.write(671, 1106, "BOTTOM", 8, paper);
  canvas.write(36, 586, "L", 8, paper);
  canvas.write(1524, 586, "R", 8, paper);
}

Scene paintChart() {
  Canvas canvas(chartWidth, chartHeight, ground);
  paintRim(canvas);
  paintNames(canvas);
  paintPatches(canvas, {100, 120, 900, 612});
  paintZonePlate(canvas, {1030, 120, 470, 470});
  paintRamp(canvas, {100, 760, 900, 130});
  paintBars(canvas, {100, 920, 900, 160});
  paintSlantedEdge(canvas, {1030, 620, 220, 220});
  paintStar(canvas, {1280, 620, 220, 220});
  paintColourRamps(canvas, {1030, 870, 470, 210});
  return {chartWidth, chartHeight, canvas.take()};
}

}  // namespace

std::shared_ptr<const Scene> Scene::chart() {
  static const std::shared_ptr<const Scene> chart = std::make_shared<const Scene>(paintChart());
  return chart;
}

}  // namespace sim

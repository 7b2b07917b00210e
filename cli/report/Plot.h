// Plots as SVG that stands in a page.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace cli {

struct Axis {
  std::string label;
  double least = 0;
  double greatest = 1;
  bool isLogarithmic = false;  // of one more than the value, so that 0 has a place

  // Where a value is, from 0 at the beginning to 1 at the end.
  double shareOf(double value) const;
};

struct Curve {
  std::string name;
  std::string cssClass;
  std::vector<std::pair<double, double>> points;
};

struct Plot {
  std::string id;
  std::string title;
  std::string description;  // for those who cannot see it
  Axis x;
  Axis y;
  std::vector<Curve> curves;
  bool isFilled = false;          // down to the x axis
  bool hasDots = false;           // at the points
  std::vector<double> verticals;  // lines for the eye
  std::vector<double> horizontals;
  unsigned width = 640;
  unsigned height = 250;
};

// The figure with its heading, and a legend when there are several curves.
std::string figureOf(const Plot& plot);

}  // namespace cli

// Paints the built-in chart.
#pragma once

#include <string_view>
#include <vector>

#include "sim/sensor/Scene.h"

namespace sim {

struct Rectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

class Canvas {
 public:
  Canvas(int width, int height, Colour ground);

  int width() const { return width_; }
  int height() const { return height_; }
  std::vector<Colour> take() { return std::move(pixels_); }

  void set(int x, int y, Colour colour);
  void fill(const Rectangle& area, Colour colour);

  // One colour for each pixel, from a function of its centre's distance from the area's corner.
  template <class Function>
  void paint(const Rectangle& area, Function colourAt) {
    for (int y = 0; y < area.height; ++y) {
      for (int x = 0; x < area.width; ++x) set(area.x + x, area.y + y, colourAt(x + 0.5, y + 0.5));
    }
  }

  // Capital letters and digits, 5x7 dots of `dot` pixels each; others are blanks.
  void write(int x, int y, std::string_view text, int dot, Colour colour);

 private:
  int width_;
  int height_;
  std::vector<Colour> pixels_;
};

}  // namespace sim

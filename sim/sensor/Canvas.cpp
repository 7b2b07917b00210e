#include "sim/sensor/Canvas.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace sim {

namespace {

constexpr int letterColumns = 5;
constexpr int letterRows = 7;

struct Letter {
  char name;
  std::array<std::uint8_t, letterRows> rows;  // bit 4 is the left dot
};

constexpr Letter letters[] = {
    {'B', {0b11110, 0b10001, 0b10001, 0b11110, 0b10001, 0b10001, 0b11110}},
    {'E', {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b11111}},
    {'F', {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b10000}},
    {'G', {0b01110, 0b10001, 0b10000, 0b10111, 0b10001, 0b10001, 0b01111}},
    {'H', {0b10001, 0b10001, 0b10001, 0b11111, 0b10001, 0b10001, 0b10001}},
    {'I', {0b01110, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'L', {0b10000, 0b10000, 0b10000, 0b10000, 0b10000, 0b10000, 0b11111}},
    {'M', {0b10001, 0b11011, 0b10101, 0b10101, 0b10001, 0b10001, 0b10001}},
    {'O', {0b01110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    {'P', {0b11110, 0b10001, 0b10001, 0b11110, 0b10000, 0b10000, 0b10000}},
    {'R', {0b11110, 0b10001, 0b10001, 0b11110, 0b10100, 0b10010, 0b10001}},
    {'T', {0b11111, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100}},
};

const Letter* find(char name) {
  const auto* found = std::find_if(std::begin(letters), std::end(letters),
                                   [&](const Letter& each) { return each.name == name; });
  return found == std::end(letters) ? nullptr : found;
}

}  // namespace

Canvas::Canvas(int width, int height, Colour ground)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), ground) {}

void Canvas::set(int x, int y, Colour colour) {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
  pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)] =
      colour;
}

void Canvas::fill(const Rectangle& area, Colour colour) {
  paint(area, [&](double, double) { return colour; });
}

void Canvas::write(int x, int y, std::string_view text, int dot, Colour colour) {
  for (const char name : text) {
    const Letter* letter = find(name);
    for (int row = 0; letter != nullptr && row < letterRows; ++row) {
      for (int column = 0; column < letterColumns; ++column) {
        if ((letter->rows[static_cast<std::size_t>(row)] >> (letterColumns - 1 - column) & 1) == 0) continue;
        fill({x + column * dot, y + row * dot, dot, dot}, colour);
      }
    }
    x += (letterColumns + 1) * dot;
  }
}

}  // namespace sim

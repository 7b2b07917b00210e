#include "sim/sensor/Scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

using sim::Colour;
using sim::Scene;

Colour grey(unsigned level) {
  const auto value = static_cast<std::uint8_t>(level);
  return {value, value, value};
}

class TemporaryFile {
 public:
  TemporaryFile(const char* name, const std::vector<std::uint8_t>& content)
      : path_(testing::TempDir() + name) {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    if (file == nullptr) throw std::runtime_error("no temporary file");
    std::fwrite(content.data(), 1, content.size(), file);
    std::fclose(file);
  }
  ~TemporaryFile() { std::remove(path_.c_str()); }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

void put(std::vector<std::uint8_t>& out, std::uint32_t value, unsigned bytes) {
  for (unsigned i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> 8 * i & 0xFF));
}

// A bitmap's header, 24 bits a pixel.
std::vector<std::uint8_t> bitmapHeader(std::uint32_t width, std::uint32_t height) {
  std::vector<std::uint8_t> bytes = {'B', 'M'};
  for (const std::uint32_t word : {0U, 0U, 54U, 40U, width, height}) put(bytes, word, 4);
  put(bytes, 1, 2);
  put(bytes, 24, 2);
  for (int i = 0; i < 6; ++i) put(bytes, 0, 4);
  return bytes;
}

std::string refusal(const std::string& path) {
  try {
    Scene::fromFile(path);
  } catch (const sim::SceneError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Scene, PlainIsTheSameEverywhere) {
  const auto pixels = Scene::plain({1, 2, 3})->render(5, 7);
  ASSERT_EQ(pixels.size(), 35U);
  for (const Colour& pixel : pixels) EXPECT_EQ(pixel, (Colour{1, 2, 3}));
}

TEST(Scene, KeepsPixelsAtItsOwnSize) {
  const std::vector<Colour> pixels = {{1, 2, 3}, {40, 50, 60}, {70, 80, 90}, {100, 110, 120}};
  EXPECT_EQ(Scene(2, 2, pixels).render(2, 2), pixels);
}

TEST(Scene, AveragesAreasWhenItShrinks) {
  const Scene scene(4, 2, {grey(0), grey(10), grey(100), grey(200), grey(20), grey(30), grey(100), grey(0)});
  EXPECT_EQ(scene.render(2, 1), (std::vector<Colour>{grey(15), grey(100)}));
}

TEST(Scene, AveragesPartlyCoveredPixels) {
  // Each of two pixels sees one and a half.
  const Scene scene(3, 2, {grey(90), grey(0), grey(240), grey(90), grey(0), grey(240)});
  EXPECT_EQ(scene.render(2, 1), (std::vector<Colour>{grey(60), grey(160)}));
}

TEST(Scene, InterpolatesWhenItGrows) {
  const Scene scene(2, 2, {grey(0), grey(100), grey(0), grey(100)});
  const auto pixels = scene.render(4, 4);
  EXPECT_EQ(pixels[0], grey(0));
  EXPECT_EQ(pixels[1], grey(25));
  EXPECT_EQ(pixels[2], grey(75));
  EXPECT_EQ(pixels[3], grey(100));
}

TEST(Scene, KeepsTheMiddleWhenProportionsDiffer) {
  const Scene wide(4, 2, {grey(1), grey(2), grey(3), grey(4), grey(5), grey(6), grey(7), grey(8)});
  EXPECT_EQ(wide.render(2, 2), (std::vector<Colour>{grey(2), grey(3), grey(6), grey(7)}));
  const Scene tall(1, 4, {grey(1), grey(2), grey(3), grey(4)});
  EXPECT_EQ(tall.render(1, 2), (std::vector<Colour>{grey(2), grey(3)}));
}

TEST(Scene, RendersNothingForNoPixels) {
  EXPECT_TRUE(Scene::chart()->render(0, 480).empty());
  EXPECT_TRUE(Scene::chart()->render(640, 0).empty());
}

TEST(Scene, RefusesPixelsThatDoNotFitTheSize) {
  EXPECT_THROW(Scene(2, 2, std::vector<Colour>(3)), sim::SceneError);
  EXPECT_THROW(Scene(0, 2, {}), sim::SceneError);
}

// Every edge of the chart looks different: no reflection or rotation goes unnoticed.
TEST(Scene, ChartTellsItsSidesApart) {
  const auto pixels = Scene::chart()->render(160, 120);
  const auto at = [&](unsigned x, unsigned y) { return pixels[y * 160 + x]; };
  const Colour topLeft = at(2, 2);
  const Colour topRight = at(157, 2);
  const Colour bottomLeft = at(2, 117);
  const Colour bottomRight = at(157, 117);
  EXPECT_TRUE(topLeft.red > 150 && topLeft.green < 100 && topLeft.blue < 100);
  EXPECT_TRUE(topRight.green > 150 && topRight.red < 100 && topRight.blue < 100);
  EXPECT_TRUE(bottomLeft.blue > 150 && bottomLeft.red < 100 && bottomLeft.green < 100);
  EXPECT_TRUE(bottomRight.red > 150 && bottomRight.green > 150 && bottomRight.blue < 100);
}

TEST(Scene, ChartHasARampFromBlackToWhite) {
  const auto pixels = Scene::chart()->render(1600, 1200);
  const Colour* ramp = pixels.data() + 780 * 1600;
  EXPECT_LT(ramp[101].red, 3);
  EXPECT_GT(ramp[998].red, 252);
  EXPECT_TRUE(std::is_sorted(ramp + 100, ramp + 1000, [](Colour a, Colour b) { return a.red < b.red; }));
}

TEST(Scene, ReadsABitmap) {
  std::vector<std::uint8_t> bytes = bitmapHeader(2, 2);
  // Bottom row first, blue first, rows padded to four bytes.
  for (const int byte : {7, 8, 9, 10, 11, 12, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0})
    bytes.push_back(static_cast<std::uint8_t>(byte));
  const TemporaryFile file("scene.bmp", bytes);
  EXPECT_EQ(Scene::fromFile(file.path())->render(2, 2),
            (std::vector<Colour>{{3, 2, 1}, {6, 5, 4}, {9, 8, 7}, {12, 11, 10}}));
}

TEST(Scene, SaysWhyAFileIsNoPicture) {
  const std::string missing = testing::TempDir() + "no such picture.jpg";
  EXPECT_EQ(refusal(missing), missing + ": cannot be opened");

  const TemporaryFile empty("empty.bmp", {});
  EXPECT_EQ(refusal(empty.path()), empty.path() + ": is not a BMP or JPEG picture (empty file)");

  const TemporaryFile text("text.bmp", {'h', 'e', 'l', 'l', 'o'});
  EXPECT_EQ(refusal(text.path()).find(text.path() + ": is not a BMP or JPEG picture ("), 0U);

  const TemporaryFile cut("cut.jpg", {0xFF, 0xD8, 0xFF, 0xE0, 0x00});
  EXPECT_EQ(refusal(cut.path()).find(cut.path() + ": is not a BMP or JPEG picture ("), 0U);
}

TEST(Scene, RefusesAbsurdSizes) {
  const TemporaryFile huge("huge.bmp", bitmapHeader(16384, 16384));
  EXPECT_EQ(refusal(huge.path()),
            huge.path() + ": is too large a picture (16384 x 16384 pixels; 64 megapixels at most)");
}

}  // namespace

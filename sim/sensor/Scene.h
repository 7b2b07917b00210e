// What is in front of the simulated camera.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

struct Colour {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  bool operator==(const Colour&) const = default;
};

struct SceneError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An image that a sensor of any size can look at.
class Scene {
 public:
  // Pictures with more pixels than this are refused.
  static constexpr std::uint64_t mostPixels = std::uint64_t{64} << 20;

  // pixels holds width * height colours, top row first; neither is 0.
  Scene(unsigned width, unsigned height, std::vector<Colour> pixels);

  // The built-in test chart: colour patches, slanted edge, zone plate, grey ramp.
  static std::shared_ptr<const Scene> chart();

  // One colour everywhere.
  static std::shared_ptr<const Scene> plain(Colour colour);

  // A BMP or JPEG file. Throws SceneError with a sentence for people when it is no picture.
  static std::shared_ptr<const Scene> fromFile(const std::string& path);

  // The content of such a file; errors call it by the name.
  static std::shared_ptr<const Scene> fromBytes(const std::string& name, std::vector<std::uint8_t> content);

  // The scene as a sensor of width x height pixels sees it: scaled to fill the sensor, the middle kept
  // when the proportions differ. width * height colours, top row first. Averages over the area of a
  // pixel when the scene is finer than the sensor, interpolates when it is coarser.
  std::vector<Colour> render(unsigned width, unsigned height) const;

 private:
  unsigned width_ = 0;
  unsigned height_ = 0;
  std::vector<Colour> pixels_;
};

}  // namespace sim

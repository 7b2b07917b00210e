#include "cli/pictures/DngWriter.h"

#include <algorithm>
#include <cmath>

#include "cli/pictures/TagDirectory.h"
#include "cli/pictures/Tags.h"

namespace pictures {

namespace {

constexpr std::uint8_t red = 0;
constexpr std::uint8_t green = 1;
constexpr std::uint8_t blue = 2;

constexpr std::array<std::array<std::uint8_t, 4>, 4> cells{{{green, red, blue, green},
                                                            {red, green, green, blue},
                                                            {blue, green, green, red},
                                                            {green, blue, red, green}}};

// From XYZ to the colours of the sRGB primaries under daylight: a sensor that was not measured is taken for
// one that sees these. Each row is one of the camera's colours.
constexpr std::array<Ratio, 9> fromXyz{{{32405, 10000},
                                        {-15371, 10000},
                                        {-4985, 10000},
                                        {-9693, 10000},
                                        {18760, 10000},
                                        {416, 10000},
                                        {556, 10000},
                                        {-2040, 10000},
                                        {10572, 10000}}};
constexpr std::uint16_t daylight65 = 21;

void checkLevels(const Mosaic& mosaic) {
  check(mosaic.picture);
  if (mosaic.picture.channels != 1 || mosaic.pattern >= cells.size()) {
    throw PictureError("a DNG file takes the samples of a Bayer mosaic");
  }
  if (mosaic.white == 0 || mosaic.white > 65535 || std::ranges::max(mosaic.black) >= mosaic.white) {
    throw PictureError("the black level must be below the white level");
  }
  for (const double gain : mosaic.gains) {
    if (!(gain >= 0.01 && gain <= 100)) throw PictureError("a colour's gain is 0.01 to 100");
  }
}

struct Crop {
  std::uint32_t x, y, width, height;
};

Crop cropOf(const Mosaic& mosaic) {
  const Picture& picture = mosaic.picture;
  if (mosaic.cropWidth == 0) return {0, 0, picture.width, picture.height};
  const bool isInside = mosaic.cropHeight > 0 && mosaic.cropX < picture.width &&
                        mosaic.cropY < picture.height && mosaic.cropWidth <= picture.width - mosaic.cropX &&
                        mosaic.cropHeight <= picture.height - mosaic.cropY;
  if (!isInside) throw PictureError("the part to show is not inside the picture");
  return {mosaic.cropX, mosaic.cropY, mosaic.cropWidth, mosaic.cropHeight};
}

void addImage(TagDirectory& tags, const Picture& picture) {
  constexpr std::uint16_t colourFilterArray = 32803;
  tags.addLongs(tag::newSubfileType, {0});
  tags.addLongs(tag::imageWidth, {picture.width});
  tags.addLongs(tag::imageLength, {picture.height});
  tags.addShorts(tag::bitsPerSample, {static_cast<std::uint16_t>(8 * picture.bytesPerSample)});
  tags.addShorts(tag::compression, {1});
  tags.addShorts(tag::photometricInterpretation, {colourFilterArray});
  if (!picture.description.empty()) tags.addText(tag::imageDescription, picture.description);
  tags.addText(tag::make, "KVEXA");
  tags.addText(tag::model, "camera module");
  tags.addShorts(tag::orientation, {1});
  tags.addShorts(tag::samplesPerPixel, {1});
  tags.addLongs(tag::rowsPerStrip, {picture.height});
  tags.addShorts(tag::planarConfiguration, {1});
  tags.addText(tag::software, "kvexa");
}

void addMosaic(TagDirectory& tags, const Mosaic& mosaic) {
  const auto [first, second, third, fourth] = cells[mosaic.pattern];
  tags.addShorts(tag::cfaRepeatPatternDim, {2, 2});
  tags.addBytes(tag::cfaPattern, {first, second, third, fourth});
  tags.addBytes(tag::cfaPlaneColor, {red, green, blue});
  tags.addShorts(tag::cfaLayout, {1});
  tags.addShorts(tag::blackLevelRepeatDim, {2, 2});
  tags.addShorts(tag::blackLevel, {mosaic.black[0], mosaic.black[1], mosaic.black[2], mosaic.black[3]});
  tags.addLongs(tag::whiteLevel, {mosaic.white});
  const Crop crop = cropOf(mosaic);
  tags.addLongs(tag::activeArea, {0, 0, mosaic.picture.height, mosaic.picture.width});
  tags.addLongs(tag::defaultCropOrigin, {crop.x, crop.y});
  tags.addLongs(tag::defaultCropSize, {crop.width, crop.height});
  constexpr std::array<Ratio, 2> squarePixels{{{1, 1}, {1, 1}}};
  tags.addRatios(tag::defaultScale, squarePixels);
}

void addColours(TagDirectory& tags, const Mosaic& mosaic) {
  std::array<Ratio, 3> neutral{};
  constexpr std::int32_t denominator = 10000;
  for (std::size_t i = 0; i < neutral.size(); ++i) {
    neutral[i] = {static_cast<std::int32_t>(std::lround(denominator * mosaic.gains[green] / mosaic.gains[i])),
                  denominator};
  }
  tags.addSignedRatios(tag::colorMatrix1, fromXyz);
  tags.addRatios(tag::asShotNeutral, neutral);
  tags.addShorts(tag::calibrationIlluminant1, {daylight65});
}

}  // namespace

Bytes dngOf(const Mosaic& mosaic) {
  checkLevels(mosaic);
  TagDirectory tags;
  tags.addBytes(tag::dngVersion, {1, 4, 0, 0});
  tags.addBytes(tag::dngBackwardVersion, {1, 1, 0, 0});
  tags.addText(tag::uniqueCameraModel, "KVEXA camera module");
  addImage(tags, mosaic.picture);
  addMosaic(tags, mosaic);
  addColours(tags, mosaic);
  return tags.fileAround(mosaic.picture.samples);
}

}  // namespace pictures

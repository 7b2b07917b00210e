// Baseline TIFF: grey or colour, not compressed, one strip.
#include <array>

#include "cli/pictures/Picture.h"
#include "cli/pictures/TagDirectory.h"
#include "cli/pictures/Tags.h"

namespace pictures {

Bytes tiffOf(const Picture& picture) {
  check(picture);
  constexpr std::uint16_t blackIsZero = 1;
  constexpr std::uint16_t rgb = 2;
  constexpr std::array resolution{Ratio{72, 1}};
  const auto bits = static_cast<std::uint16_t>(8 * picture.bytesPerSample);
  const bool isColour = picture.channels == 3;
  TagDirectory tags;
  tags.addLongs(tag::imageWidth, {picture.width});
  tags.addLongs(tag::imageLength, {picture.height});
  if (isColour) {
    tags.addShorts(tag::bitsPerSample, {bits, bits, bits});
  } else {
    tags.addShorts(tag::bitsPerSample, {bits});
  }
  tags.addShorts(tag::compression, {1});
  tags.addShorts(tag::photometricInterpretation, {isColour ? rgb : blackIsZero});
  if (!picture.description.empty()) tags.addText(tag::imageDescription, picture.description);
  tags.addShorts(tag::orientation, {1});
  tags.addShorts(tag::samplesPerPixel, {static_cast<std::uint16_t>(picture.channels)});
  tags.addLongs(tag::rowsPerStrip, {picture.height});
  tags.addRatios(tag::xResolution, resolution);
  tags.addRatios(tag::yResolution, resolution);
  tags.addShorts(tag::planarConfiguration, {1});
  tags.addShorts(tag::resolutionUnit, {2});
  tags.addText(tag::software, "kvexa");
  return tags.fileAround(picture.samples);
}

}  // namespace pictures

// Numbers of tags: TIFF 6.0, and DNG 1.4.
#pragma once

#include <cstdint>

namespace pictures::tag {

constexpr std::uint16_t newSubfileType = 254;
constexpr std::uint16_t imageWidth = 256;
constexpr std::uint16_t imageLength = 257;
constexpr std::uint16_t bitsPerSample = 258;
constexpr std::uint16_t compression = 259;
constexpr std::uint16_t photometricInterpretation = 262;
constexpr std::uint16_t imageDescription = 270;
constexpr std::uint16_t make = 271;
constexpr std::uint16_t model = 272;
constexpr std::uint16_t orientation = 274;
constexpr std::uint16_t samplesPerPixel = 277;
constexpr std::uint16_t rowsPerStrip = 278;
constexpr std::uint16_t xResolution = 282;
constexpr std::uint16_t yResolution = 283;
constexpr std::uint16_t planarConfiguration = 284;
constexpr std::uint16_t resolutionUnit = 296;
constexpr std::uint16_t software = 305;
constexpr std::uint16_t cfaRepeatPatternDim = 33421;
constexpr std::uint16_t cfaPattern = 33422;
constexpr std::uint16_t dngVersion = 50706;
constexpr std::uint16_t dngBackwardVersion = 50707;
constexpr std::uint16_t uniqueCameraModel = 50708;
constexpr std::uint16_t cfaPlaneColor = 50710;
constexpr std::uint16_t cfaLayout = 50711;
constexpr std::uint16_t blackLevelRepeatDim = 50713;
constexpr std::uint16_t blackLevel = 50714;
constexpr std::uint16_t whiteLevel = 50717;
constexpr std::uint16_t defaultScale = 50718;
constexpr std::uint16_t defaultCropOrigin = 50719;
constexpr std::uint16_t defaultCropSize = 50720;
constexpr std::uint16_t colorMatrix1 = 50721;
constexpr std::uint16_t asShotNeutral = 50728;
constexpr std::uint16_t calibrationIlluminant1 = 50778;
constexpr std::uint16_t activeArea = 50829;

}  // namespace pictures::tag

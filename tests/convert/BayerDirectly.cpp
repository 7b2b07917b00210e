#include "convert/bayer/BayerToRgb.h"
#include "kvexa.h"
#include "tests/convert/BayerUnderTest.h"

namespace kvexa::test::undertest {

std::int32_t raw8ToRgb888(const std::uint8_t* source, std::uint8_t* destination, std::uint32_t width,
                          std::uint32_t height, std::uint32_t pattern) {
  return convert::raw8ToRgb888(source, destination, width, height, pattern) ? KVEXA_OK : KVEXA_BAD_ARGUMENT;
}

}  // namespace kvexa::test::undertest

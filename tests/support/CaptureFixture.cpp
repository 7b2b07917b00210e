#include "tests/support/CaptureFixture.h"

#include <algorithm>

namespace kvexa::test {

namespace {

constexpr std::uint32_t modeRegister = 0x0102;
constexpr std::uint32_t continuousMode = 2;

}  // namespace

void CaptureFixture::stream(unsigned width, unsigned height) {
  startStreaming(width, height, 100);
  CapParam param{};
  param.HCNT = static_cast<std::uint16_t>(width);
  param.VCNT = static_cast<std::uint16_t>(height);
  param.BITWIDTH = 8;
  param.PORTMSBBIT = 7;
  ASSERT_EQ(KVEXA_OK, kVexaSetCapParam(&handle, &param));
  machine.trace().take();
}

void CaptureFixture::streamAndRelease(unsigned width, unsigned height) {
  stream(width, height);
  ASSERT_EQ(KVEXA_OK, kVexaFpgaWrite(&handle, modeRegister, 2, &continuousMode));
  machine.trace().take();
}

bool CaptureFixture::isAFrame(const std::uint8_t* bytes, std::size_t count) const {
  for (std::uint64_t number = 0; number < 10; ++number) {
    const auto frame = board.frameBytes(number);
    if (frame.size() == count && std::equal(frame.begin(), frame.end(), bytes)) return true;
  }
  return false;
}

}  // namespace kvexa::test

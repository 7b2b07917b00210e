#include "usb/capture/CaptureParameters.h"

#include <array>

#include "board/ColourMatrix.h"
#include "usb/registers/BoardRegisters.h"

namespace kvexa::usb {

namespace {

struct RegisterValue {
  Register address;
  std::uint32_t value;
};

constexpr std::uint32_t neutralShift = 8;

std::uint32_t portShift(const CapParam& p) {
  return p.HWEXCHG != 0 || p.SYNCMODE == 1 ? p.PORTMSBBIT - 7U : neutralShift;
}

std::uint32_t widthShift(const CapParam& p) {
  if (p.HWEXCHG == 1) return 0;
  if (p.HWEXCHG == 2) return neutralShift;
  if (p.SYNCMODE == 1 && p.PORTMSBBIT < p.BITWIDTH) return neutralShift;
  return p.BITWIDTH - p.PORTMSBBIT + 7U;
}

std::uint32_t smiaInput(const CapParam& p) {
  const std::uint32_t serialClass = p.SMIACLASS << 9U;
  // Only port 1 gets the enable bits and the input number. That is intended.
  return p.CAMPORT == 1 ? 0x500U | serialClass | (p.SMIAIN + 1U) : serialClass;
}

std::uint32_t captureFlags(const CapParam& p) {
  const std::uint32_t exchange = p.HWEXCHG == 1 ? 0x08U : 0U;
  const std::uint32_t sync = p.SYNCMODE << 6U | p.VPOR << 5U | p.HPOR << 4U;
  const std::uint32_t packing = p.SPACK == 1 ? 0x100U : p.SPACK == 2 ? 0x180U : 0U;
  return (exchange + sync) | packing;
}

std::uint32_t pair(std::uint16_t high, std::uint16_t low) { return high << 8U | low; }

bool isNarrow(const CapParam& p) { return p.HWEXCHG == 0 && p.BITWIDTH < 9 && p.SPACK == 0; }

std::array<RegisterValue, 15> registersFor(const CapParam& p) {
  return {{{Register::portShift, portShift(p)},
           {Register::widthShift, widthShift(p)},
           {Register::smiaInput, smiaInput(p)},
           {Register::captureControl, captureFlags(p)},
           {Register::frameSkip, p.FRMSKP},
           {Register::lineCodes, pair(p.EOLCODE, p.SOLCODE)},
           {Register::frameCodes, pair(p.EOFCODE, p.SOFCODE)},
           {Register::horizontalStart, p.HOFF},
           {Register::horizontalEnd, p.HOFF + std::uint32_t{p.HCNT}},
           {Register::verticalStart, p.VOFF},
           {Register::verticalEnd, p.VOFF + std::uint32_t{p.VCNT}},
           {Register::reduction, p.VREDUCT << 4U | std::uint32_t{p.HREDUCT}},
           {Register::bayerStage, p.HWEXCHG == 2 ? 1U : 0U},
           {Register::bayerPattern, p.B2R},
           {Register::narrowData, isNarrow(p) ? 1U : 0U}}};
}

Register matrixRegister(std::size_t index) {
  return static_cast<Register>(static_cast<std::size_t>(Register::colourMatrix) + 2 * index);
}

}  // namespace

std::int32_t setCapParam(HANDLE driver, const CapParam* param) {
  if (param == nullptr) return KVEXA_BAD_ARGUMENT;
  std::int32_t result = KVEXA_OK;
  for (const auto& [address, value] : registersFor(*param)) result |= writeRegister(driver, address, value);
  return result;
}

std::int32_t setColourMatrix(HANDLE driver, const double* values) {
  if (values == nullptr) return KVEXA_BAD_ARGUMENT;
  for (std::size_t i = 0; i < colourMatrixValues; ++i) {
    writeRegister(driver, matrixRegister(i), static_cast<std::uint32_t>(colourMatrixWord(i, values[i])));
  }
  return KVEXA_OK;
}

double setCaptureArea(HANDLE driver, std::uint32_t horizontalStart, std::uint32_t horizontalEnd,
                      std::uint32_t verticalStart, std::uint32_t verticalEnd) {
  writeRegister(driver, Register::horizontalStart, horizontalStart);
  writeRegister(driver, Register::horizontalEnd, horizontalEnd);
  writeRegister(driver, Register::verticalStart, verticalStart);
  writeRegister(driver, Register::verticalEnd, verticalEnd);
  return 0.0;
}

}  // namespace kvexa::usb

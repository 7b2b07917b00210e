#include "pcie/CaptureParameters.h"

#include <array>
#include <optional>

#include "board/ColourMatrix.h"
#include "pcie/BoardRegisters.h"

namespace kvexa::pcie {

namespace {

// One step: a register and its value, or nothing when the parameters are refused there. The registers of
// the steps before stay written.
struct Step {
  Register address;
  std::optional<std::uint32_t> (*value)(const CapParam& p);
};

using Value = std::optional<std::uint32_t>;

constexpr std::uint32_t areaMask = 0x1FFF;
constexpr std::uint32_t neutralShift = 8;

// The end code must have its low byte clear, and is shifted up all the same. That is intended.
Value codePair(std::uint32_t start, std::uint32_t end) {
  if (start > 0xFF || (end & 0xFF) != 0) return std::nullopt;
  return start | end << 8;
}

std::uint32_t flagIf(bool condition, std::uint32_t flag) { return condition ? flag : 0; }

Value captureFlags(const CapParam& p) {
  return flagIf(p.VPOR != 0, 0x20) | flagIf(p.HPOR != 0, 0x10) | flagIf(p.SPACK != 0, 0x100) |
         flagIf(p.SPACK == 2, 0x80) | flagIf(p.SYNCMODE != 0, 0x40) | flagIf(p.HWEXCHG == 1, 0x08);
}

Value portShift(const CapParam& p) {
  if (p.PORTMSBBIT > 15 || p.BITWIDTH > p.PORTMSBBIT + 1) return std::nullopt;
  const bool shifts = p.HWEXCHG == 1 || p.HWEXCHG == 2 || p.SYNCMODE == 1;
  return shifts ? p.PORTMSBBIT - 7U : neutralShift;
}

Value widthShift(const CapParam& p) {
  switch (p.HWEXCHG) {
    case 0: return p.BITWIDTH - p.PORTMSBBIT + 7U;
    case 1: return 0;
    case 2: return neutralShift;
    default: return std::nullopt;
  }
}

Value smiaInput(const CapParam& p) {
  if (p.SMIAIN > 4) return std::nullopt;
  if (p.CAMPORT == 0) return 0;
  return 0x500U | (p.SMIACLASS & 1U) << 9 | ((p.SMIAIN + 1U) & 7U);
}

constexpr std::array<Step, 15> steps{{
    {Register::horizontalStart,
     [](const CapParam& p) { return p.HCNT != 0 ? Value(p.HOFF & areaMask) : Value(); }},
    {Register::horizontalEnd,
     [](const CapParam& p) { return Value((p.HOFF + std::uint32_t{p.HCNT}) & areaMask); }},
    {Register::verticalStart,
     [](const CapParam& p) { return p.VCNT != 0 ? Value(p.VOFF & areaMask) : Value(); }},
    {Register::verticalEnd,
     [](const CapParam& p) { return Value((p.VOFF + std::uint32_t{p.VCNT}) & areaMask); }},
    {Register::reduction,
     [](const CapParam& p) { return Value((p.VREDUCT & 15U) << 4 | (p.HREDUCT & 15U)); }},
    {Register::frameSkip, [](const CapParam& p) { return Value(p.FRMSKP & 15U); }},
    {Register::captureControl, captureFlags},
    {Register::lineCodes, [](const CapParam& p) { return codePair(p.SOLCODE, p.EOLCODE); }},
    {Register::frameCodes, [](const CapParam& p) { return codePair(p.SOFCODE, p.EOFCODE); }},
    {Register::portShift, portShift},
    {Register::widthShift, widthShift},
    {Register::byteExchange, [](const CapParam& p) { return Value(flagIf(p.HWEXCHG == 2, 1)); }},
    {Register::bayerStage, [](const CapParam& p) { return Value(p.B2R); }},
    {Register::smiaInput, smiaInput},
    {Register::narrowData,
     [](const CapParam& p) { return Value(flagIf(p.HWEXCHG == 0 && p.BITWIDTH <= 8 && p.SPACK == 0, 1)); }},
}};

Register matrixRegister(std::size_t index) {
  return static_cast<Register>(static_cast<std::size_t>(Register::colourMatrix) + 4 * index);
}

// The low 16 bits count, and the register takes them sign-extended.
std::uint32_t signExtended(std::int32_t word) {
  const auto low = static_cast<std::int16_t>(word);
  return static_cast<std::uint32_t>(std::int32_t{low});
}

}  // namespace

std::int32_t setCapParam(HANDLE driver, const CapParam* param) {
  if (param == nullptr) return KVEXA_BAD_ARGUMENT;
  for (const Step& step : steps) {
    const Value value = step.value(*param);
    if (!value) return KVEXA_BAD_ARGUMENT;
    const std::int32_t result = writeRegister(driver, step.address, *value);
    if (result != KVEXA_OK) return result;
  }
  return KVEXA_OK;
}

std::int32_t setColourMatrix(HANDLE driver, const double* values) {
  if (values == nullptr) return KVEXA_BAD_ARGUMENT;
  for (std::size_t i = 0; i < colourMatrixValues; ++i) {
    writeRegister(driver, matrixRegister(i), signExtended(colourMatrixWord(i, values[i])));
  }
  return KVEXA_OK;  // whatever the writes did; that is intended
}

}  // namespace kvexa::pcie

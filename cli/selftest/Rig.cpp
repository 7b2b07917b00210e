#include "cli/selftest/Rig.h"

#include "cli/selftest/Check.h"

namespace cli::selftest {

namespace {

std::uint32_t registerBytes(const Rig& rig) { return rig.isUsb() ? 2 : 4; }

}  // namespace

void Rig::open() { kvexa::require("kVexaDevOpen", board_.open(boardType(), boardIndex())); }

std::uint32_t Rig::boardRegister(std::uint32_t address) const {
  std::uint32_t word = 0;
  expectOk("kVexaFpgaRead", kVexaFpgaRead(board(), address, registerBytes(*this), &word));
  return word;
}

void Rig::setBoardRegister(std::uint32_t address, std::uint32_t value) const {
  expectOk("kVexaFpgaWrite", kVexaFpgaWrite(board(), address, registerBytes(*this), &value));
}

std::vector<std::uint32_t> Rig::sensorBytes(std::uint32_t address, std::uint32_t count) const {
  std::vector<std::uint32_t> words(count);
  expectOk("kVexaRegRead",
           kVexaRegRead(board(), *sensor().slave, address, sensor().mode, count, words.data()));
  return words;
}

void Rig::setSensorBytes(std::uint32_t address, const std::vector<std::uint32_t>& bytes) const {
  expectOk("kVexaRegWrite", kVexaRegWrite(board(), *sensor().slave, address, sensor().mode,
                                          static_cast<std::uint32_t>(bytes.size()), bytes.data()));
}

std::int32_t Rig::askSensor(std::uint32_t slave, std::uint32_t mode) const {
  std::uint32_t word = 0;
  return kVexaRegRead(board(), slave, 0, mode, 1, &word);
}

void Rig::powerDown() const {
  expectOk("kVexaResetOn", kVexaResetOn(board()));
  expectOk("kVexaClockOff", kVexaClockOff(board()));
  expectOk("kVexaPowerV2Off", kVexaPowerV2Off(board()));
  expectOk("kVexaPowerV1Off", kVexaPowerV1Off(board()));
}

void Rig::powerUp() const {
  powerDown();
  expectOk("kVexaI2cOn", kVexaI2cOn(board()));
  expectOk("kVexaPowerV1On", kVexaPowerV1On(board()));
  expectOk("kVexaPowerV2On", kVexaPowerV2On(board()));
  expectOk("kVexaClockOn", kVexaClockOn(board()));
  expectOk("kVexaResetOff", kVexaResetOff(board()));
}

void Rig::stream(const CapParam& parameters) const {
  powerUp();
  if (!sensor().registers.empty()) {
    expectOk("kVexaSetI2cFile", kVexaSetI2cFile(sensor().registers.c_str(), board()));
  }
  for (const auto& [address, value] : sensor().writes) setSensorBytes(address, {value});
  expectOk("kVexaSetCapParam", kVexaSetCapParam(board(), &parameters));
}

kvexa::FrameLayout Rig::layoutOf(const CapParam& parameters) const {
  kvexa::FrameLayout layout;
  layout.bits = parameters.BITWIDTH;
  // A USB board moves whole units; a PCIe board puts frame behind frame.
  expectOk("kVexaCalcFrameSizeEx",
           kVexaCalcFrameSizeEx(&parameters, &layout.bytes, &layout.unit, &layout.width, &layout.height,
                                isUsb() ? KVEXA_ALIGN_512 : KVEXA_ALIGN_4));
  return layout;
}

std::vector<std::uint8_t> Rig::oneShot(std::uint32_t bytes, std::uint8_t mark, std::uint32_t timeout) const {
  std::vector<std::uint8_t> frame(bytes, mark);
  expectOk("kVexaOneShotCapture", kVexaOneShotCapture(board(), bytes, frame.data(), timeout));
  return frame;
}

CaptureMemory& Rig::newCapture(std::size_t bytes, std::size_t events, std::uint8_t mark) const {
  captures_.remove_if([](const CaptureMemory& each) { return each.isOver; });
  return captures_.emplace_back(bytes, events, mark);
}

double Rig::framePeriod() const {
  AutoActual actual{};
  expectOk("kVexaAutoActualEx", kVexaAutoActualEx(board(), &actual, patience));
  constexpr double unknown = 100.0;
  return actual.frameRate > 0.0 ? 1000.0 / actual.frameRate : unknown;
}

Kept::~Kept() {
  // The check has told already when the register cannot be written.
  kVexaFpgaWrite(rig_.board(), address_, registerBytes(rig_), &value_);
}

}  // namespace cli::selftest

// Supplies, clock, reset, lines and DIP switches, read back by every function that tells of them.
#include <array>

#include "cli/selftest/Check.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr std::uint32_t usbSwitchRegister = 0x000A;
constexpr std::uint32_t pcieSwitchRegister = 0x214;

struct Switch {
  const char* name;
  std::int32_t(KVEXA_CALL* on)(const BoardHandle*);
  std::int32_t(KVEXA_CALL* off)(const BoardHandle*);
  std::uint32_t (*isOn)(const SupplyStatus&);
};

template <auto member>
std::uint32_t onOf(const SupplyStatus& status) {
  return (status.*member).on;
}
template <auto member>
std::uint32_t lineOf(const SupplyStatus& status) {
  return status.*member;
}

const std::array<Switch, 6>& switches() {
  static const std::array<Switch, 6> all{{
      {"supply V1", kVexaPowerV1On, kVexaPowerV1Off, onOf<&SupplyStatus::v1>},
      {"supply V2", kVexaPowerV2On, kVexaPowerV2Off, onOf<&SupplyStatus::v2>},
      {"the clock", kVexaClockOn, kVexaClockOff, onOf<&SupplyStatus::clock>},
      {"the reset", kVexaResetOn, kVexaResetOff, lineOf<&SupplyStatus::resetOn>},
      {"the I2C lines", kVexaI2cOn, kVexaI2cOff, lineOf<&SupplyStatus::i2cOn>},
      {"the power switch", kVexaPowerSwControlOn, kVexaPowerSwControlOff,
       lineOf<&SupplyStatus::powerSwitchOn>},
  }};
  return all;
}

SupplyStatus supplies(const Rig& rig) {
  SupplyStatus status{};
  expectOk("kVexaGetSupplyStatus", kVexaGetSupplyStatus(rig.board(), &status));
  return status;
}

std::uint32_t switchRegister(const Rig& rig) { return rig.isUsb() ? usbSwitchRegister : pcieSwitchRegister; }

std::string text(const char* name, std::uint32_t on) {
  return std::string(name) + (on != 0 ? " on" : " off");
}

// Those that are told one by one tell the same as all together.
void expectSame(const Rig& rig) {
  const SupplyStatus all = supplies(rig);
  const auto compare = [](const char* name, const SwitchStatus& one, const SwitchStatus& other) {
    expectEqual("the state of " + std::string(name) + " in both readings", one.on, other.on);
    expectEqual("the hardware DIP of " + std::string(name) + " in both readings", one.hardwareDip,
                other.hardwareDip);
    expectEqual("the software DIP of " + std::string(name) + " in both readings", one.softwareDip,
                other.softwareDip);
  };
  SwitchStatus one{};
  expectOk("kVexaGetV1Status", kVexaGetV1Status(rig.board(), &one));
  compare("supply V1", one, all.v1);
  expectOk("kVexaGetV2Status", kVexaGetV2Status(rig.board(), &one));
  compare("supply V2", one, all.v2);
  expectOk("kVexaGetClockStatus", kVexaGetClockStatus(rig.board(), &one));
  compare("the clock", one, all.clock);
  std::uint32_t line = 0;
  expectOk("kVexaGetResetStatus", kVexaGetResetStatus(rig.board(), &line));
  expectEqual("the state of the reset in both readings", line, all.resetOn);
  // A USB board tells of its I2C lines by kVexaGetSupplyStatus alone.
  expectOk("kVexaGetI2cStatus", kVexaGetI2cStatus(rig.board(), &line));
  if (!rig.isUsb()) expectEqual("the state of the I2C lines in both readings", line, all.i2cOn);
}

void supplyStatus(Rig& rig) { expectSame(rig); }

// A switch moves, and no other one with it.
void switchesMove(Rig& rig) {
  const Kept kept(rig, switchRegister(rig));
  for (const Switch& each : switches()) {
    for (const std::uint32_t on : {0U, 1U, 0U}) {
      const SupplyStatus before = supplies(rig);
      expectOk("the switch of " + std::string(each.name), (on != 0 ? each.on : each.off)(rig.board()));
      const SupplyStatus after = supplies(rig);
      for (const Switch& other : switches()) {
        const std::uint32_t wanted = &other == &each ? on : other.isOn(before);
        expect(other.isOn(after) == wanted,
               text(other.name, wanted) + " once " + text(each.name, on) + " was asked for",
               text(other.name, other.isOn(after)));
      }
      expectSame(rig);
    }
  }
}

void powerSequence(Rig& rig) {
  const Kept kept(rig, switchRegister(rig));
  static PowerSequence sequence;
  sequence = {};
  sequence.stepCount = 2;
  sequence.steps[0] = {1, 0, 1, 0, 1, 20};
  sequence.steps[1] = {1, 1, 0, 1, 1, 30};
  const std::uint64_t begin = rig.pace().now();
  expectOk("kVexaPowerControl", kVexaPowerControl(rig.board(), &sequence));
  const std::uint64_t lasted = (rig.pace().now() - begin) / 1000;
  expect(lasted >= 49, "kVexaPowerControl to last 50 ms", std::to_string(lasted) + " ms");
  const SupplyStatus after = supplies(rig);
  const bool isAsAsked = after.v1.on == 1 && after.v2.on == 1 && after.clock.on == 1 && after.resetOn == 0;
  expect(isAsAsked, "V1, V2 and clock on and reset off behind the sequence",
         text("V1", after.v1.on) + ", " + text("V2", after.v2.on) + ", " + text("clock", after.clock.on) +
             ", " + text("reset", after.resetOn));
}

void dipSwitches(Rig& rig) {
  std::uint32_t hardware = 0;
  std::uint32_t before = 0;
  expectOk("kVexaGetHwDipStatus", kVexaGetHwDipStatus(rig.board(), &hardware));
  expectOk("kVexaGetSwDipStatus", kVexaGetSwDipStatus(rig.board(), &before));
  // A USB board writes the hardware switch's byte as well.
  const std::uint32_t above = rig.isUsb() ? hardware << 8 : 0;
  for (const std::uint32_t value : {0x55U, 0xAAU, before}) {
    const std::uint32_t written = above | value;
    expectOk("kVexaSetSwDip", kVexaSetSwDip(rig.board(), &written));
    std::uint32_t read = 0;
    expectOk("kVexaGetSwDipStatus", kVexaGetSwDipStatus(rig.board(), &read));
    expectHex("in the software DIP switch", value, read);
    expectOk("kVexaGetHwDipStatus", kVexaGetHwDipStatus(rig.board(), &read));
    expectHex("in the hardware DIP switch still", hardware, read);
  }
}

void outputLines(Rig& rig) {
  std::uint32_t before = 0;
  expectOk("kVexaGetDout", kVexaGetDout(rig.board(), &before));
  std::uint32_t inputs = 0;
  expectOk("kVexaGetDin", kVexaGetDin(rig.board(), &inputs));
  constexpr unsigned lines = 16;
  for (unsigned line = 0; line <= lines; ++line) {
    const std::uint32_t value = line == lines ? before : 1U << line;
    expectOk("kVexaSetDout", kVexaSetDout(rig.board(), value));
    std::uint32_t read = 0;
    expectOk("kVexaGetDout", kVexaGetDout(rig.board(), &read));
    expectHex("on the output lines", value, read);
  }
}

constexpr Check checks[] = {
    {"supply-status", bothBoards, nothing, supplyStatus},  {"switches", bothBoards, writes, switchesMove},
    {"power-sequence", bothBoards, writes, powerSequence}, {"dip-switches", bothBoards, writes, dipSwitches},
    {"output-lines", bothBoards, writes, outputLines},
};

}  // namespace

std::span<const Check> switchChecks() { return checks; }

}  // namespace cli::selftest

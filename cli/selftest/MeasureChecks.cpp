// Capture parameters in the registers, and what the board measures of the frames that come in.
#include <array>
#include <cmath>
#include <cstdio>

#include "cli/selftest/Check.h"
#include "cli/selftest/Frames.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr double rateTolerance = 0.01;

std::string rateText(double rate) {
  char text[40];
  std::snprintf(text, sizeof text, "%.2f frames a second", rate);
  return text;
}

void expectRate(const std::string& what, double expected, double found) {
  expect(std::abs(found - expected) <= rateTolerance * expected,
         what + " " + rateText(expected) + " within 1 %", rateText(found));
}

struct Place {
  const char* name;
  std::uint32_t usb;
  std::uint32_t pcie;
  std::uint32_t (*value)(const CapParam& p);
};

constexpr std::uint32_t columnsEnd(const CapParam& p) { return std::uint32_t{p.HOFF} + p.HCNT; }
constexpr std::uint32_t linesEnd(const CapParam& p) { return std::uint32_t{p.VOFF} + p.VCNT; }

// What of the parameters both boards keep as it is.
constexpr Place places[] = {
    {"the first column", 0x0302, 0x504, [](const CapParam& p) -> std::uint32_t { return p.HOFF; }},
    {"the column behind the area", 0x0304, 0x508, columnsEnd},
    {"the first line", 0x0306, 0x50C, [](const CapParam& p) -> std::uint32_t { return p.VOFF; }},
    {"the line behind the area", 0x0308, 0x510, linesEnd},
    {"the reduction", 0x030A, 0x514,
     [](const CapParam& p) { return std::uint32_t{p.VREDUCT} << 4 | p.HREDUCT; }},
    {"the frames to skip", 0x0106, 0x30C, [](const CapParam& p) -> std::uint32_t { return p.FRMSKP; }},
};

void parameters(Rig& rig) {
  const CapParam own = *rig.sensor().parameters;
  CapParam other = own;
  other.HOFF = 16;
  other.HCNT = 64;
  other.VOFF = 24;
  other.VCNT = 32;
  other.HREDUCT = 1;
  other.VREDUCT = 3;
  other.FRMSKP = 2;
  for (const CapParam& set : {other, own}) {
    expectOk("kVexaSetCapParam", kVexaSetCapParam(rig.board(), &set));
    for (const Place& place : places) {
      expectHex("as " + std::string(place.name) + " in its register", place.value(set),
                rig.boardRegister(rig.isUsb() ? place.usb : place.pcie));
    }
  }
}

AutoActual measured(const Rig& rig) {
  AutoActual actual{};
  expectOk("kVexaAutoActual", kVexaAutoActualEx(rig.board(), &actual, Rig::patience));
  return actual;
}

void measuredSize(Rig& rig) {
  rig.stream();
  const CapParam& p = *rig.sensor().parameters;
  const AutoActual actual = measured(rig);
  const auto text = [](std::uint32_t width, std::uint32_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
  };
  const bool isWhole = p.HOFF == 0 && p.VOFF == 0;
  const bool fits = actual.firstDimension >= columnsEnd(p) && actual.secondDimension >= linesEnd(p);
  const bool isSame = actual.firstDimension == columnsEnd(p) && actual.secondDimension == linesEnd(p);
  // An area that does not begin at the corner is a part of the frame.
  expect(isWhole && rig.sensor().standsStill ? isSame : fits,
         "measured frames of " + text(columnsEnd(p), linesEnd(p)),
         text(actual.firstDimension, actual.secondDimension));
  const AutoActual again = measured(rig);
  expect(actual.firstDimension == again.firstDimension && actual.secondDimension == again.secondDimension,
         "the same size when it is measured again", text(again.firstDimension, again.secondDimension));
}

void measuredRate(Rig& rig) {
  rig.stream();
  const double one = measured(rig).frameRate;
  const double other = kVexaGetFrameRate(rig.board());
  expect(one > 0.0, "a measured rate", "0");
  // Where an even number of periods fits the interval of the readings, the function cannot see the frames.
  if (other != 0.0) expectRate("kVexaGetFrameRate to give", one, other);
}

// The frames as they come, against what the board says of them.
void arrivingRate(Rig& rig) {
  rig.stream();
  const double told = measured(rig).frameRate;
  constexpr std::uint32_t frames = 30;
  const std::vector<Arrival> seen = captureCounted(rig, frames);
  const double seconds = static_cast<double>(seen.back().at - seen.front().at) / 1e6;
  expect(seconds > 0.0, "frames one after another", "all at once");
  const double skipped = rig.sensor().parameters->FRMSKP + 1.0;
  expectRate("frames at the measured rate of", told, (seen.size() - 1) * skipped / seconds);
}

void noRateWithoutFrames(Rig& rig) {
  rig.powerUp();
  expect(kVexaGetFrameRate(rig.board()) == 0.0, "a rate of 0 while no frames come",
         rateText(kVexaGetFrameRate(rig.board())));
}

void measurementWithoutFrames(Rig& rig) {
  rig.powerUp();
  AutoActual actual{};
  constexpr std::uint32_t timeout = 150;
  const std::uint64_t begin = rig.pace().now();
  expectResult("kVexaAutoActualEx while no frames come", rig.isUsb() ? KVEXA_OK : KVEXA_TIMED_OUT,
               kVexaAutoActualEx(rig.board(), &actual, timeout));
  const std::uint64_t lasted = (rig.pace().now() - begin) / 1000;
  expect(lasted + 1 >= timeout && lasted <= 2ULL * timeout, "it to end within 150 to 300 ms",
         std::to_string(lasted) + " ms");
}

void verticalSync(Rig& rig) {
  rig.stream();
  const double period = rig.framePeriod();
  // The first wait ends at the end of a frame, so each of those that follow lasts one.
  expectOk("kVexaWaitVSync", kVexaWaitVSync(rig.board(), 0));
  const std::uint64_t begin = rig.pace().now();
  constexpr unsigned waits = 4;
  for (unsigned i = 0; i < waits; ++i) expectOk("kVexaWaitVSync", kVexaWaitVSync(rig.board(), i & 1));
  const double lasted = static_cast<double>(rig.pace().now() - begin) / 1000.0;
  char wanted[80];
  std::snprintf(wanted, sizeof wanted, "four waits for the vertical sync to last %.1f ms", waits * period);
  expect(lasted > (waits - 0.6) * period && lasted < (waits + 0.6) * period, wanted,
         std::to_string(static_cast<int>(std::lround(lasted))) + " ms");
}

constexpr Check checks[] = {
    {"parameters", bothBoards, writes | frames, parameters},
    {"measured-size", bothBoards, writes | frames, measuredSize},
    {"measured-rate", bothBoards, writes | frames, measuredRate},
    {"arriving-rate", bothBoards, writes | frames, arrivingRate},
    {"no-rate-without-frames", bothBoards, writes | frames, noRateWithoutFrames},
    {"no-measurement-without-frames", bothBoards, writes | frames, measurementWithoutFrames},
    {"vertical-sync", usbOnly, writes | frames, verticalSync},
};

}  // namespace

std::span<const Check> measureChecks() { return checks; }

}  // namespace cli::selftest

#include "cli/selftest/SelfTestCommand.h"

#include <kvexa.hpp>

#include <chrono>
#include <cstdio>
#include <memory>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"
#include "cli/selftest/Check.h"
#include "cli/selftest/Frames.h"
#include "cli/selftest/Report.h"
#include "cli/selftest/Rig.h"
#include "sim/attach/Attachment.h"
#include "sim/bench/DescribedBench.h"

namespace cli {

namespace {

using namespace selftest;

constexpr std::uint16_t simulatedWidth = 320;
constexpr std::uint16_t simulatedHeight = 240;
constexpr std::uint32_t simulatedScratch = 0x3000;

// The boards, attached to the library as long as this lives.
struct SimulatedBoards {
  explicit SimulatedBoards(const sim::Description& described)
      : bench(described), attachment(GetModuleHandleA("KVEXA_LIB.dll"), bench.machine()) {}
  sim::DescribedBench bench;
  sim::Attachment attachment;
};

sim::Description describe(const SelfTestOptions& options) {
  sim::Description description;
  if (options.boards.empty()) {
    for (std::uint32_t i = 0; i <= options.boardIndex; ++i) {
      description.boards.emplace_back();
      description.boards.back().type = options.boardType;
    }
  } else {
    description = sim::readDescription(absoluteUtf8(options.boards));
  }
  // In real time the checks would last minutes, and a busy computer would fail them.
  description.pace = sim::Pace::simulated;
  return description;
}

CapParam simulatedParameters() {
  CapParam parameters{};
  parameters.HCNT = simulatedWidth;
  parameters.VCNT = simulatedHeight;
  parameters.PORTMSBBIT = 7;
  parameters.BITWIDTH = 8;
  parameters.INPUTFORMAT = KVEXA_INPUT_BYTE_1;
  return parameters;
}

std::uint32_t modeOf(const sim::SensorAddress& address) {
  const std::uint32_t first = address.slave > 0x7F ? KVEXA_SLAVE10_SUB8 : KVEXA_SLAVE7_SUB8;
  if (address.registerBits == 0) return first + 2;
  return address.registerBits == 8 ? first : first + 1;
}

// The simulated sensor in front of the checks: small frames that count themselves.
SensorSetup simulatedSensor(const SelfTestOptions& options, const sim::Description& description) {
  SensorSetup sensor;
  std::uint32_t index = 0;
  for (const sim::BoardDescription& board : description.boards) {
    if (board.type != options.boardType || index++ != options.boardIndex) continue;
    sensor.slave = board.address.slave;
    sensor.mode = modeOf(board.address);
  }
  const auto pair = [&](std::uint32_t address, unsigned value) {
    sensor.writes.emplace_back(address, static_cast<std::uint8_t>(value >> 8));
    sensor.writes.emplace_back(address + 1, static_cast<std::uint8_t>(value));
  };
  pair(sim::SensorRegister::width, simulatedWidth);
  pair(sim::SensorRegister::height, simulatedHeight);
  pair(sim::SensorRegister::framePeriod, 333);
  sensor.writes.emplace_back(sim::SensorRegister::noise, 0);
  sensor.writes.emplace_back(sim::SensorRegister::frameCounter, 1);
  sensor.writes.emplace_back(sim::SensorRegister::streaming, 1);
  sensor.scratch = simulatedScratch;
  sensor.parameters = simulatedParameters();
  sensor.drawsNumbers = true;
  sensor.standsStill = true;
  return sensor;
}

// The header of a register-setting file names the slave address and the mode.
void readHeader(const std::string& path, SensorSetup& sensor) {
  std::vector<RegisterTableEntry> table(KVEXA_REGISTER_TABLE_ENTRIES);
  std::uint32_t lines = 0;
  kvexa::require("kUsbIniFileToBuf", kUsbIniFileToBuf(path.c_str(), table.data(), &lines), path);
  sensor.slave = table[0].number;
  sensor.mode = table[0].values[0];
}

SensorSetup givenSensor(const SelfTestOptions& options) {
  SensorSetup sensor;
  if (!options.registers.empty()) {
    sensor.registers = options.registers;
    readHeader(options.registers, sensor);
  }
  if (!options.parameters.empty()) sensor.parameters = kvexa::readParameters(options.parameters);
  sensor.scratch = options.scratch;
  sensor.drawsNumbers = options.frameCounter;
  return sensor;
}

// Why a check is left out; empty when it is not.
std::string reasonAgainst(const Check& check, const Rig& rig, bool readOnly) {
  if ((check.boards & (rig.isUsb() ? usbOnly : pcieOnly)) == 0) {
    return rig.isUsb() ? "PCIe boards alone have this" : "USB boards alone have this";
  }
  if (readOnly && (check.needs & writes) != 0) return "--read-only leaves supplies and registers alone";
  const SensorSetup& sensor = rig.sensor();
  const bool needsSensor = (check.needs & (selftest::sensor | scratch | frames)) != 0;
  if (needsSensor && !sensor.slave) return "no sensor is known; --regs names its register settings";
  if ((check.needs & scratch) != 0 && !sensor.scratch) {
    return "no sensor registers are free to be written; --scratch names sixteen";
  }
  if ((check.needs & frames) != 0 && !sensor.parameters)
    return "no frames are known; --params describes them";
  if ((check.needs & numbers) != 0 && !showsNumbers(rig, *sensor.parameters)) {
    return "the frames show no numbers; --frame-counter says that they do";
  }
  return {};
}

// A check before may have left the board closed.
bool opens(Rig& rig) {
  if (rig.isOpen()) return true;
  try {
    rig.open();
  } catch (const kvexa::Error&) {
    return false;
  }
  return true;
}

// Every check begins with a board on which nothing runs.
void prepare(Rig& rig, const Check& check) {
  if (rig.isOpen() && (check.needs & frames) != 0) {
    kVexaAbortCapture(rig.board());
    if (rig.isUsb()) kVexaMultiShotCapArrayStop(rig.board());
  }
}

Finding made(const Check& check, Rig& rig) {
  Finding finding{check.name, Outcome::ok, {}, {}, {}, 0};
  try {
    prepare(rig, check);
    check.run(rig);
  } catch (const LeftOut& reason) {
    finding.outcome = Outcome::leftOut;
    finding.reason = reason.what();
  } catch (const Departure& departure) {
    finding.outcome = Outcome::failed;
    finding.expectation = departure.expectation;
    finding.finding = departure.finding;
  } catch (const std::exception& failure) {
    finding.outcome = Outcome::failed;
    finding.finding = failure.what();
  }
  return finding;
}

void runChecks(Rig& rig, const SelfTestOptions& options, Report& report) {
  for (const auto checks : {boardChecks, switchChecks, sensorChecks, measureChecks, frameChecks,
                            sequenceChecks, endingChecks, pcieChecks, conversionChecks}) {
    for (const Check& check : checks()) {
      const auto begin = std::chrono::steady_clock::now();
      std::string reason = reasonAgainst(check, rig, options.readOnly);
      if (reason.empty() && (check.needs & noBoard) == 0 && !opens(rig)) reason = "the board does not open";
      Finding finding =
          reason.empty() ? made(check, rig) : Finding{check.name, Outcome::leftOut, reason, {}, {}, 0};
      finding.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
      report.findings.push_back(finding);
      if (!options.json) std::printf("%s\n", lineOf(finding).c_str());
      std::fflush(stdout);
    }
  }
}

void leaveOff(Rig& rig, bool readOnly) {
  if (!rig.isOpen() || readOnly) return;
  try {
    kVexaAbortCapture(rig.board());
    rig.powerDown();
  } catch (const Departure&) {
    // The checks have told of a board that does not do what it is asked to.
  }
}

void writeFile(const std::string& path, const std::string& text) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!file || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
      std::fflush(file.get()) != 0) {
    throw Failure(path + ": cannot be written");
  }
}

}  // namespace

bool selfTest(const SelfTestOptions& options) {
  std::unique_ptr<SimulatedBoards> simulated;
  SensorSetup sensor = givenSensor(options);
  const bool isSimulated = options.simulate || !options.boards.empty();
  if (isSimulated) {
    const sim::Description description = describe(options);
    if (options.registers.empty() && options.parameters.empty())
      sensor = simulatedSensor(options, description);
    simulated = std::make_unique<SimulatedBoards>(description);
  }
  Report report{std::string(options.boardType == KVEXA_BOARD_USB ? "usb " : "pcie ") +
                    std::to_string(options.boardIndex),
                isSimulated,
                options.readOnly,
                {}};
  {
    const selftest::Pace pace(simulated ? &simulated->bench.machine().timeline() : nullptr);
    Rig rig({options.boardType, options.boardIndex, sensor}, pace);
    runChecks(rig, options, report);
    leaveOff(rig, options.readOnly);
  }
  std::printf("%s", options.json ? jsonOf(report).c_str() : (summaryOf(report) + "\n").c_str());
  if (!options.junit.empty()) writeFile(options.junit, junitOf(report));
  return report.count(Outcome::failed) == 0;
}

}  // namespace cli

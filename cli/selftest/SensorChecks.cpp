// The sensor bus: who acknowledges when, and what arrives of single, block and batch transfers.
#include <array>
#include <vector>

#include "cli/selftest/Check.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr std::uint32_t scratchRegisters = 16;
constexpr std::uint32_t absent7 = 0x5A;  // addresses at which nothing is
constexpr std::uint32_t absent10 = 0x2A5;

std::uint32_t absentSlave(const Rig& rig) {
  const std::uint32_t absent = rig.sensor().mode < KVEXA_SLAVE10_SUB8 ? absent7 : absent10;
  return *rig.sensor().slave == absent ? absent + 1 : absent;
}

void expectAnswer(const Rig& rig, bool wanted, const std::string& when) {
  const bool found = rig.answers();
  expect(found == wanted, std::string(wanted ? "an" : "no") + " acknowledge of the sensor " + when,
         found ? "one" : "none");
}

void acknowledge(Rig& rig) {
  rig.powerUp();
  expectAnswer(rig, true, "with supplies, clock and lines on and reset off");
  const std::uint32_t absent = absentSlave(rig);
  expect(rig.askSensor(absent, rig.sensor().mode) == KVEXA_NO_ACKNOWLEDGE,
         "no acknowledge at address " + hex(absent, 2), "one");
  struct Line {
    const char* when;
    std::int32_t(KVEXA_CALL* away)(const BoardHandle*);
  };
  const std::array<Line, 4> lines{{{"without supply V1", kVexaPowerV1Off},
                                   {"without clock", kVexaClockOff},
                                   {"in reset", kVexaResetOn},
                                   {"without the I2C lines", kVexaI2cOff}}};
  for (const Line& line : lines) {
    rig.powerUp();
    expectOk("the switch", line.away(rig.board()));
    expectAnswer(rig, false, line.when);
  }
  rig.powerUp();
  expectAnswer(rig, true, "once everything is on again");
}

// With what is switched on now; nothing is changed.
void acknowledgeAsItIs(Rig& rig) {
  SupplyStatus status{};
  expectOk("kVexaGetSupplyStatus", kVexaGetSupplyStatus(rig.board(), &status));
  const bool on = status.v1.on != 0 && status.clock.on != 0 && status.resetOn == 0 && status.i2cOn != 0;
  expectAnswer(rig, on, on ? "that is switched on" : "that is not switched on");
}

void identity(Rig& rig) {
  rig.powerUp();
  const auto first = rig.sensorBytes(0, 2);
  const auto second = rig.sensorBytes(0, 2);
  for (std::size_t i = 0; i < first.size(); ++i) {
    expectHex("in sensor register " + hex(static_cast<std::uint32_t>(i)) + " in both readings", first[i],
              second[i]);
  }
}

void reset(Rig& rig) {
  const std::uint32_t address = *rig.sensor().scratch;
  rig.powerUp();
  const std::uint32_t atFirst = rig.sensorBytes(address, 1)[0];
  rig.setSensorBytes(address, {atFirst ^ 0xFFU});
  expectOk("kVexaResetOn", kVexaResetOn(rig.board()));
  expectOk("kVexaResetOff", kVexaResetOff(rig.board()));
  expectHex("behind a reset in sensor register " + hex(address), atFirst, rig.sensorBytes(address, 1)[0]);
}

void singles(Rig& rig) {
  rig.powerUp();
  const std::uint32_t first = *rig.sensor().scratch;
  for (std::uint32_t i = 0; i < scratchRegisters; ++i) {
    rig.setSensorBytes(first + i, {(i * 29 + 3) & 0xFF});
  }
  for (std::uint32_t i = 0; i < scratchRegisters; ++i) {
    expectHex("in sensor register " + hex(first + i), (i * 29 + 3) & 0xFF, rig.sensorBytes(first + i, 1)[0]);
  }
  for (unsigned bit = 0; bit < 8; ++bit) {
    rig.setSensorBytes(first, {1U << bit});
    expectHex("in sensor register " + hex(first), 1U << bit, rig.sensorBytes(first, 1)[0]);
  }
}

std::vector<std::uint32_t> pattern(std::uint32_t seed) {
  std::vector<std::uint32_t> bytes(scratchRegisters);
  for (std::uint32_t i = 0; i < scratchRegisters; ++i) bytes[i] = (seed + i * 37) & 0xFF;
  return bytes;
}

void expectScratch(const Rig& rig, const std::vector<std::uint32_t>& wanted, const std::string& how) {
  const std::uint32_t first = *rig.sensor().scratch;
  for (std::uint32_t i = 0; i < wanted.size(); ++i) {
    expectHex(how + " in sensor register " + hex(first + i), wanted[i], rig.sensorBytes(first + i, 1)[0]);
  }
}

void blockWrite(Rig& rig) {
  rig.powerUp();
  const auto bytes = pattern(0x11);
  rig.setSensorBytes(*rig.sensor().scratch, bytes);
  expectScratch(rig, bytes, "behind a block write");
}

void blockRead(Rig& rig) {
  rig.powerUp();
  const std::uint32_t first = *rig.sensor().scratch;
  const auto bytes = pattern(0x42);
  for (std::uint32_t i = 0; i < scratchRegisters; ++i) rig.setSensorBytes(first + i, {bytes[i]});
  const auto read = rig.sensorBytes(first, scratchRegisters);
  for (std::uint32_t i = 0; i < scratchRegisters; ++i) {
    expectHex("in a block read of sensor register " + hex(first + i), bytes[i], read[i]);
  }
}

// The forms with the slave address of the bus.
void busAddresses(Rig& rig) {
  if (*rig.sensor().slave > 0x7F) throw LeftOut("the sensor has a 10-bit address");
  rig.powerUp();
  const std::uint32_t address = *rig.sensor().scratch;
  const std::uint32_t slave = *rig.sensor().slave << 1;
  const std::uint32_t written = 0x6D;
  expectOk("kVexaRegWriteS", kVexaRegWriteS(rig.board(), slave, address, rig.sensor().mode, 1, &written));
  expectHex("behind kVexaRegWriteS in sensor register " + hex(address), written,
            rig.sensorBytes(address, 1)[0]);
  std::uint32_t read = 0;
  expectOk("kVexaRegReadS", kVexaRegReadS(rig.board(), slave | 1, address, rig.sensor().mode, 1, &read));
  expectHex("by kVexaRegReadS in sensor register " + hex(address), written, read);
  expectResult("kVexaRegWriteS to a read address", KVEXA_BAD_ARGUMENT,
               kVexaRegWriteS(rig.board(), slave | 1, address, rig.sensor().mode, 1, &written));
}

void batch(Rig& rig) {
  if (rig.sensor().mode > KVEXA_SLAVE7_SUB16)
    throw LeftOut("batches know 7-bit addresses and registers alone");
  rig.powerUp();
  const auto bytes = pattern(0x77);
  std::vector<RegisterBatchEntry> entries;
  for (std::uint32_t i = 0; i < scratchRegisters; i += 2) {
    entries.push_back({*rig.sensor().scratch + i, &bytes[i], 2});
  }
  RegisterBatch many{*rig.sensor().slave, rig.sensor().mode == KVEXA_SLAVE7_SUB16 ? 1U : 0U, entries.data(),
                     static_cast<std::uint32_t>(entries.size())};
  expectOk("kVexaManyRegWrite", kVexaManyRegWrite(rig.board(), &many));
  expectScratch(rig, bytes, "behind a batch");
}

void busSpeed(Rig& rig) {
  rig.powerUp();
  const std::uint32_t wanted = rig.sensorBytes(0, 1)[0];
  for (const std::uint32_t speed : {1U, 0U}) {
    expectOk("kVexaSetI2Cspeed", kVexaSetI2Cspeed(rig.board(), speed));
    expectHex("at bus speed " + std::to_string(speed) + " in sensor register 0x0000", wanted,
              rig.sensorBytes(0, 1)[0]);
  }
}

// The board's own registers answer in both widths of a 7-bit address; all else only a sensor of that address
// can prove.
template <std::uint32_t mode>
void addressMode(Rig& rig) {
  constexpr std::uint32_t boardPort = 0;
  constexpr bool onBoard = mode == KVEXA_SLAVE7_SUB8 || mode == KVEXA_SLAVE7_SUB16;
  if (onBoard && rig.isUsb()) {
    std::uint32_t word = 0;
    for (const std::uint32_t written : {0x0306U, 0x0302U}) {
      expectOk("kVexaRegWrite to the board",
               kVexaRegWrite(rig.board(), KVEXA_SLAVE_BOARD, boardPort, mode, 2, &written));
      expectOk("kVexaRegRead of the board",
               kVexaRegRead(rig.board(), KVEXA_SLAVE_BOARD, boardPort, mode, 2, &word));
      expectHex("at the board's address port", written, word);
    }
  }
  const bool isTheSensors = rig.sensor().slave && rig.sensor().mode == mode;
  if (!isTheSensors) {
    if (onBoard && rig.isUsb()) return;
    throw LeftOut("no device that answers in this mode is known");
  }
  rig.powerUp();
  expectOk("kVexaRegRead of the sensor", rig.askSensor(*rig.sensor().slave, mode));
  expectResult("kVexaRegRead of address " + hex(absentSlave(rig), 2), KVEXA_NO_ACKNOWLEDGE,
               rig.askSensor(absentSlave(rig), mode));
}

void unknownMode(Rig& rig) {
  if (!rig.isUsb()) {
    expectResult("kVexaRegRead in mode 6", KVEXA_BAD_ARGUMENT, rig.askSensor(absent7, 6));
    return;
  }
  expectResult("kVexaRegRead in mode 6", KVEXA_BAD_ARGUMENT, rig.askSensor(KVEXA_SLAVE_BOARD, 6));
}

constexpr Check checks[] = {
    {"acknowledge-as-it-is", bothBoards, sensor, acknowledgeAsItIs},
    {"acknowledge", bothBoards, writes | sensor, acknowledge},
    {"sensor-identity", bothBoards, writes | sensor, identity},
    {"sensor-reset", bothBoards, writes | sensor | scratch, reset},
    {"sensor-registers", bothBoards, writes | sensor | scratch, singles},
    {"sensor-block-write", bothBoards, writes | sensor | scratch, blockWrite},
    {"sensor-block-read", bothBoards, writes | sensor | scratch, blockRead},
    {"sensor-bus-address", bothBoards, writes | sensor | scratch, busAddresses},
    {"sensor-batch", usbOnly, writes | sensor | scratch, batch},
    {"sensor-bus-speed", bothBoards, writes | sensor, busSpeed},
    {"address-mode-0", bothBoards, writes, addressMode<KVEXA_SLAVE7_SUB8>},
    {"address-mode-1", bothBoards, writes, addressMode<KVEXA_SLAVE7_SUB16>},
    {"address-mode-2", bothBoards, writes, addressMode<KVEXA_SLAVE7_NO_SUB>},
    {"address-mode-3", bothBoards, writes, addressMode<KVEXA_SLAVE10_SUB8>},
    {"address-mode-4", bothBoards, writes, addressMode<KVEXA_SLAVE10_SUB16>},
    {"address-mode-5", bothBoards, writes, addressMode<KVEXA_SLAVE10_NO_SUB>},
    {"address-mode-unknown", bothBoards, nothing, unknownMode},
};

}  // namespace

std::span<const Check> sensorChecks() { return checks; }

}  // namespace cli::selftest

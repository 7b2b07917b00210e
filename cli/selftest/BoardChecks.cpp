// Counting and opening, versions, status, and the registers of the board.
#include <kvexa.hpp>

#include <io.h>

#include <array>
#include <cstdio>

#include "cli/selftest/Check.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr std::uint32_t usbVersionRegister = 0x0002;
constexpr std::uint32_t pcieVersionRegister = 0x20;

// The corners of the capture area: plain registers of both boards, of which 13 bits count.
constexpr std::array<std::uint32_t, 4> usbArea{0x0302, 0x0304, 0x0306, 0x0308};
constexpr std::array<std::uint32_t, 4> pcieArea{0x504, 0x508, 0x50C, 0x510};
constexpr unsigned areaBits = 13;

const std::array<std::uint32_t, 4>& areaOf(const Rig& rig) { return rig.isUsb() ? usbArea : pcieArea; }

void count(Rig& rig) {
  std::uint32_t usb = 0;
  std::uint32_t pcie = 0;
  const std::int32_t sum = kVexaDevNum(&usb, &pcie);
  kvexa::require("kVexaDevNum", sum);
  expectEqual("kVexaDevNum to return the sum of both types,", std::uint64_t{usb} + pcie,
              static_cast<std::uint32_t>(sum));
  const std::uint32_t there = rig.isUsb() ? usb : pcie;
  expect(there > rig.boardIndex(), "at least " + std::to_string(rig.boardIndex() + 1) + " boards of the type",
         std::to_string(there));
}

void open(Rig& rig) {
  if (!rig.isOpen()) rig.open();
  BoardHandle second{};
  expectResult("kVexaDevOpen of an open board", KVEXA_OPEN_FAILED,
               kVexaDevOpen(rig.boardType(), rig.boardIndex(), &second));
  std::uint32_t usb = 0;
  std::uint32_t pcie = 0;
  kVexaDevNum(&usb, &pcie);
  expectResult("kVexaDevOpen behind the last board", KVEXA_OPEN_FAILED,
               kVexaDevOpen(rig.boardType(), rig.isUsb() ? usb : pcie, &second));
  rig.close();
  expectOk("kVexaDevOpen", kVexaDevOpen(rig.boardType(), rig.boardIndex(), &second));
  expectOk("kVexaDevClose", kVexaDevClose(&second));
  expectResult("a second kVexaDevClose", KVEXA_FAILED, kVexaDevClose(&second));
  rig.open();
}

// The library prints what it reads of version resources; the report stays as it is.
class QuietOutput {
 public:
  QuietOutput() : kept_((std::fflush(stdout), _dup(1))) {
    if (std::FILE* const nowhere = std::fopen("NUL", "wb")) {
      _dup2(_fileno(nowhere), 1);
      std::fclose(nowhere);
    }
  }
  ~QuietOutput() {
    std::fflush(stdout);
    if (kept_ < 0) return;
    _dup2(kept_, 1);
    _close(kept_);
  }
  QuietOutput(const QuietOutput&) = delete;
  QuietOutput& operator=(const QuietOutput&) = delete;

 private:
  int kept_;
};

void versions(Rig& rig) {
  std::array<std::array<std::uint32_t, 4>, 2> read{};
  const QuietOutput quiet;
  for (auto& [fpga, firmware, driver, library] : read) {
    expectOk("kVexaGetVersion", kVexaGetVersion(rig.board(), &fpga, &firmware, &driver, &library));
  }
  constexpr std::array<const char*, 4> names{"FPGA", "firmware", "driver", "library"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    expectHex("as the " + std::string(names[i]) + " version in both readings", read[0][i], read[1][i]);
  }
  expectHex("as the FPGA version in its register", read[0][0],
            rig.boardRegister(rig.isUsb() ? usbVersionRegister : pcieVersionRegister));
  expect(read[0][0] != 0, "an FPGA version", "0");
}

void status(Rig& rig) {
  std::array<std::uint8_t, KVEXA_STATUS_BLOCK_BYTES> block{};
  expectResult("kVexaGetUsbStatus of an idle board", 0, kVexaGetUsbStatus(rig.board(), block.data()));
  expectResult("kVexaRecovery of an idle board", 0, kVexaRecovery(rig.board()));
}

// A batch leaves the status as the transfer left it; other transfers see to it themselves.
void sendToNobody(const Rig& rig) {
  const std::uint32_t data = 0;
  RegisterBatchEntry entry{0, &data, 1};
  RegisterBatch batch{*rig.sensor().slave, rig.sensor().mode == KVEXA_SLAVE7_SUB8 ? 0U : 1U, &entry, 1};
  expectOk("kVexaManyRegWrite", kVexaManyRegWrite(rig.board(), &batch));
}

void statusOfErrors(Rig& rig) {
  constexpr std::int32_t busError = 0x60;
  std::array<std::uint8_t, KVEXA_STATUS_BLOCK_BYTES> block{};
  rig.powerDown();
  expectResult("kVexaRegRead of a sensor without supply", KVEXA_NO_ACKNOWLEDGE,
               rig.askSensor(*rig.sensor().slave, rig.sensor().mode));
  sendToNobody(rig);
  expectResult("kVexaGetUsbStatus behind an error on the sensor bus", busError,
               kVexaGetUsbStatus(rig.board(), block.data()));
  expectOk("kVexaStatusClear", kVexaStatusClear(rig.board()));
  expectResult("kVexaGetUsbStatus behind kVexaStatusClear", 0, kVexaGetUsbStatus(rig.board(), block.data()));
  sendToNobody(rig);
  expectResult("kVexaRecovery behind an error on the sensor bus", busError, kVexaRecovery(rig.board()));
  expectResult("kVexaGetUsbStatus behind kVexaRecovery", 0, kVexaGetUsbStatus(rig.board(), block.data()));
}

class KeptArea {
 public:
  explicit KeptArea(const Rig& rig)
      : left_(rig, areaOf(rig)[0]),
        right_(rig, areaOf(rig)[1]),
        top_(rig, areaOf(rig)[2]),
        bottom_(rig, areaOf(rig)[3]) {}

 private:
  Kept left_;
  Kept right_;
  Kept top_;
  Kept bottom_;
};

// Each register a value of its own, so that one that answers for another is seen.
void registersApart(Rig& rig) {
  const KeptArea kept(rig);
  for (const std::uint32_t address : areaOf(rig)) rig.setBoardRegister(address, address);
  for (const std::uint32_t address : areaOf(rig)) {
    expectHex("in register " + hex(address), address, rig.boardRegister(address));
  }
}

void registerBits(Rig& rig) {
  const KeptArea kept(rig);
  for (const std::uint32_t address : areaOf(rig)) {
    for (unsigned bit = 0; bit < areaBits; ++bit) {
      rig.setBoardRegister(address, 1U << bit);
      expectHex("in register " + hex(address), 1U << bit, rig.boardRegister(address));
    }
  }
}

// Consecutive registers in one transfer.
void registerBlocks(Rig& rig) {
  const KeptArea kept(rig);
  std::array<std::uint32_t, usbArea.size()> words{0x0123, 0x1456, 0x0789, 0x1ABC};
  constexpr std::uint32_t bytes = 2 * usbArea.size();
  expectOk("kVexaFpgaWrite", kVexaFpgaWrite(rig.board(), usbArea[0], bytes, words.data()));
  for (std::size_t i = 0; i < words.size(); ++i) {
    expectHex("behind a block transfer in register " + hex(usbArea[i]), words[i],
              rig.boardRegister(usbArea[i]));
  }
  std::array<std::uint32_t, usbArea.size()> read{};
  expectOk("kVexaFpgaRead", kVexaFpgaRead(rig.board(), usbArea[0], bytes, read.data()));
  for (std::size_t i = 0; i < words.size(); ++i) {
    expectHex("in a block from register " + hex(usbArea[i]), words[i], read[i]);
  }
}

constexpr Check checks[] = {
    {"count", bothBoards, noBoard, count},
    {"open", bothBoards, noBoard, open},
    {"versions", bothBoards, nothing, versions},
    {"status", usbOnly, nothing, status},
    {"status-of-errors", usbOnly, writes | sensor, statusOfErrors},
    {"registers-apart", bothBoards, writes, registersApart},
    {"register-bits", bothBoards, writes, registerBits},
    {"register-blocks", usbOnly, writes, registerBlocks},
};

}  // namespace

std::span<const Check> boardChecks() { return checks; }

}  // namespace cli::selftest

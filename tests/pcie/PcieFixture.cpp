#include "tests/pcie/PcieFixture.h"

#include <cstdio>

namespace kvexa::test {

namespace {

constexpr std::uint8_t mark = 0xA5;

HANDLE makeEvent() { return CreateEventA(nullptr, TRUE, FALSE, nullptr); }

}  // namespace

void PcieFixture::SetUp() {
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 0, &handle));
  machine.trace().take();
}

void PcieFixture::TearDown() {
  EXPECT_EQ(0U, machine.loans().lostLoans());
  if (handle.driverHandle != nullptr) {
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  }
  EXPECT_EQ(0U, machine.devices().openFiles());
  EXPECT_EQ(0U, machine.devices().openSets());
}

void PcieFixture::streamOn(const BoardHandle& onBoard, unsigned width, unsigned height, unsigned period) {
  for (const auto turn : {kVexaPowerV1On, kVexaPowerV2On, kVexaClockOn, kVexaI2cOn, kVexaResetOff}) {
    ASSERT_EQ(KVEXA_OK, turn(&onBoard));
  }
  const std::uint32_t size[] = {8,           width >> 8,   width & 0xFF, height >> 8, height & 0xFF,
                                period >> 8, period & 0xFF};
  const std::uint32_t one = 1;
  ASSERT_EQ(KVEXA_OK, kVexaRegWrite(&onBoard, 0x36, sim::SensorRegister::bits, 1, 7, size));
  ASSERT_EQ(KVEXA_OK, kVexaRegWrite(&onBoard, 0x36, sim::SensorRegister::frameCounter, 1, 1, &one));
  ASSERT_EQ(KVEXA_OK, kVexaRegWrite(&onBoard, 0x36, sim::SensorRegister::streaming, 1, 1, &one));
  CapParam param{};
  param.HCNT = static_cast<std::uint16_t>(width);
  param.VCNT = static_cast<std::uint16_t>(height);
  param.BITWIDTH = 8;
  param.PORTMSBBIT = 7;
  ASSERT_EQ(KVEXA_OK, kVexaSetCapParam(&onBoard, &param));
  machine.trace().take();
}

void PcieFixture::refuse(unsigned k) { board.faults().at(k, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE}); }

void PcieFixture::answer(unsigned k, std::uint32_t status) {
  board.faults().at(k, {sim::Fault::Kind::answer, status});
}

void PcieFixture::answerLater(unsigned k, std::uint32_t status) {
  board.faults().at(k, {sim::Fault::Kind::answerLater, status});
}

MultiShot::MultiShot(std::uint32_t bytes, std::uint32_t count, Events events)
    : frameBytes(bytes),
      frameCount(count),
      step((std::size_t{bytes} + 3) / 4 * 4),
      buffer(step * (count == 0 ? 1 : count) + 1, mark) {
  if (events != Events::endOnly) frameEvent = makeEvent();
  if (events != Events::frameOnly) endEvent = makeEvent();
}

MultiShot::~MultiShot() {
  for (const HANDLE event : {frameEvent, endEvent}) {
    if (event != nullptr) CloseHandle(event);
  }
}

std::int32_t MultiShot::start(const BoardHandle& board, std::uint32_t timeout) {
  return kVexaMultiShotCaptureEx(&board, frameBytes, frameCount, buffer.data(), timeout, frameEvent, endEvent,
                                 &resultWord);
}

std::int32_t MultiShot::result() {
  await(endEvent);
  return resultWord;
}

void MultiShot::awaitFrame() {
  await(frameEvent);
  ResetEvent(frameEvent);
}

std::string word(std::uint32_t value) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(value));
  return digits;
}

std::string addressWord(const void* pointer) {
  return word(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer)));
}

std::string request(const std::string& name, const std::vector<std::uint32_t>& words,
                    const std::string& board) {
  std::string line = board + " " + name + " [";
  for (const std::uint32_t each : words) line.append(line.ends_with('[') ? "" : " ").append(word(each));
  return line + "]";
}

std::string readRegister(std::uint32_t address, std::uint32_t value) {
  return request("readRegister", {0, address, 0}) + " -> 00000000 " + word(value) + "\n";
}

std::string writeRegister(std::uint32_t address, std::uint32_t value) {
  return done(request("writeRegister", {0, address, value}));
}

std::string stopped() { return done(request("stop", {0})); }

std::string intervalsCancelled(const BoardHandle& board) {
  return done("pcie0 cancelInterval [" + addressWord(board.driverHandle) + "]");
}

std::string done(const std::string& request, std::uint32_t status) {
  return request + " -> " + word(status) + "\n";
}

std::string pending(const std::string& request) { return request + " pending\n"; }

std::string complete(const std::string& name, std::uint32_t status) {
  return "pcie0 " + name + " complete " + word(status) + "\n";
}

}  // namespace kvexa::test

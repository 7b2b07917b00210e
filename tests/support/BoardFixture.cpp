#include "tests/support/BoardFixture.h"

namespace kvexa::test {

HMODULE libraryModule() { return GetModuleHandleA("KVEXA_LIB.dll"); }

void BoardFixture::SetUp() {
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &handle));
  machine.trace().take();
}

void BoardFixture::TearDown() {
  if (handle.driverHandle != nullptr) {
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  }
  EXPECT_EQ(0U, machine.devices().openFiles());
  EXPECT_EQ(0U, machine.devices().openSets());
}

void BoardFixture::bringUpSensor() {
  for (const auto turn :
       {kVexaPowerSwControlOn, kVexaPowerV1On, kVexaPowerV2On, kVexaClockOn, kVexaI2cOn, kVexaResetOff}) {
    ASSERT_EQ(KVEXA_OK, turn(&handle));
  }
  machine.trace().take();
}

void BoardFixture::writeSensor(unsigned address, unsigned value) {
  const std::uint32_t word = value;
  ASSERT_EQ(KVEXA_OK, kVexaRegWrite(&handle, 0x36, address, KVEXA_SLAVE7_SUB16, 1, &word));
  machine.trace().take();
}

void BoardFixture::writeSensorPair(unsigned address, unsigned value) {
  const std::uint32_t words[] = {value >> 8, value & 0xFFU};
  ASSERT_EQ(KVEXA_OK, kVexaRegWrite(&handle, 0x36, address, KVEXA_SLAVE7_SUB16, 2, words));
  machine.trace().take();
}

void BoardFixture::startStreaming(unsigned width, unsigned height, unsigned framePeriod) {
  bringUpSensor();
  writeSensor(sim::SensorRegister::bits, 8);
  writeSensorPair(sim::SensorRegister::width, width);
  writeSensorPair(sim::SensorRegister::height, height);
  writeSensorPair(sim::SensorRegister::framePeriod, framePeriod);
  writeSensor(sim::SensorRegister::streaming, 1);
  ASSERT_TRUE(board.sensor().isStreaming());
}

void BoardFixture::refuse(unsigned k) { board.faults().at(k, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE}); }

void BoardFixture::queueStatus(unsigned times, std::uint8_t code, char digit) {
  for (unsigned i = 0; i < times; ++i) board.queueStatus(code, digit);
}

}  // namespace kvexa::test

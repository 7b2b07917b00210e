// One simulated USB board, opened through the library under test.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "kvexa.h"
#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"
#include "tests/support/ExpectedTrace.h"
#include "tests/support/SimulatedTime.h"

namespace kvexa::test {

// The library's module, as the program's loader found it.
HMODULE libraryModule();

// A computer whose boards the test adds itself.
class MachineTest : public ::testing::Test {
 protected:
  // The lines since the last call, as one text.
  std::string trace() { return traceText(machine.trace().take()); }

  sim::Machine machine;

 private:
  sim::Attachment attachment_{libraryModule(), machine};
  TakesPart takesPart_{machine.timeline()};
};

class BoardFixture : public MachineTest {
 protected:
  void SetUp() override;

  // The test fails when something that the library took from Windows was not given back.
  void TearDown() override;

  // Powers and clocks the sensor, connects its bus and takes it out of reset.
  void bringUpSensor();

  // Writes a sensor register of one byte, or of two, high byte first.
  void writeSensor(unsigned address, unsigned value);
  void writeSensorPair(unsigned address, unsigned value);

  // Brings the sensor up and lets it stream frames of 8-bit samples.
  void startStreaming(unsigned width, unsigned height, unsigned framePeriod);

  // Refuses the k-th request from now as a driver does.
  void refuse(unsigned k);

  // The next `times` readings of the board's status answer `code`.
  void queueStatus(unsigned times, std::uint8_t code, char digit = '0');

  sim::usb::Board& board = machine.addUsbBoard();
  BoardHandle handle{};
};

// What the tests put where the library must not write.
constexpr std::uint32_t untouched = 0xA5A5A5A5U;

}  // namespace kvexa::test

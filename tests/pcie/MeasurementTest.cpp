// Measuring the frames that come in, and the notification of frame starts.
#include <algorithm>
#include <cmath>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

constexpr AutoActual untouchedActual{untouched, untouched, -1.0};

class PcieMeasurement : public PcieFixture {
 protected:
  static void expectUntouched(const AutoActual& actual) {
    EXPECT_EQ(untouched, actual.firstDimension);
    EXPECT_EQ(untouched, actual.secondDimension);
    EXPECT_EQ(-1.0, actual.frameRate);
  }
};

const std::string measureRequest = request("autoActual", {0, 0, 0, 0});

TEST_F(PcieMeasurement, DimensionsAndRateOfTheFramesThatCome) {
  stream(320, 200, 250);
  AutoActual actual = untouchedActual;
  EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
  EXPECT_EQ(320U, actual.firstDimension);
  EXPECT_EQ(200U, actual.secondDimension);
  EXPECT_EQ(40.0, actual.frameRate);
  const auto lines = machine.trace().take();
  ASSERT_EQ(2U, lines.size());
  EXPECT_EQ(pending(measureRequest), lines[0] + "\n");
  EXPECT_EQ(0U, lines[1].find("pcie0 autoActual complete 00000000 00000140 000000c8 0000"));
}

struct StatusResult {
  std::uint32_t status;
  std::int32_t plain;
  std::int32_t within;
};

const StatusResult results[] = {
    {0x1000, KVEXA_MEASURE_FAILED, KVEXA_OK},
    {0x1001, KVEXA_DRIVER_1001, KVEXA_DRIVER_1001},
    {0x1002, KVEXA_OK, KVEXA_OK},
    {0x1003, KVEXA_OK, KVEXA_OK},
    {0x1004, KVEXA_OK, KVEXA_OK},
    {0x2000, KVEXA_OK, KVEXA_OK},
    {0x2009, KVEXA_OK, KVEXA_OK},
    {0x3000, KVEXA_DRIVER_3000, KVEXA_DRIVER_3000},
    {0x3001, KVEXA_DRIVER_3001, KVEXA_DRIVER_3001},
    {0x7777, KVEXA_OK, KVEXA_OK},
};

TEST_F(PcieMeasurement, EveryStatusHasItsResult) {
  stream(64, 64);
  for (const auto& row : results) {
    for (const bool later : {false, true}) {
      SCOPED_TRACE(testing::Message() << "status " << row.status << (later ? " later" : " at once"));
      const auto meet = [&] { later ? answerLater(1, row.status) : answer(1, row.status); };
      AutoActual actual = untouchedActual;
      meet();
      EXPECT_EQ(row.plain, kVexaAutoActual(&handle, &actual));
      if (row.plain != KVEXA_OK) expectUntouched(actual);
      if (row.plain == KVEXA_OK && later) {
        EXPECT_EQ(64U, actual.firstDimension);
      }
      actual = untouchedActual;
      meet();
      EXPECT_EQ(row.within, kVexaAutoActualEx(&handle, &actual, 1000));
      if (row.within != KVEXA_OK) expectUntouched(actual);
      if (row.within == KVEXA_OK && later) {
        EXPECT_EQ(64U, actual.firstDimension);
      }
    }
  }
}

TEST_F(PcieMeasurement, RefusalLeavesTheRecord) {
  AutoActual actual = untouchedActual;
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAutoActual(&handle, &actual));
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAutoActualEx(&handle, &actual, 10));
  expectUntouched(actual);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaAutoActual(&handle, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaAutoActualEx(&handle, nullptr, 10));
}

// The driver answers at once without a measurement: a period of 0 is no rate.
TEST_F(PcieMeasurement, PeriodOfZeroIsNoRate) {
  answer(1, 0);
  AutoActual actual = untouchedActual;
  EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
  EXPECT_EQ(0.0, actual.frameRate);
}

// A period word of which only the toggle bit is set divides by zero. That is intended.
TEST_F(PcieMeasurement, PeriodOfOnlyTheToggleBitIsInfinite) {
  stream(64, 64, 0x8000);
  // A measurement takes two frames, so two of them that begin one frame apart see the bit clear and set.
  double rates[2];
  for (double& rate : rates) {
    AutoActual actual = untouchedActual;
    ASSERT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
    rate = actual.frameRate;
    machine.clock().advance(0x8000 * 100);
  }
  EXPECT_EQ(0.0, std::min(rates[0], rates[1]));
  EXPECT_TRUE(std::isinf(std::max(rates[0], rates[1])));
}

TEST_F(PcieMeasurement, TimeOutStopsTheMeasurement) {
  stream(64, 64, 1000);  // 100 ms a frame
  AutoActual actual = untouchedActual;
  const auto start = machine.clock().now();
  EXPECT_EQ(KVEXA_TIMED_OUT, kVexaAutoActualEx(&handle, &actual, 50));
  EXPECT_EQ(start + 50000, machine.clock().now());
  expectUntouched(actual);
  EXPECT_EQ(pending(measureRequest) + stopped() + complete("autoActual", 0x1000), trace());
  EXPECT_EQ(0U, board.pending());
}

TEST_F(PcieMeasurement, MeasurementWithinItsTimeOutSucceeds) {
  stream(64, 64, 1000);
  AutoActual actual = untouchedActual;
  EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, 300));
  EXPECT_EQ(10.0, actual.frameRate);
}

TEST_F(PcieMeasurement, TimeOutOfZeroIsNoLimit) {
  stream(64, 64, 30000);  // 3 s a frame
  AutoActual actual = untouchedActual;
  EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, 0));
  EXPECT_EQ(64U, actual.firstDimension);
  EXPECT_GE(machine.clock().now(), 6000000U);
}

// Without frames both wait; a stop from another thread ends them.
TEST_F(PcieMeasurement, WithoutFramesTheMeasurementWaitsForAStop) {
  for (const bool within : {false, true}) {
    AutoActual actual = untouchedActual;
    std::int32_t result = 1;
    Thread measuring([&] {
      result = within ? kVexaAutoActualEx(&handle, &actual, 0) : kVexaAutoActual(&handle, &actual);
    });
    until([&] { return board.pending(sim::pcie::Wait::measurement) == 1; });
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    measuring.join();
    // With a time-out, status 0x1000 counts as success. That is intended.
    EXPECT_EQ(within ? KVEXA_OK : KVEXA_MEASURE_FAILED, result);
  }
}

// ---- Frame rate ----

std::string rateReadings(unsigned count) {
  std::string lines = "pcie0 readRegister";
  for (unsigned i = 0; i < count; ++i) lines += ", sleep 10, pcie0 readRegister";
  return lines + ", pcie0 readRegister";
}

class PcieFrameRate : public PcieFixture {
 protected:
  // The requests and sleeps, without their words.
  std::string outline() {
    std::string text;
    for (const auto& line : machine.trace().take()) {
      text += (text.empty() ? "" : ", ") + line.substr(0, line.find(" ["));
    }
    return text;
  }
};

TEST_F(PcieFrameRate, RateOfTheFramesThatCome) {
  stream(64, 64, 333);
  EXPECT_DOUBLE_EQ(10000.0 / 333, kVexaGetFrameRate(&handle));
}

TEST_F(PcieFrameRate, ReadingGoesOnUntilTheToggleBitChanges) {
  stream(64, 64, 300);  // 30 ms
  // The stream began some time before; the bit changes within 30 ms.
  EXPECT_DOUBLE_EQ(10000.0 / 300, kVexaGetFrameRate(&handle));
  const std::string seen = outline();
  EXPECT_TRUE(seen == rateReadings(1) || seen == rateReadings(2) || seen == rateReadings(3)) << seen;
}

// 5 ms a frame: at each reading two frames more, and the bit as before.
TEST_F(PcieFrameRate, FramesInStepWithTheReadingsSeemToStandStill) {
  stream(64, 64, 50);
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
  AutoActual actual{};
  EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
  EXPECT_DOUBLE_EQ(200.0, actual.frameRate);
}

TEST_F(PcieFrameRate, WithoutFramesItIsZeroAfterABitMoreThanASecond) {
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
  EXPECT_EQ(1010000U, machine.clock().now());
  EXPECT_EQ(rateReadings(101), outline());
}

TEST_F(PcieFrameRate, FailedReadingsAreIgnored) {
  stream(64, 64, 300);
  for (unsigned k = 1; k <= 4; ++k) {
    refuse(k);
    EXPECT_DOUBLE_EQ(10000.0 / 300, kVexaGetFrameRate(&handle)) << k;
    board.faults().clear();
  }
  board.faults().from(1, {sim::Fault::Kind::refuse, 31});
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
}

// ---- Interval notification ----

class PcieInterval : public PcieFixture {
 protected:
  ~PcieInterval() override { CloseHandle(overlapped.hEvent); }

  OVERLAPPED overlapped{0, 0, {}, CreateEventA(nullptr, TRUE, FALSE, nullptr)};
};

const std::string intervalRequest = request("interval", {0, 0});

TEST_F(PcieInterval, IntervalLosesItsTwoLowBits) {
  EXPECT_EQ(KVEXA_OK, kVexaSetWaitIntervalParam(&handle, 7));
  EXPECT_EQ(KVEXA_OK, kVexaSetWaitIntervalParam(&handle, 3));
  EXPECT_EQ(KVEXA_OK, kVexaSetWaitIntervalParam(&handle, 0xFFFFFFFF));
  EXPECT_EQ(writeRegister(0x40, 4) + writeRegister(0x40, 0) + writeRegister(0x40, 0xFFFFFFFC), trace());
}

TEST_F(PcieInterval, IntervalOfZeroIsRefused) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetWaitIntervalParam(&handle, 0));
  EXPECT_EQ("", trace());
}

TEST_F(PcieInterval, IntervalsResultIsAlwaysGood) {
  refuse(1);
  EXPECT_EQ(KVEXA_OK, kVexaSetWaitIntervalParam(&handle, 7));
  answer(1, 0x3000);
  EXPECT_EQ(KVEXA_OK, kVexaSetWaitIntervalParam(&handle, 7));
}

TEST_F(PcieInterval, WaitIsArmedAndReturnsAtOnce) {
  EXPECT_EQ(KVEXA_OK, kVexaWaitInterval(&handle, &overlapped));
  EXPECT_EQ(pending(intervalRequest), trace());
  EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(overlapped.hEvent, 0));
  EXPECT_EQ(1U, board.pending(sim::pcie::Wait::interval));
  EXPECT_EQ(KVEXA_OK, kVexaCancelInterval(&handle));
  EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(overlapped.hEvent, 0));
  EXPECT_EQ(intervalsCancelled(handle) + complete("interval", 0x1000), trace());
}

TEST_F(PcieInterval, EventComesWithEveryInterval) {
  stream(128, 8);
  MultiShot capture(1024, 8, MultiShot::Events::endOnly);
  ASSERT_EQ(KVEXA_OK, kVexaSetWaitIntervalParam(&handle, 2048));
  ASSERT_EQ(KVEXA_OK, kVexaWaitInterval(&handle, &overlapped));
  ASSERT_EQ(KVEXA_OK, capture.start(handle));
  unsigned notices = 0;
  while (notices < 4) {
    ASSERT_TRUE(await(overlapped.hEvent));
    ++notices;
    // So many frames are there.
    for (unsigned i = 0; i < 2 * notices; ++i) {
      const auto frame = board.frameBytes(i);
      EXPECT_NE(0xA5, capture.frame(i)[1023]) << notices << ", " << i;
    }
    ASSERT_EQ(KVEXA_OK, kVexaWaitInterval(&handle, &overlapped));
  }
  EXPECT_EQ(KVEXA_OK, capture.result());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
}

TEST_F(PcieInterval, StatusOnReturnHasItsResult) {
  const struct {
    std::uint32_t status;
    std::int32_t result;
  } rows[] = {{0x0000, KVEXA_OK},          {0x1000, KVEXA_OK},
              {0x1001, KVEXA_DRIVER_1001}, {0x1002, KVEXA_MEASURE_FAILED},
              {0x1003, KVEXA_OK},          {0x1004, KVEXA_OK},
              {0x2000, KVEXA_OK},          {0x2009, KVEXA_OK},
              {0x3000, KVEXA_DRIVER_3000}, {0x3001, KVEXA_DRIVER_3001},
              {0x4444, KVEXA_OK}};
  for (const auto& row : rows) {
    answer(1, row.status);
    EXPECT_EQ(row.result, kVexaWaitInterval(&handle, &overlapped)) << row.status;
    // The next one begins with a clean status word.
    EXPECT_EQ(KVEXA_OK, kVexaWaitInterval(&handle, &overlapped)) << row.status;
    EXPECT_EQ(done(intervalRequest, row.status) + pending(intervalRequest), trace());
    EXPECT_EQ(KVEXA_OK, kVexaCancelInterval(&handle));
    trace();
  }
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaWaitInterval(&handle, &overlapped));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaWaitInterval(&handle, nullptr));
}

TEST_F(PcieInterval, CancelMapsItsStatusAndKeepsTheHandle) {
  const BoardHandle before = handle;
  answer(1, 0x3000);
  EXPECT_EQ(KVEXA_DRIVER_3000, kVexaCancelInterval(&handle));
  answer(1, 0x3001);
  EXPECT_EQ(KVEXA_DRIVER_3001, kVexaCancelInterval(&handle));
  answer(1, 0x1002);
  EXPECT_EQ(KVEXA_OK, kVexaCancelInterval(&handle));
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaCancelInterval(&handle));
  EXPECT_EQ(before.driverHandle, handle.driverHandle);
}

}  // namespace
}  // namespace kvexa::test

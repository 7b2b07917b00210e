// Every board function meets a fault at each of its requests in turn. It must come back with the right
// code, leave nothing open, and the board must work afterwards.
#include <algorithm>

#include "tests/support/BoardFixture.h"
#include "tests/support/BoardFunctions.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

constexpr sim::Fault refusal{sim::Fault::Kind::refuse, ERROR_GEN_FAILURE};

class FaultSweep : public BoardFixture {
 protected:
  // Requests of one call on a healthy board, and what it returns.
  unsigned requestsOf(const BoardFunction& function) {
    bringUpSensor();
    const unsigned before = board.faults().requestCount();
    healthyResult = function.call(&handle);
    return board.faults().requestCount() - before;
  }

  // Whether the only request that was refused since the last look was a reading of the status.
  bool statusReadingWasRefused() {
    const auto lines = machine.trace().take();
    const auto line = std::find_if(lines.begin(), lines.end(), [](const std::string& text) {
      return text.find(" -> error ") != std::string::npos;
    });
    EXPECT_NE(lines.end(), line);
    return line != lines.end() &&
           (line->find(" pipe0 ") != std::string::npos || line->find(" pipe1 ") != std::string::npos);
  }

  void expectWorkingBoard() {
    board.faults().clear();
    const std::uint32_t value = 0x1234;
    std::uint32_t word = untouched;
    EXPECT_EQ(KVEXA_OK, kVexaFpgaWrite(&handle, 0x0504, 2, &value));
    EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&handle, 0x0504, 2, &word));
    EXPECT_EQ(value, word);
    machine.trace().take();
  }

  double healthyResult = 0;
};

// Long waits for frames that do not come have tests of their own.
bool isSwept(const BoardFunction& function) { return function.name != std::string("kVexaAutoActual"); }

TEST_F(FaultSweep, RefusalOfOneRequestHasItsCode) {
  for (const auto& function : boardFunctions()) {
    if (function.onRefusal == OnRefusal::special) continue;
    const unsigned total = requestsOf(function);
    ASSERT_GT(total, 0U) << function.name;
    for (unsigned k = 1; k <= total; ++k) {
      SCOPED_TRACE(testing::Message() << function.name << ", request " << k << " of " << total);
      machine.trace().take();
      board.faults().at(k, refusal);
      const double result = function.call(&handle);
      const bool isReturned = function.onRefusal == OnRefusal::returned && !statusReadingWasRefused();
      EXPECT_EQ(isReturned ? -51.0 : healthyResult, result);
      expectWorkingBoard();
    }
  }
}

TEST_F(FaultSweep, RefusalOfEverythingFromOneRequestOnEndsTheCall) {
  for (const auto& function : boardFunctions()) {
    if (!isSwept(function)) continue;
    const unsigned total = requestsOf(function);
    for (unsigned k = 1; k <= total; ++k) {
      SCOPED_TRACE(testing::Message() << function.name << ", from request " << k << " of " << total);
      board.faults().from(k, refusal);
      const double result = function.call(&handle);
      // A merge of results has bits of both codes.
      EXPECT_TRUE(result == healthyResult || result == -51.0 || result == -52.0 || result == (-51 | -52))
          << result;
      expectWorkingBoard();
    }
  }
}

TEST_F(FaultSweep, BoardPulledOutAtARequestEndsTheCall) {
  for (const auto& function : boardFunctions()) {
    if (!isSwept(function)) continue;
    const unsigned total = requestsOf(function);
    for (unsigned k = 1; k <= total; ++k) {
      SCOPED_TRACE(testing::Message() << function.name << ", request " << k << " of " << total);
      board.faults().at(k, {sim::Fault::Kind::unplug});
      const double result = function.call(&handle);
      EXPECT_TRUE(result == healthyResult || result == -51.0 || result == -52.0 || result == (-51 | -52))
          << result;
      EXPECT_FALSE(board.isPlugged());

      // Plugged in again it is a new device to the system.
      EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
      board.plug();
      ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &handle));
      expectWorkingBoard();
    }
  }
}

TEST_F(FaultSweep, KeptStatusWordsAndShortTransfersEndTheCall) {
  for (const auto& function : boardFunctions()) {
    if (!isSwept(function)) continue;
    const unsigned total = requestsOf(function);
    for (unsigned k = 1; k <= total; ++k) {
      for (const auto kind : {sim::Fault::Kind::keepStatus, sim::Fault::Kind::shorten}) {
        SCOPED_TRACE(testing::Message() << function.name << ", request " << k << " of " << total);
        board.faults().at(k, {kind, 0});
        function.call(&handle);
        expectWorkingBoard();
      }
    }
  }
}

TEST_F(FaultSweep, NoHandleIsLeft) {
  unsigned before = 0;
  for (int round = 0; round < 2; ++round) {
    for (const auto& function : boardFunctions()) {
      if (!isSwept(function)) continue;
      const unsigned total = requestsOf(function);
      for (unsigned k = 1; k <= total; ++k) {
        board.faults().at(k, refusal);
        function.call(&handle);
        board.faults().clear();
      }
    }
    if (round == 0) before = processHandleCount();
  }
  EXPECT_EQ(before, processHandleCount());
  EXPECT_EQ(1U, machine.devices().openFiles());
  EXPECT_EQ(0U, machine.devices().openSets());
}

}  // namespace
}  // namespace kvexa::test

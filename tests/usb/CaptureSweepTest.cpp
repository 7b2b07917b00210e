// Every way to capture meets a fault at each of its driver requests in turn.
#include <functional>

#include "tests/support/HandleCount.h"
#include "tests/usb/CaptureWays.h"

namespace kvexa::test {
namespace {

using Kind = sim::Fault::Kind;

class CaptureSweep : public CaptureWays {
 protected:
  using Way = Run (CaptureWays::*)();

  struct Named {
    const char* name;
    Way way;
  };

  static const std::vector<Named>& ways() {
    static const std::vector<Named> all = {{"endless", &CaptureSweep::endless},
                                           {"counted", &CaptureSweep::counted},
                                           {"ring", &CaptureSweep::ring},
                                           {"array", &CaptureSweep::array},
                                           {"storage", &CaptureSweep::storage}};
    return all;
  }

  // Runs a way once for each of its requests; the fault is set before and `check` sees how it went.
  void sweep(
      Way way, const std::function<void(unsigned k)>& setFault,
      const std::function<void(const Request& request, unsigned k, unsigned total, const Run& run)>& check) {
    const auto requests = requestsOf(way);
    const auto total = static_cast<unsigned>(requests.size());
    ASSERT_GT(total, 40U);
    for (unsigned k = 1; k <= total; ++k) {
      SCOPED_TRACE(testing::Message() << "request " << k << " of " << total);
      board.plug();
      // A packet that was cut short may have sent a value to another register than its own.
      board.setBoardRegister(0x0104, 0);
      expectWorkingBoard();
      setFault(k);
      const Run run = (this->*way)();
      check(requests[k - 1], k, total, run);
    }
    board.plug();
    board.setBoardRegister(0x0104, 0);
    expectWorkingBoard();
  }

  void sweepRefusals(
      Way way, const std::function<void(const Request&, unsigned k, unsigned total, const Run&)>& check) {
    sweep(
        way, [this](unsigned k) { refuse(k); }, check);
  }

  // Requests of a register's write and reading, of a hold, and up to the start's write of the capture
  // mode; then up to the start's end, and of an abort.
  static constexpr unsigned writeRequests = 6;
  static constexpr unsigned readRequests = 7;
  static constexpr unsigned holdRequests = readRequests + writeRequests + 1;
  static constexpr unsigned setUpRequests = holdRequests + 2 * writeRequests + readRequests + writeRequests;
  static constexpr unsigned startRequests = setUpRequests + writeRequests;
  static constexpr unsigned abortRequests = writeRequests + 3 + readRequests + writeRequests + 5;
};

constexpr auto unset = static_cast<std::int32_t>(untouched);

bool isTransfer(const auto& request) {
  return request.kind == std::decay_t<decltype(request)>::Kind::transfer;
}

// Readings of a register that is then written back count as 0 when they fail; only writes are reported.
bool isReported(const auto& request) { return isTransfer(request) && request.isWrite; }

// A start that failed leaves no trace with the caller.
#define EXPECT_NOTHING_RAN(run)                 \
  EXPECT_EQ(KVEXA_REQUEST_FAILED, (run).start); \
  EXPECT_EQ("", (run).log);                     \
  EXPECT_EQ(unset, (run).word);                 \
  EXPECT_FALSE((run).endSignalled)

TEST_F(CaptureSweep, RequestsAreWhatTheOthersAssume) {
  const auto requests = requestsOf(&CaptureSweep::endless);
  const auto isModeWrite = [&](unsigned k) {
    return isTransfer(requests[k - 1]) && requests[k - 1].address == 0x0102;
  };
  EXPECT_TRUE(isModeWrite(setUpRequests + 1));
  EXPECT_FALSE(isModeWrite(setUpRequests - 2));
  EXPECT_TRUE(isModeWrite(startRequests - 2));
  EXPECT_EQ(Request::Kind::frame, requests[startRequests].kind);
  EXPECT_TRUE(isModeWrite(static_cast<unsigned>(requests.size()) - abortRequests + 1));
}

TEST_F(CaptureSweep, EndlessCaptureWithOneRequestRefused) {
  const Run healthy = endless();
  sweepRefusals(&CaptureSweep::endless, [&](const Request& request, unsigned k, unsigned total,
                                            const Run& run) {
    if (k <= setUpRequests && isTransfer(request)) {
      EXPECT_NOTHING_RAN(run);
      return;
    }
    EXPECT_EQ(KVEXA_OK, run.start);
    // Frames that failed are signalled as the others.
    EXPECT_EQ(healthy.log, run.log);
    EXPECT_EQ(KVEXA_ABORTED, run.word);
    EXPECT_EQ(k > total - abortRequests && isReported(request) ? KVEXA_REQUEST_FAILED : KVEXA_OK, run.end);
  });
}

TEST_F(CaptureSweep, CountedCaptureWithOneRequestRefused) {
  sweepRefusals(&CaptureSweep::counted, [&](const Request& request, unsigned k, unsigned total,
                                            const Run& run) {
    if (k <= setUpRequests && isTransfer(request)) {
      EXPECT_NOTHING_RAN(run);
      return;
    }
    const bool modeFailed = k <= startRequests && isTransfer(request);
    const auto frame = [&](unsigned number) {
      return modeFailed || k == startRequests + 1 + number ? KVEXA_TIMED_OUT : KVEXA_BUSY;
    };
    EXPECT_EQ(KVEXA_OK, run.start);
    EXPECT_EQ(line("read 0", -59) + line("frame", frame(0)) + line("read +1", -59) + line("frame", frame(1)) +
                  line("end", 0) + line("read +2", -59) + line("end", -59),
              run.log);
    EXPECT_EQ(KVEXA_BUSY, run.word);
    EXPECT_EQ(k > total - abortRequests && isReported(request) ? KVEXA_REQUEST_FAILED : KVEXA_OK, run.end);
  });
}

TEST_F(CaptureSweep, RingCaptureWithOneRequestRefused) {
  const Run healthy = ring();
  sweepRefusals(&CaptureSweep::ring, [&](const Request& request, unsigned k, unsigned, const Run& run) {
    if (k <= setUpRequests && isTransfer(request)) {
      EXPECT_NOTHING_RAN(run);
      return;
    }
    EXPECT_EQ(KVEXA_OK, run.start);
    std::string expected = healthy.log;
    if (k <= startRequests && isTransfer(request)) {
      expected = line("read 0", unset) + line("read 0", -52) + line("read 0", -52) + line("end", -58);
    } else if (k == startRequests + 1) {
      expected = line("read 0", unset) + line("read 0", -52) + line("full 0", 0) + line("read 1", 0) +
                 line("end", -58);
    } else if (k == startRequests + 2) {
      expected = line("read 0", unset) + line("full 0", 0) + line("read 1", 0) + line("read 1", -52) +
                 line("end", -58);
    }
    // A board that the abort does not reach goes on sending.
    const unsigned abortStart = startRequests + 2;
    if (k > abortStart && k <= abortStart + writeRequests && isTransfer(request)) {
      expected.insert(expected.find("end"), line("full 2", 0));
    }
    EXPECT_EQ(expected, run.log);
    EXPECT_EQ(KVEXA_ABORTED, run.word);
    // The abort comes while the third frame is on its way, and before the worker's own stop.
    const bool inAbort = k > abortStart && k <= abortStart + abortRequests;
    EXPECT_EQ(inAbort && isReported(request) ? KVEXA_REQUEST_FAILED : KVEXA_OK, run.end);
  });
}

TEST_F(CaptureSweep, ArrayCaptureWithOneRequestRefused) {
  const Run healthy = array();
  bool running = false;
  unsigned frames = 0;
  sweepRefusals(&CaptureSweep::array, [&](const Request& request, unsigned, unsigned, const Run& run) {
    running = running || request.kind == Request::Kind::frame;
    if (!running && isTransfer(request)) {
      EXPECT_NOTHING_RAN(run);
      return;
    }
    EXPECT_EQ(KVEXA_OK, run.start);
    EXPECT_TRUE(run.endSignalled);
    if (request.kind == Request::Kind::frame) {
      const std::string expected[] = {line("read 0", unset), line("full 0", 0) + line("read 1", 0),
                                      line("full 1", 0) + line("read 2", 0)};
      std::string text;
      for (unsigned i = 0; i <= frames; ++i) text += expected[i];
      ++frames;
      EXPECT_EQ(text + line("end", -52), run.log);
      EXPECT_EQ(KVEXA_TIMED_OUT, run.word);
      EXPECT_EQ(KVEXA_OK, run.end);
      return;
    }
    EXPECT_EQ(healthy.log, run.log);
    EXPECT_EQ(KVEXA_OK, run.word);
    EXPECT_EQ(isTransfer(request) ? KVEXA_REQUEST_FAILED : KVEXA_OK, run.end);
  });
  EXPECT_EQ(3U, frames);
}

TEST_F(CaptureSweep, StorageCaptureWithOneRequestRefused) {
  sweepRefusals(
      &CaptureSweep::storage, [&](const Request& request, unsigned k, unsigned total, const Run& run) {
        // The last register write is that of the stop's hold: behind its two packets with their statuses
        // comes one command.
        const bool inLastWrite = k > total - 1 - writeRequests && isTransfer(request);
        EXPECT_EQ(run.abortedByTimeout ? KVEXA_ABORTED
                  : inLastWrite        ? KVEXA_REQUEST_FAILED
                                       : KVEXA_OK,
                  run.start);
        // Only what sets the capture up keeps the frames from being stored.
        if (run.abortedByTimeout) {
          EXPECT_TRUE(isTransfer(request) && request.isWrite);
          EXPECT_TRUE(request.address == 0x0402 || request.address == 0x0104 || request.address == 0x0102);
          EXPECT_LT(k, startRequests);
        }
      });
}

// How a capture ends when everything fails from one request on, the board pulled out or not.
void expectEnd(const std::string& way, const auto& run) {
  if (way == "storage") {
    EXPECT_TRUE(run.start == KVEXA_REQUEST_FAILED || run.start == KVEXA_TIMED_OUT ||
                run.start == KVEXA_ABORTED || run.start == KVEXA_OK)
        << run.start;
    return;
  }
  if (run.start != KVEXA_OK) {
    // The array capture returns the first result that is not 0, a status that never comes too.
    EXPECT_TRUE(run.start == KVEXA_REQUEST_FAILED || (way == "array" && run.start == KVEXA_TIMED_OUT));
    EXPECT_EQ("", run.log);
    EXPECT_EQ(unset, run.word);
    EXPECT_FALSE(run.endSignalled);
    return;
  }
  EXPECT_TRUE(run.endSignalled);
  const std::int32_t ends = way == "counted" ? KVEXA_BUSY : KVEXA_ABORTED;
  if (way == "array") {
    EXPECT_TRUE(run.word == KVEXA_TIMED_OUT || run.word == KVEXA_OK) << run.word;
  } else {
    EXPECT_EQ(ends, run.word);
  }
  EXPECT_TRUE(run.end == KVEXA_OK || run.end == KVEXA_REQUEST_FAILED || run.end == KVEXA_TIMED_OUT ||
              run.end == (KVEXA_REQUEST_FAILED | KVEXA_TIMED_OUT))
      << run.end;
}

TEST_F(CaptureSweep, EverythingRefusedFromOneRequestOn) {
  for (const auto& [name, way] : ways()) {
    SCOPED_TRACE(name);
    sweep(
        way,
        [this](unsigned k) {
          board.faults().from(k, {Kind::refuse, ERROR_GEN_FAILURE});
        },
        [&](const Request&, unsigned, unsigned, const Run& run) { expectEnd(name, run); });
  }
}

TEST_F(CaptureSweep, BoardPulledOutAtEveryRequest) {
  for (const auto& [name, way] : ways()) {
    SCOPED_TRACE(name);
    sweep(
        way, [this](unsigned k) { board.faults().at(k, {Kind::unplug}); },
        [&](const Request&, unsigned, unsigned, const Run& run) {
          expectEnd(name, run);
          EXPECT_FALSE(board.isPlugged());
          // Plugged in again it is a new device to the system.
          EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
          board.plug();
          ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &handle));
        });
  }
}

TEST_F(CaptureSweep, KeptStatusWordsShortTransfersAndWrongBytes) {
  const sim::Fault faults[] = {
      {Kind::keepStatus}, {Kind::shorten, 0}, {Kind::shorten, 3}, {Kind::corrupt, 0xFF}, {Kind::corrupt, 1}};
  for (const auto& [name, way] : ways()) {
    for (const auto& fault : faults) {
      SCOPED_TRACE(testing::Message()
                   << name << ", fault " << static_cast<int>(fault.kind) << " of " << fault.value);
      sweep(
          way, [&](unsigned k) { board.faults().at(k, fault); },
          [&](const Request&, unsigned, unsigned, const Run& run) {
            if (name == std::string("storage")) return;
            EXPECT_EQ(run.start == KVEXA_OK, run.endSignalled);
            if (run.start != KVEXA_OK) {
              EXPECT_EQ("", run.log);
            }
          });
    }
  }
}

TEST_F(CaptureSweep, NoHandleIsLeft) {
  unsigned before = 0;
  for (int round = 0; round < 2; ++round) {
    for (const auto& [name, way] : ways()) {
      sweep(
          way, [this](unsigned k) { refuse(k); }, [](const Request&, unsigned, unsigned, const Run&) {});
    }
    if (round == 0) before = processHandleCount();
  }
  expectHandles(before);
  EXPECT_EQ(1U, machine.devices().openFiles());
}

}  // namespace
}  // namespace kvexa::test

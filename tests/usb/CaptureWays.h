// Every way to capture, run from its start to its end in one order of requests, whatever fails on the way.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/usb/FrameRing.h"

namespace kvexa::test {

class CaptureWays : public EngineFixture {
 public:
  // How a capture went, as its caller sees it.
  struct Run {
    std::int32_t start = 0;
    std::int32_t end = 0;   // of the abort or the stop
    std::string log;        // of events and reads
    std::int32_t word = 0;  // at the end
    bool endSignalled = false;
    bool abortedByTimeout = false;  // a storage capture that would have waited for ever
  };

  // What one request of a healthy run was for.
  struct Request {
    enum class Kind { transfer, status, command, frame };
    Kind kind;
    unsigned address;  // of the board register, 0 for other words of the board
    bool isWrite;      // for its writing
  };

  void SetUp() override;

  Run endless();
  Run counted();
  Run ring();
  Run array();
  Run storage();

  // The requests of a run without faults.
  std::vector<Request> requestsOf(Run (CaptureWays::*way)());

  std::unique_ptr<FrameRing> buffers;
  static constexpr unsigned countedFrames = 2;

 private:
  void begin();
  Run finish(std::int32_t start, std::int32_t end, const Event& last);
};

}  // namespace kvexa::test

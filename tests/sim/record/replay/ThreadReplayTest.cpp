// A worker that goes through its loop until another thread stops it.
#include <functional>
#include <thread>

#include "sim/record/format/LineReader.h"
#include "sim/record/replay/Replay.h"
#include "tests/sim/record/replay/ScriptFixture.h"

namespace {

using namespace sim::record;

#define REQUEST(thread) \
  "\"call\":\"request\",\"thread\":" #thread ",\"board\":\"usb0\",\"handle\":1,\"request\":\"pipe\""

constexpr char first[] = REQUEST(2) R"(,"a":2,"size":1048576,"result":1)";
constexpr char second[] = REQUEST(2) R"(,"a":2,"size":100,"result":1,"out":"0a")";
constexpr char lastSecond[] = REQUEST(2) R"(,"a":2,"size":100,"result":1,"out":"0b")";
constexpr char order[] = REQUEST(1) R"(,"a":3,"in":"01","result":1)";
constexpr char stop[] = REQUEST(1) R"(,"a":3,"in":"02","result":1)";
constexpr char end[] = REQUEST(2) R"(,"a":3,"in":"03","result":1)";
constexpr char changed[] = REQUEST(2) R"(,"a":3,"in":"04","result":1)";

class ThreadReplayTest : public ScriptTest {
 protected:
  // Two frames between what the other thread does.
  void startReplay(std::initializer_list<const char*> lines = {order, first, second, first, lastSecond, stop,
                                                               end}) {
    Replay::Options options;
    options.patience = 1;
    options.depart = [this](const std::string& report) { departures += report; };
    replay = std::make_shared<Replay>(scriptOf(lines), options);
  }

  // The first byte that comes back; 0 when none does.
  unsigned ask(const std::string& text) {
    LineMemory memory;
    Line asked = readLine("{" + text + ",\"n\":1,\"e\":2}", memory);
    asked.out = {};
    const auto reply = replay->take(asked);
    if (!reply) return 0;
    replay->finish(*reply);
    return reply->line.out.size == 0 ? 0 : *reply->line.out.data;
  }

  // The worker and the thread that stops it.
  void run(const std::function<void()>& worker) {
    ask(order);
    std::thread thread([&] {
      worker();
      replay->endThread();
    });
    ask(stop);
    thread.join();
  }

  std::shared_ptr<Replay> replay;
  std::string departures;
};

TEST_F(ThreadReplayTest, AsItWas) {
  startReplay();
  run([&] {
    for (const char* question : {first, second, first, lastSecond, end}) ask(question);
  });
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ThreadReplayTest, WorkerMayReadLess) {
  startReplay();
  run([&] {
    for (const char* question : {first, second, end}) ask(question);
  });
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ThreadReplayTest, WorkerMayReadNothing) {
  startReplay();
  run([&] { ask(end); });
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ThreadReplayTest, WorkerMayReadMoreAndGetsTheLastFrameAgain) {
  startReplay();
  unsigned got = 0;
  run([&] {
    for (const char* question : {first, second, first, second, first}) ask(question);
    got = ask(second);
    ask(end);
  });
  EXPECT_EQ(0x0BU, got);
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

// It was stopped before its first frame, and is not now.
TEST_F(ThreadReplayTest, FrameThatWasNeverAskedForDoesNotCome) {
  startReplay({order, stop, end});
  run([&] {
    ask(first);
    ask(end);
  });
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ThreadReplayTest, WorkerThatEndsWithoutAWordMayReadLessToo) {
  startReplay({order, first, second, first, second, stop});
  run([&] {
    ask(first);
    ask(second);
  });
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ThreadReplayTest, LoopThatDoesNotEndIsTold) {
  startReplay();
  ask(order);
  std::thread([&] {
    for (unsigned i = 0; i < 100 && departures.empty(); ++i) ask(first);
  }).join();
  EXPECT_NE(std::string::npos, departures.find("the program departs from")) << departures;
}

TEST_F(ThreadReplayTest, WhatIsNoLoopIsTold) {
  startReplay();
  run([&] {
    for (const char* question : {first, second, changed}) ask(question);
  });
  EXPECT_NE(std::string::npos, departures.find("the program departs from")) << departures;
}

TEST_F(ThreadReplayTest, WorkerThatLeavesItsEndOutIsTold) {
  startReplay();
  run([&] { ask(first); });
  EXPECT_EQ("", departures);
  EXPECT_NE(std::string::npos, replay->leftOver().find("4 calls did not come")) << replay->leftOver();
}

// Nobody could stop it: each frame was asked for by the program.
TEST_F(ThreadReplayTest, SingleThreadIsHeldToItsLoops) {
  startReplay({first, second, first, second, end});
  for (const char* question : {first, second, end}) ask(question);
  EXPECT_NE(std::string::npos, departures.find("the program departs from")) << departures;
}

TEST_F(ThreadReplayTest, OutcomeTellsTheLastFailedRequestAndWhatHadNoAnswer) {
  const auto outcome = std::make_shared<Outcome>();
  Replay::Options options;
  options.isLenient = true;
  options.outcome = outcome;
  replay = std::make_shared<Replay>(scriptOf({REQUEST(1) R"(,"a":2,"size":100,"error":121)", order,
                                              REQUEST(1) R"(,"a":4,"size":7,"error":31)"}),
                                    options);
  ask(second);
  const std::uint32_t timedOut = outcome->failure;
  EXPECT_NE(0U, timedOut);
  EXPECT_STREQ("usb0 pipe2 in 0ms 0/100 -> error 121", outcome->text.data());
  ask(order);
  EXPECT_EQ(timedOut, outcome->failure);
  EXPECT_EQ(0U, outcome->unanswered);
  ask(REQUEST(1) R"(,"a":4,"size":7)");
  EXPECT_NE(timedOut, outcome->failure);
  ask(R"("call":"sleep","thread":1,"a":5)");
  EXPECT_EQ(1U, outcome->unanswered);
}

}  // namespace

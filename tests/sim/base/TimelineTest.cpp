#include "sim/base/Timeline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/SimulatedTime.h"

namespace {

using kvexa::test::await;
using kvexa::test::Thread;

class TimelineTest : public testing::Test {
 protected:
  ~TimelineTest() override { CloseHandle(event); }

  sim::Microseconds now() const { return clock.now(); }

  // What happened, with its moment.
  void note(const std::string& what) {
    const std::lock_guard lock(mutex);
    notes += what + " at " + std::to_string(now()) + "\n";
  }

  static void loseTime(unsigned turns) {
    for (; turns > 0; --turns) SwitchToThread();
  }

  sim::Clock clock;
  sim::Timeline timeline{clock};
  std::mutex mutex;
  std::string notes;
  HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);

 private:
  kvexa::test::TakesPart takesPart_{timeline};
};

TEST_F(TimelineTest, SleepTakesItsTime) {
  timeline.sleep(10);
  EXPECT_EQ(now(), 10000U);
  timeline.sleep(0);
  EXPECT_EQ(now(), 10000U);
}

TEST_F(TimelineTest, SleepersWakeInTheOrderOfTheirMoments) {
  std::vector<Thread> threads;
  for (const DWORD milliseconds : {30U, 10U, 20U}) {
    threads.emplace_back([this, milliseconds] {
      timeline.sleep(milliseconds);
      note("slept " + std::to_string(milliseconds));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(notes, "slept 10 at 10000\nslept 20 at 20000\nslept 30 at 30000\n");
}

TEST_F(TimelineTest, TimeStandsWhileSomebodyRuns) {
  std::atomic<bool> slept{false};
  Thread sleeper([&] {
    timeline.sleep(1);
    slept = true;
  });
  loseTime(2000);
  EXPECT_FALSE(slept);
  EXPECT_EQ(now(), 0U);
  sleeper.join();
  EXPECT_EQ(now(), 1000U);
}

TEST_F(TimelineTest, WaitEndsAtItsMomentOrWithTheSignal) {
  EXPECT_EQ(timeline.wait(event, 50), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(now(), 50000U);
  Thread signaller([this] {
    timeline.sleep(5);
    kvexa::test::setEvent(event);
  });
  EXPECT_EQ(timeline.wait(event, 50), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(now(), 55000U);
}

// The program sets its events without asking anybody.
TEST_F(TimelineTest, SignalThatNobodySawIsFoundBeforeTheTimeMoves) {
  for (int round = 0; round < 200; ++round) {
    ResetEvent(event);
    const auto before = now();
    sim::Microseconds woken = 0;
    Thread waiting([&] {
      EXPECT_TRUE(await(event));
      woken = now();
    });
    loseTime(static_cast<unsigned>(round) % 7);
    SetEvent(event);
    timeline.sleep(100);
    waiting.join();
    ASSERT_EQ(woken, before);
  }
}

TEST_F(TimelineTest, AutomaticEventIsTakenOnce) {
  const HANDLE automatic = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  std::atomic<unsigned> taken{0};
  std::vector<Thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      if (timeline.wait(automatic, 100) == WAIT_OBJECT_0) ++taken;
    });
  }
  timeline.sleep(10);
  kvexa::test::setEvent(automatic);
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(taken, 1U);
  EXPECT_EQ(now(), 100000U);
  CloseHandle(automatic);
}

// A worker that looks at a full buffer again and again waits for its reader.
TEST_F(TimelineTest, LookingAgainAndAgainHoldsNoTime) {
  SetEvent(event);
  sim::Microseconds seen = 0;
  Thread looking([&] {
    while (timeline.wait(event, 0) == WAIT_OBJECT_0) continue;
    seen = now();
  });
  timeline.sleep(100);
  EXPECT_EQ(now(), 100000U);
  ResetEvent(event);
  timeline.sleep(100);
  looking.join();
  EXPECT_EQ(seen, 100000U);
}

TEST_F(TimelineTest, YieldingAgainAndAgainHoldsNoTime) {
  std::atomic<bool> ends{false};
  Thread yielding([&] {
    while (!ends) timeline.sleep(0);
    note("end");
  });
  timeline.sleep(7);
  ends = true;
  timeline.sleep(7);
  yielding.join();
  EXPECT_EQ(notes, "end at 7000\n");
}

TEST_F(TimelineTest, ConditionIsSeenAtItsMoment) {
  std::atomic<bool> holds{false};
  Thread other([&] {
    timeline.sleep(3);
    holds = true;
    timeline.sleep(3);
  });
  timeline.until([&] { return holds.load(); });
  EXPECT_EQ(now(), 3000U);
}

TEST_F(TimelineTest, EndOfAThreadIsNoticed) {
  for (int round = 0; round < 100; ++round) {
    const auto before = now();
    Thread([this] { timeline.sleep(1); }).join();
    ASSERT_EQ(now(), before + 1000);
  }
}

TEST_F(TimelineTest, MutexThatAThreadLeftBehindGoesToTheNext) {
  const HANDLE mutexObject = CreateMutexA(nullptr, FALSE, nullptr);
  Thread owner([&] {
    EXPECT_TRUE(await(mutexObject));
    timeline.sleep(10);
  });
  timeline.sleep(5);
  EXPECT_EQ(timeline.wait(mutexObject, 1000), DWORD{WAIT_ABANDONED});
  EXPECT_EQ(now(), 10000U);
  ReleaseMutex(mutexObject);
  owner.join();
  CloseHandle(mutexObject);
}

// A thread that takes no part is served, and holds nobody.
TEST_F(TimelineTest, ThreadsThatTakeNoPartAreServed) {
  std::atomic<bool> slept{false};
  std::thread stranger([&] {
    timeline.sleep(10);
    slept = true;
  });
  timeline.until([&] { return slept.load(); });
  EXPECT_EQ(now(), 10000U);
  stranger.join();
}

// Between a request and the wait for it the time stands, also for a thread that takes no part.
TEST_F(TimelineTest, ThreadThatIsAboutToWaitHoldsTheTime) {
  std::atomic<int> stage{0};
  std::thread stranger([&] {
    timeline.expectWait();
    stage = 1;
    while (stage != 2) SwitchToThread();
    EXPECT_EQ(now(), 0U);
    EXPECT_EQ(timeline.wait(event, 20), DWORD{WAIT_TIMEOUT});
  });
  while (stage != 1) SwitchToThread();
  Thread sleeper([this] { timeline.sleep(30); });
  loseTime(500);
  stage = 2;
  sleeper.join();
  stranger.join();
  EXPECT_EQ(now(), 30000U);
}

TEST_F(TimelineTest, TellsWhoHoldsTheTime) {
  Thread sleeper([this] { timeline.sleep(5); });
  loseTime(1000);
  EXPECT_NE(timeline.describe().find("thread " + std::to_string(GetCurrentThreadId()) + " runs"),
            std::string::npos);
}

// Threads that hand events to one another: the same moments, whatever turns each of them loses.
TEST_F(TimelineTest, DelaysOfThreadsChangeNothing) {
  const auto play = [this](unsigned seed) {
    notes.clear();
    const auto start = now();
    const auto at = [&] { return std::to_string(now() - start); };
    std::vector<std::string> lines(4);
    std::vector<HANDLE> events;
    for (int i = 0; i < 4; ++i) events.push_back(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    {
      std::vector<Thread> threads;
      for (unsigned i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
          std::mt19937 random(seed * 4 + i);
          for (unsigned round = 0; round < 20; ++round) {
            loseTime(random() % 20);
            timeline.sleep(1 + i);
            loseTime(random() % 20);
            if (round % 2 == 0) SetEvent(events[(i + 1) % 4]);
            if (round % 2 == 1) kvexa::test::setEvent(events[(i + 1) % 4]);
            loseTime(random() % 20);
            const DWORD waited = timeline.wait(events[i], 3);
            lines[i] += at() + (waited == WAIT_TIMEOUT ? "- " : "+ ");
          }
        });
      }
    }
    for (const HANDLE each : events) CloseHandle(each);
    return lines;
  };
  const auto first = play(1);
  for (unsigned seed = 2; seed < 12; ++seed) ASSERT_EQ(play(seed), first) << seed;
}

}  // namespace

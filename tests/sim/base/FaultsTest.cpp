#include "sim/base/Faults.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace {

using sim::Fault;
using sim::Faults;

class FaultsTest : public testing::Test {
 protected:
  sim::Clock clock;
  sim::Timeline timeline{clock};
  Faults faults{timeline};
};

TEST_F(FaultsTest, CountsRequestsFromTheCallThatSetsThem) {
  faults.nextRequest();
  faults.nextRequest();
  faults.at(2, {Fault::Kind::refuse, 31});
  EXPECT_FALSE(faults.nextRequest());
  const auto fault = faults.nextRequest();
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->kind, Fault::Kind::refuse);
  EXPECT_EQ(fault->value, 31U);
  EXPECT_FALSE(faults.nextRequest());
  EXPECT_EQ(faults.requestCount(), 5U);
}

TEST_F(FaultsTest, LastFromAMomentOn) {
  faults.from(2, {Fault::Kind::keepStatus});
  faults.at(3, {Fault::Kind::shorten, 5});
  EXPECT_FALSE(faults.nextRequest());
  EXPECT_EQ(faults.nextRequest()->kind, Fault::Kind::keepStatus);
  EXPECT_EQ(faults.nextRequest()->kind, Fault::Kind::shorten);
  EXPECT_EQ(faults.nextRequest()->kind, Fault::Kind::keepStatus);
}

TEST_F(FaultsTest, AreForgottenButTheCounterGoesOn) {
  faults.from(1, {Fault::Kind::refuse, 31});
  faults.at(2, {Fault::Kind::refuse, 32});
  faults.holdAcknowledge(true);
  faults.holdFrames(true);
  faults.nextRequest();
  faults.clear();
  EXPECT_FALSE(faults.nextRequest());
  EXPECT_FALSE(faults.acknowledgeIsHeld());
  EXPECT_FALSE(faults.framesAreHeld());
  EXPECT_EQ(faults.requestCount(), 2U);
}

TEST_F(FaultsTest, HeldRequestGivesTheLockUpAndComesBackWithIt) {
  std::mutex mutex;
  faults.at(2, {Fault::Kind::hold});
  {
    std::unique_lock lock(mutex);
    EXPECT_FALSE(faults.nextRequest(lock));
  }
  bool isOver = false;
  std::thread request([&] {
    std::unique_lock lock(mutex);
    EXPECT_FALSE(faults.nextRequest(lock));
    EXPECT_TRUE(lock.owns_lock());
    isOver = true;
  });
  faults.held().await();
  {
    // Others are served, and meet their own faults.
    std::unique_lock lock(mutex);
    EXPECT_FALSE(isOver);
    EXPECT_EQ(faults.requestCount(), 2U);
    faults.at(1, {Fault::Kind::refuse, 31});
    EXPECT_EQ(faults.nextRequest(lock)->kind, Fault::Kind::refuse);
  }
  EXPECT_EQ(faults.held().count(), 1U);
  faults.held().release();
  request.join();
  EXPECT_TRUE(isOver);
  EXPECT_EQ(faults.held().count(), 0U);
}

TEST_F(FaultsTest, ReleaseLetsThoseGoThatAreHeld) {
  sim::HeldRequests& held = faults.held();
  held.release();  // nobody
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back([&] { held.hold(); });
  held.await(3);
  held.release();
  for (auto& thread : threads) thread.join();
  std::thread later([&] { held.hold(); });
  held.await();
  EXPECT_EQ(held.count(), 1U);
  held.release();
  later.join();
}

}  // namespace

#include "sim/Faults.h"

#include <gtest/gtest.h>

namespace {

using sim::Fault;
using sim::Faults;

TEST(Faults, CountsRequestsFromTheCallThatSetsThem) {
  Faults faults;
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

TEST(Faults, LastFromAMomentOn) {
  Faults faults;
  faults.from(2, {Fault::Kind::keepStatus});
  faults.at(3, {Fault::Kind::shorten, 5});
  EXPECT_FALSE(faults.nextRequest());
  EXPECT_EQ(faults.nextRequest()->kind, Fault::Kind::keepStatus);
  EXPECT_EQ(faults.nextRequest()->kind, Fault::Kind::shorten);
  EXPECT_EQ(faults.nextRequest()->kind, Fault::Kind::keepStatus);
}

TEST(Faults, AreForgottenButTheCounterGoesOn) {
  Faults faults;
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

}  // namespace

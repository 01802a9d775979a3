#include "service/worker/orders.h"

#include <gtest/gtest.h>

#include <thread>

namespace orvan::worker {
namespace {

TEST(Orders, OneIsUnderWayAtATime) {
  Orders orders;
  EXPECT_FALSE(orders.IsBusy());
  EXPECT_TRUE(orders.Give(protocol::Scan{1}));
  EXPECT_TRUE(orders.IsBusy());
  EXPECT_FALSE(orders.Give(protocol::Scan{2}));
  EXPECT_EQ(std::get<protocol::Scan>(orders.Take()).request, 1U);
  EXPECT_FALSE(orders.Give(protocol::Scan{2}));
  orders.Finish();
  EXPECT_TRUE(orders.Give(protocol::Scan{2}));
}

TEST(Orders, AStopIsOfTheOrderThatItNames) {
  Orders orders;
  orders.Stop(1, sdk::StopReason::kForced);
  ASSERT_TRUE(orders.Give(protocol::Scan{1}));
  orders.Stop(2, sdk::StopReason::kForced);
  EXPECT_FALSE(orders.StopToken().stop_requested());
  EXPECT_EQ(orders.WhyStop(), sdk::StopReason::kNone);
  // Before it was taken, too.
  orders.Stop(1, sdk::StopReason::kForced);
  orders.Take();
  EXPECT_TRUE(orders.StopToken().stop_requested());
  EXPECT_EQ(orders.WhyStop(), sdk::StopReason::kForced);
  orders.Finish();
  ASSERT_TRUE(orders.Give(protocol::Scan{2}));
  EXPECT_FALSE(orders.StopToken().stop_requested());
  EXPECT_EQ(orders.WhyStop(), sdk::StopReason::kNone);
}

TEST(Orders, AnAnswerIsOfTheOrderUnderWayAndComesOnce) {
  Orders orders;
  EXPECT_FALSE(orders.Answer({1, true, {}}));
  ASSERT_TRUE(orders.Give(protocol::RunTool{}));
  EXPECT_FALSE(orders.Answer({7, true, {}}));
  std::thread asked([&] { EXPECT_TRUE(orders.AwaitAnswer().isHandled); });
  EXPECT_TRUE(orders.Answer({0, true, {}}));
  asked.join();
  EXPECT_TRUE(orders.Answer({0, false, {}}));
  EXPECT_FALSE(orders.Answer({0, false, {}}));
}

TEST(Orders, AnOrderIsWaitedFor) {
  Orders orders;
  std::thread giver([&] { EXPECT_TRUE(orders.Give(protocol::Scan{5})); });
  EXPECT_EQ(std::get<protocol::Scan>(orders.Take()).request, 5U);
  giver.join();
}

}  // namespace
}  // namespace orvan::worker

#include "service/sdk/awake_clock.h"

#include <gtest/gtest.h>

namespace orvan::sdk {
namespace {

using namespace std::chrono_literals;

struct Bench {
  std::chrono::steady_clock::time_point time{};
  AwakeClock clock{[this] { return time; }};
  AwakeClock::Duration After(AwakeClock::Duration passed) {
    time += passed;
    return clock.Look();
  }
};

TEST(AwakeClock, BeginsAtZeroWheneverItIsMade) {
  Bench bench;
  EXPECT_EQ(bench.After(0s), 0s);
}

TEST(AwakeClock, AddsUpWhatLiesBetweenRegularLooks) {
  Bench bench;
  EXPECT_EQ(bench.After(1ms), 1ms);
  EXPECT_EQ(bench.After(kAwakePace), 251ms);
  EXPECT_EQ(bench.After(kLongestAwakeGap), 751ms);
}

TEST(AwakeClock, AGapCountsAsOnePaceHoweverLongItWas) {
  Bench bench;
  EXPECT_EQ(bench.After(kLongestAwakeGap + 1ns), kAwakePace);
  EXPECT_EQ(bench.After(1h), 2 * kAwakePace);
  EXPECT_EQ(bench.After(10ms), 2 * kAwakePace + 10ms);
}

TEST(AwakeClock, ATimeLimitRunsOutForWhoeverWaitsAwake) {
  Bench bench;
  AwakeClock::Duration now{};
  for (int i = 0; i < 120; ++i) now = bench.After(kAwakePace);
  EXPECT_EQ(now, 30s);
}

}  // namespace
}  // namespace orvan::sdk

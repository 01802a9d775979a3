#include "system/win_timer.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

TEST(WinTimer, EqualTicksAreNoSecondsApart) {
  EXPECT_EQ(WinTimer::Instance().SecondsBetween(5, 5), 0.0);
}

TEST(WinTimer, SpanAcrossTheWrapComesOutRight) {
  EXPECT_EQ(WinTimer::Instance().SecondsBetween(4294967295U, 999), 1.0);
}

TEST(WinTimer, TickOfARunningSystemIsNotClearAndAClearedOneIs) {
  WinTimer& timer = WinTimer::Instance();
  Tick tick = timer.Now();
  // One tick in 2^32 is 0; the next one is not.
  if (timer.IsClear(&tick)) tick = timer.Now() | 1U;
  EXPECT_FALSE(timer.IsClear(&tick));
  timer.ClearTick(&tick);
  EXPECT_TRUE(timer.IsClear(&tick));
  EXPECT_EQ(tick, 0U);
}

TEST(WinTimer, ComparesTicks) {
  const Tick one = 1;
  const Tick same = 1;
  const Tick other = 2;
  EXPECT_TRUE(WinTimer::Instance().TicksEqual(&one, &same));
  EXPECT_FALSE(WinTimer::Instance().TicksEqual(&one, &other));
}

TEST(WinTimer, NowCountsMillisecondsOfTheMonotonicClock) {
  const auto milliseconds = [] {
    return static_cast<Tick>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now().time_since_epoch())
                                 .count());
  };
  const Tick before = milliseconds();
  const Tick now = WinTimer::Instance().Now();
  const Tick after = milliseconds();
  EXPECT_LE(now - before, after - before);
}

TEST(WinTimer, SleepBlocksForAtLeastThatLong) {
  const auto start = std::chrono::steady_clock::now();
  WinTimer::Instance().Sleep(0);
  WinTimer::Instance().Sleep(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

}  // namespace

#include "service/modules/storage/spot_rates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kBlocks = 100000;
constexpr std::uint64_t kFirstLba = 640;

// A run over a disk whose blocks of 4096 bytes take as long as `time` says, in the order of the
// places; going to another place takes 20 ms.
template <typename Time>
SpotRates Read(Time time, std::uint64_t totalBlocks = kBlocks) {
  SpotRates rates(totalBlocks, 16);
  const BlockOrder order = rates.Order();
  std::chrono::nanoseconds now = 5s;
  std::uint64_t last = 0;
  for (std::uint64_t i = 0; i < order.count; ++i) {
    const std::uint64_t block = order.at(i);
    if (block != last + 1) now += 20ms;
    last = block;
    now += time(block);
    rates.Add({kFirstLba + 8 * block, 8, sdk::ReadOutcome::kRead, 0, 4096, 1ms, now}, kFirstLba, 8);
  }
  return rates;
}

TEST(SpotRates, ReadInARowFromTheFirstBlockToTheLast) {
  const BlockOrder order = SpotRates(kBlocks, 16).Order();
  ASSERT_EQ(order.count, 32U * 16);
  std::set<std::uint64_t> blocks;
  for (std::uint64_t i = 0; i < order.count; ++i) {
    EXPECT_TRUE(i % 16 == 0 || order.at(i) == order.at(i - 1) + 1) << i;
    blocks.insert(order.at(i));
  }
  EXPECT_EQ(blocks.size(), 32U * 16);
  EXPECT_EQ(*blocks.begin(), 0U);
  EXPECT_EQ(*blocks.rbegin(), kBlocks - 1);
}

TEST(SpotRates, OfSmallSurfacesReadEveryBlockAtMostOnce) {
  for (std::uint64_t total = 1; total < 700; ++total) {
    const BlockOrder order = SpotRates(total, 16).Order();
    std::set<std::uint64_t> blocks;
    for (std::uint64_t i = 0; i < order.count; ++i) blocks.insert(order.at(i));
    EXPECT_EQ(blocks.size(), order.count) << total;
    EXPECT_LT(*blocks.rbegin(), total);
    EXPECT_GE(order.count, std::min<std::uint64_t>(total, 32));
  }
}

TEST(SpotRates, TheirBeginningIsSpreadOverAllOfTheSurface) {
  const BlockOrder order = SpotRates(kBlocks, 16).Order();
  // Of each eight places one lies in each eighth.
  for (std::uint64_t begin = 0; begin < 32; begin += 8) {
    std::set<std::uint64_t> eighths;
    for (std::uint64_t i = begin; i < begin + 8; ++i) {
      eighths.insert(order.at(i * 16) * 8 / kBlocks);
    }
    EXPECT_EQ(eighths.size(), 8U);
  }
}

TEST(SpotRates, AreTheRatesOfReadingWithoutTheWayThere) {
  const SpotRates rates = Read([](std::uint64_t block) {
    return std::chrono::microseconds(block < kBlocks / 2 ? 100 : 200);
  });
  EXPECT_NEAR(*rates.RateOf(SpotRates::kOuter), 40960000, 1);
  EXPECT_NEAR(*rates.RateOf(SpotRates::kInner), 20480000, 1);
  EXPECT_NEAR(rates.Fastest(), 40960000, 1);
  const auto series = rates.Series("rates");
  ASSERT_EQ(series.points.size(), 32U);
  EXPECT_EQ(series.points.front().position, kFirstLba);
  EXPECT_EQ(series.points.back().position, kFirstLba + 8 * (kBlocks - 16));
  EXPECT_TRUE(std::is_sorted(series.points.begin(), series.points.end(),
                             [](const auto& a, const auto& b) { return a.position < b.position; }));
}

TEST(SpotRates, OnePlaceThatIsSlowIsNoRegion) {
  const SpotRates rates =
      Read([](std::uint64_t block) { return std::chrono::microseconds(block < 16 ? 90000 : 100); });
  EXPECT_NEAR(*rates.RateOf(SpotRates::kOuter), 40960000, 1);
}

TEST(SpotRates, OfARegionIsTheMedianOfFourPlaces) {
  const std::chrono::microseconds times[] = {400us, 100us, 300us, 200us};
  std::uint64_t last = 0;
  int place = -1;
  SpotRates rates(kBlocks, 16);
  // The places from the first to the last.
  std::vector<std::uint64_t> blocks;
  const BlockOrder order = rates.Order();
  for (std::uint64_t i = 0; i < order.count; ++i) blocks.push_back(order.at(i));
  std::sort(blocks.begin(), blocks.end());
  std::chrono::nanoseconds now = 5s;
  for (const std::uint64_t block : blocks) {
    if (place < 0 || block != last + 1) ++place;
    last = block;
    now += times[place % 4];
    rates.Add({kFirstLba + 8 * block, 8, sdk::ReadOutcome::kRead, 0, 4096, 1ms, now}, kFirstLba, 8);
  }
  // Of 10.24, 13.65, 20.48 and 40.96 million bytes per second the third.
  EXPECT_NEAR(*rates.RateOf(SpotRates::kOuter), 20480000, 1);
  EXPECT_NEAR(*rates.RateOf(SpotRates::kInner), 20480000, 1);
}

TEST(SpotRates, WhatFailedBringsNothing) {
  SpotRates rates(kBlocks, 16);
  for (std::uint64_t block = 0; block < 16; ++block) {
    rates.Add({kFirstLba + 8 * block, 8, sdk::ReadOutcome::kFailed, 5, 4096, 1ms,
               5s + std::chrono::milliseconds(block)},
              kFirstLba, 8);
  }
  EXPECT_EQ(rates.Fastest(), 0);
  EXPECT_TRUE(rates.Series("rates").points.empty());
}

TEST(SpotRates, TheBetterOfTwoRunsCounts) {
  SpotRates slow = Read([](std::uint64_t) { return 900us; });
  const SpotRates fast = Read([](std::uint64_t) { return 100us; });
  slow.TakeBetter(fast);
  EXPECT_NEAR(*slow.RateOf(SpotRates::kMiddle), 40960000, 1);
  SpotRates kept = fast;
  kept.TakeBetter(Read([](std::uint64_t) { return 900us; }));
  EXPECT_NEAR(*kept.RateOf(SpotRates::kMiddle), 40960000, 1);
}

TEST(SpotRates, OfTooLittleThereIsNone) {
  EXPECT_FALSE(Read([](std::uint64_t) { return 100us; }, 7).RateOf(SpotRates::kOuter));
  EXPECT_FALSE(SpotRates(kBlocks, 16).RateOf(SpotRates::kInner));
  EXPECT_EQ(SpotRates(kBlocks, 16).Fastest(), 0);
}

}  // namespace
}  // namespace orvan::storage

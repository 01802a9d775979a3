#include "service/modules/storage/surface_rates.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

// Blocks of 8 sectors, one by one.
BlockAnswer Answer(std::uint64_t block, std::chrono::nanoseconds ended, bool isRead = true) {
  return {8 * block,      8,    isRead ? sdk::ReadOutcome::kRead : sdk::ReadOutcome::kFailed,
          isRead ? 0 : 5, 4096, 1s,
          ended};
}

TEST(SurfaceRates, OfFewBlocksEachIsAPoint) {
  SurfaceRates rates(3);
  rates.Add(Answer(0, 11s));
  rates.Add(Answer(1, 13s));
  rates.Add(Answer(2, 17s, false));
  const auto series = rates.Series("rates");
  ASSERT_EQ(series.points.size(), 3U);
  EXPECT_EQ(series.points[0].value, 4096);
  EXPECT_EQ(series.points[1].position, 8);
  EXPECT_EQ(series.points[1].value, 2048);
  EXPECT_EQ(series.points[2].value, 0);
}

TEST(SurfaceRates, OfManyBlocksEquallyManyMakeAPointWithRisingPositions) {
  SurfaceRates rates(100000);
  for (std::uint64_t block = 0; block < 100000; ++block) {
    // Neighbours come in the other order.
    rates.Add(Answer(block ^ 1, std::chrono::milliseconds(block + 1000)));
  }
  const auto series = rates.Series("rates");
  EXPECT_EQ(series.points.size(), 255U);  // of 391 blocks each
  EXPECT_TRUE(std::is_sorted(series.points.begin(), series.points.end(),
                             [](const auto& a, const auto& b) { return a.position < b.position; }));
  EXPECT_NEAR(series.points[100].value, 4096000, 1);
}

TEST(SurfaceRates, AnswersOfOneMomentAreNoPointOfTheirOwn) {
  SurfaceRates rates(3);
  rates.Add(Answer(0, 11s));
  rates.Add(Answer(1, 11s));
  rates.Add(Answer(2, 12s));
  const auto series = rates.Series("rates");
  ASSERT_EQ(series.points.size(), 2U);
  EXPECT_EQ(series.points[1].position, 8);
  EXPECT_EQ(series.points[1].value, 8192);
}

}  // namespace
}  // namespace orvan::storage

#include "service/modules/storage/sector_ranges.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace orvan::storage {
namespace {

TEST(SectorRanges, MergesWhatTouchesOrOverlaps) {
  SectorRanges ranges;
  ranges.Add(100, 8);
  ranges.Add(116, 8);
  EXPECT_EQ(ranges.Text(8), "100-107, 116-123");
  ranges.Add(108, 8);
  EXPECT_EQ(ranges.Text(8), "100-123");
  ranges.Add(110);
  ranges.Add(90, 50);
  EXPECT_EQ(ranges.Text(8), "90-139");
}

TEST(SectorRanges, HoldsJustTheSectorsThatWereAdded) {
  std::mt19937 random(7);
  SectorRanges ranges;
  std::set<std::uint64_t> sectors;
  for (int i = 0; i < 300; ++i) {
    const std::uint64_t first = random() % 2000;
    const std::uint64_t count = 1 + random() % 12;
    ranges.Add(first, count);
    for (std::uint64_t sector = first; sector < first + count; ++sector) sectors.insert(sector);
  }
  std::set<std::uint64_t> held;
  std::uint64_t lastEnd = 0;
  for (const auto& [first, count] : ranges.Ranges()) {
    EXPECT_TRUE(held.empty() || first > lastEnd);
    lastEnd = first + count;
    for (std::uint64_t sector = first; sector < lastEnd; ++sector) held.insert(sector);
  }
  EXPECT_EQ(held, sectors);
}

TEST(SectorRanges, SaysThatItIsNotComplete) {
  SectorRanges ranges(2);
  ranges.Add(1);
  ranges.Add(3);
  ranges.Add(5);
  EXPECT_EQ(ranges.Text(8), "1, 3, ...");
  EXPECT_FALSE(ranges.IsComplete());
  ranges.Add(2);
  EXPECT_EQ(ranges.Text(8), "1-3, ...");
}

}  // namespace
}  // namespace orvan::storage

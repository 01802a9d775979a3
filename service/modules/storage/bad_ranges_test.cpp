#include "service/modules/storage/bad_ranges.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace orvan::storage {
namespace {

TEST(BadRanges, StartsEmpty) {
  const BadRanges bad;
  EXPECT_TRUE(bad.IsEmpty());
  EXPECT_EQ(bad.Text(8), "");
}

TEST(BadRanges, MergesBeforeAfterAndBetween) {
  BadRanges bad;
  for (const std::uint64_t lba : {10U, 12U, 11U, 9U, 20U}) bad.Add(lba, EIO);
  EXPECT_EQ(bad.Text(8), "9-12, 20");
  EXPECT_EQ(bad.Total(), 5U);
  EXPECT_EQ(bad.FirstLba(), 9U);
}

TEST(BadRanges, TheErrorIsThatOfTheLowestSector) {
  BadRanges bad;
  bad.Add(100, EIO);
  bad.Add(7, ENODATA);
  bad.Add(50, EREMOTEIO);
  EXPECT_EQ(bad.FirstLba(), 7U);
  EXPECT_EQ(bad.FirstError(), ENODATA);
}

TEST(BadRanges, SectorZeroAndTheVeryLastAreSectorsLikeOthers) {
  BadRanges bad;
  bad.Add(~std::uint64_t{0}, EIO);
  bad.Add(0, EIO);
  EXPECT_EQ(bad.FirstLba(), 0U);
  EXPECT_EQ(bad.Text(8), "0, 18446744073709551615");
}

TEST(BadRanges, ListIsBoundedAndTheCountIsNot) {
  BadRanges bad(2);
  for (const std::uint64_t lba : {30U, 10U, 20U, 31U, 5U}) bad.Add(lba, EIO);
  EXPECT_EQ(bad.Total(), 5U);
  EXPECT_EQ(bad.FirstLba(), 5U);
  EXPECT_FALSE(bad.IsComplete());
  EXPECT_EQ(bad.Text(8), "10, 30-31, ...");
}

TEST(BadRanges, TextIsCutAtTheAskedNumber) {
  BadRanges bad;
  for (const std::uint64_t lba : {1U, 3U, 5U}) bad.Add(lba, EIO);
  EXPECT_EQ(bad.Text(3), "1, 3, 5");
  EXPECT_EQ(bad.Text(2), "1, 3, ...");
}

}  // namespace
}  // namespace orvan::storage

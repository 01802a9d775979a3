#include "service/modules/storage/block_order.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace orvan::storage {
namespace {

std::vector<std::uint64_t> All(const BlockOrder& order) {
  std::vector<std::uint64_t> blocks;
  for (std::uint64_t i = 0; i < order.count; ++i) blocks.push_back(order.at(i));
  return blocks;
}

using Blocks = std::vector<std::uint64_t>;

TEST(BlockOrder, LinearIsFromFirstToLast) {
  EXPECT_EQ(All(LinearOrder(4)), (Blocks{0, 1, 2, 3}));
}

TEST(BlockOrder, FunnelAlternatesFromBothEdgesTowardTheMiddle) {
  EXPECT_EQ(All(FunnelOrder(5, 5)), (Blocks{0, 4, 1, 3, 2}));
  EXPECT_EQ(All(FunnelOrder(6, 100)), (Blocks{0, 5, 1, 4, 2, 3}));
}

TEST(BlockOrder, FunnelSpreadsFewBlocksOverTheWholeRange) {
  EXPECT_EQ(All(FunnelOrder(101, 5)), (Blocks{0, 100, 25, 75, 50}));
  EXPECT_EQ(All(FunnelOrder(11, 4)), (Blocks{0, 10, 3, 6}));
}

TEST(BlockOrder, FunnelOfOneBlockAndOfNone) {
  EXPECT_EQ(All(FunnelOrder(1, 1024)), (Blocks{0}));
  EXPECT_EQ(All(FunnelOrder(1000, 1)), (Blocks{0}));
  EXPECT_EQ(FunnelOrder(0, 5).count, 0U);
}

TEST(BlockOrder, FunnelDoesNotOverflowOnTheLargestDisk) {
  const std::uint64_t total = std::uint64_t{1} << 63;
  const BlockOrder order = FunnelOrder(total, 16777216);
  EXPECT_EQ(order.at(1), total - 1);
  std::uint64_t last = 0;
  for (std::uint64_t place = 1; place < 1000; ++place) {
    EXPECT_GT(order.at(2 * place), last);
    last = order.at(2 * place);
  }
}

TEST(BlockOrder, RandomReadsEachBlockOnceForEverySizeAndSeed) {
  for (std::uint64_t total = 1; total <= 70; ++total) {
    const Blocks blocks = All(RandomOrder(total, total + 5, total * 31));
    EXPECT_EQ(blocks.size(), total);
    const std::set<std::uint64_t> different(blocks.begin(), blocks.end());
    EXPECT_EQ(different.size(), total);
    EXPECT_LT(*different.rbegin(), total);
  }
}

TEST(BlockOrder, RandomFollowsFromTheSeedAlone) {
  EXPECT_EQ(All(RandomOrder(1000, 50, 1)), All(RandomOrder(1000, 50, 1)));
  EXPECT_NE(All(RandomOrder(1000, 50, 1)), All(RandomOrder(1000, 50, 2)));
}

TEST(BlockOrder, RandomSpreadsOverTheWholeRange) {
  // 4096 of a million blocks: each sixteenth of the range is due 256; under 128 or over 512 would
  // be more than eight standard deviations off.
  const std::uint64_t total = 1048576;
  std::vector<int> hits(16);
  for (const std::uint64_t block : All(RandomOrder(total, 4096, 7))) ++hits[block * 16 / total];
  for (const int count : hits) {
    EXPECT_GT(count, 128);
    EXPECT_LT(count, 512);
  }
}

}  // namespace
}  // namespace orvan::storage

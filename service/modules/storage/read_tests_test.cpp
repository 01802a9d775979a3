#include <gtest/gtest.h>

#include "service/modules/storage/read_test_support.h"

// What sets the tests that read a surface apart.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

// 1 GiB in blocks of 256 KiB, of which each answer takes so long.
constexpr std::uint64_t kGib = 2U << 20;  // sectors

TEST(FunnelRead, AlternatesBetweenTheEdgesOneBlockAtATime) {
  ReadBench bench;
  bench.Run("Q", "f", {{"blocks", "5"}, {"block_kib", "64"}, {"last_lba", "1151"}});
  std::vector<std::uint64_t> blocks;
  for (const auto& read : bench.submitted) blocks.push_back(read.offsetBytes / 65536);
  EXPECT_EQ(blocks, (std::vector<std::uint64_t>{0, 8, 2, 6, 4}));
  EXPECT_EQ(bench.opened.depth, 1U);
}

TEST(RandomRead, SaysItsSeedAndRepeatsWithIt) {
  ReadBench first;
  const sdk::Verdict verdict = first.Run("Q", "r");
  ASSERT_EQ(first.context->messages.size(), 1U);
  const std::string message = first.context->messages[0];
  const std::string prefix = "|READING_IN_RANDOM_ORDER_WITH_SEED_";
  ASSERT_TRUE(message.starts_with(prefix));
  const std::string seed = message.substr(prefix.size());
  EXPECT_TRUE(verdict.found.ends_with(", seed " + seed));
  ReadBench second;
  second.Run("Q", "r", {{"seed", seed}});
  ASSERT_EQ(first.submitted.size(), second.submitted.size());
  for (std::size_t i = 0; i < first.submitted.size(); ++i) {
    EXPECT_EQ(first.submitted[i].offsetBytes, second.submitted[i].offsetBytes);
  }
}

TEST(RandomRead, TakesAnotherSeedEachTimeAndOnlyWhenNoneIsGiven) {
  ReadBench bench;
  bench.chance = 0x80000000 + 17;
  bench.Run("Q", "r");
  bench.Run("Q", "r", {{"seed", "5"}});
  EXPECT_EQ(bench.context->messages[0], "|READING_IN_RANDOM_ORDER_WITH_SEED_5");
  const sdk::Verdict verdict = bench.Run("Q", "r");
  EXPECT_EQ(bench.context->messages[0], "|READING_IN_RANDOM_ORDER_WITH_SEED_19");
  EXPECT_TRUE(verdict.found.ends_with(", seed 19"));
}

TEST(LinearRead, ReadsTheWholeSurfaceInOrder) {
  ReadBench bench;
  bench.Run("E", "l");
  std::uint64_t next = 0;
  for (const auto& read : bench.submitted) {
    EXPECT_EQ(read.offsetBytes, next);
    next += read.sizeBytes;
  }
  EXPECT_EQ(next, kSectors * 512);
}

TEST(LinearRead, MeasuresItsRateOverTheSurface) {
  ReadBench bench({}, kGib);
  bench.eachLook = 10ms;
  bench.Run("E", "l", {{"block_kib", "256"}});
  ASSERT_EQ(bench.context->series.size(), 1U);
  const sdk::MeasurementSeries& rates = bench.context->series[0];
  EXPECT_EQ(rates.name, "read-rate-over-surface");
  EXPECT_EQ(rates.unit, "B/s");
  EXPECT_EQ(rates.axis, "lba");
  EXPECT_GT(rates.points.size(), 200U);
  EXPECT_LE(rates.points.size(), sdk::kMostSeriesPoints);
}

TEST(RandomRead, MeasuresHowItsAnswersSpread) {
  ReadBench bench({}, kGib);
  bench.eachLook = 10ms;
  bench.Run("Q", "r", {{"blocks", "500"}});
  ASSERT_EQ(bench.context->series.size(), 1U);
  const sdk::MeasurementSeries& times = bench.context->series[0];
  EXPECT_EQ(times.name, "answer-times");
  EXPECT_EQ(times.kind, sdk::MeasurementSeries::Kind::kHistogram);
  double counted = 0;
  for (const auto& point : times.points) counted += point.value;
  EXPECT_EQ(counted, 500);
  EXPECT_GT(times.points.front().position, 0.009);
}

}  // namespace
}  // namespace orvan::storage

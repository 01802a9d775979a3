#include "service/modules/storage/latencies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

// By its definition: the least time for which so many do not exceed it.
std::chrono::nanoseconds SlowPercentile(const Latencies& times, std::uint32_t perMille) {
  std::chrono::nanoseconds least = std::chrono::nanoseconds::max();
  for (const auto candidate : times) {
    const auto below = std::count_if(times.begin(), times.end(),
                                     [candidate](auto time) { return time <= candidate; });
    const bool isEnough = static_cast<std::uint64_t>(below) * 1000 >= times.size() * perMille;
    if (isEnough) least = std::min(least, candidate);
  }
  return least;
}

TEST(Latencies, PercentilesAreWhatTheirDefinitionSays) {
  std::mt19937 random(11);
  for (const std::size_t size : {1U, 2U, 3U, 10U, 99U, 100U, 101U, 999U, 1000U, 1001U}) {
    Latencies times;
    for (std::size_t i = 0; i < size; ++i) times.emplace_back(random() % 500);
    std::sort(times.begin(), times.end());
    for (const std::uint32_t perMille : {1U, 500U, 950U, 990U, 999U, 1000U}) {
      EXPECT_EQ(PercentileOf(times, perMille), SlowPercentile(times, perMille))
          << size << ' ' << perMille;
    }
  }
}

TEST(Latencies, PercentilesOfATableMadeByHand) {
  Latencies times;
  for (int i = 1; i <= 1000; ++i) times.emplace_back(i);
  EXPECT_EQ(PercentileOf(times, 500), 500ns);
  EXPECT_EQ(PercentileOf(times, 950), 950ns);
  EXPECT_EQ(PercentileOf(times, 990), 990ns);
  EXPECT_EQ(PercentileOf(times, 999), 999ns);
  EXPECT_EQ(PercentileOf(times, 1000), 1000ns);
  EXPECT_EQ(PercentileOf({1ns, 2ns}, 500), 1ns);
}

sdk::MeasurementSeries HistogramOf(const char* name, const Latencies& times) {
  LatencyHistogram histogram;
  for (const auto time : times) histogram.Add(time);
  return histogram.Series(name);
}

TEST(Latencies, AHistogramCountsUpToItsBounds) {
  // 1 ms is the bound at place 20: 10 us * 10^2. 1.2 ms lies below the next one, 1.2589 ms.
  const auto series = HistogramOf("read-times", {999us, 1ms, 1200us, 3s});
  EXPECT_EQ(series.kind, sdk::MeasurementSeries::Kind::kHistogram);
  EXPECT_EQ(series.axisUnit, "s");
  ASSERT_EQ(series.points.size(), 36U);  // from place 20 to 55: 3.1623 s
  EXPECT_NEAR(series.points[0].position, 1e-3, 1e-9);
  EXPECT_EQ(series.points[0].value, 2);
  EXPECT_NEAR(series.points[1].position, 1.2589e-3, 1e-6);
  EXPECT_EQ(series.points[1].value, 1);
  EXPECT_EQ(series.points[2].value, 0);
  EXPECT_NEAR(series.points.back().position, 3.1623, 1e-3);
  EXPECT_EQ(series.points.back().value, 1);
}

TEST(Latencies, AHistogramTakesAnyTime) {
  const auto series = HistogramOf("read-times", {0ns, 5000s});
  EXPECT_LE(series.points.size(), sdk::kMostSeriesPoints);
  EXPECT_EQ(series.points.front().value, 1);
  EXPECT_EQ(series.points.back().position, 5000);
  EXPECT_TRUE(HistogramOf("read-times", {}).points.empty());
}

TEST(Latencies, TheBoundsOfAHistogramGoFrom10MicrosecondsTo1000Seconds) {
  const auto series = HistogramOf("read-times", {0ns, 10us, 11us, 900s});
  ASSERT_EQ(series.points.size(), 81U);
  EXPECT_EQ(series.points[0].position, 1e-5);
  EXPECT_EQ(series.points[0].value, 2);
  EXPECT_NEAR(series.points[1].position, 1.2589e-5, 1e-9);
  EXPECT_EQ(series.points[1].value, 1);
  EXPECT_NEAR(series.points[80].position, 1000, 1e-6);
  EXPECT_EQ(series.points[80].value, 1);
}

}  // namespace
}  // namespace orvan::storage

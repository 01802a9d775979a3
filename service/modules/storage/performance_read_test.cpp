#include <gtest/gtest.h>

#include <algorithm>

#include "service/modules/storage/read_test_support.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

// 1 GiB in blocks of 256 KiB, of which each answer takes so long.
constexpr std::uint64_t kGib = 2U << 20;  // sectors
const sdk::ParameterValues kSmall = {{"block_kib", "256"}, {"spot_mib", "4"}, {"reads", "200"}};

sdk::ParameterValues With(sdk::ParameterValues values) {
  values.insert(kSmall.begin(), kSmall.end());
  return values;
}

TEST(PerformanceRead, MeasuresRatesTimesAndTheirCourse) {
  ReadBench bench({}, kGib);
  bench.eachLook = 10ms;
  EXPECT_EQ(bench.Run("E", "p", kSmall).status, kTestPassed);
  for (const char* name : {"outer-read-rate", "middle-read-rate", "inner-read-rate"}) {
    const sdk::Measurement& rate = bench.context->Measured(name);
    EXPECT_EQ(rate.unit, "B/s");
    EXPECT_GT(rate.value, 1e7);
    EXPECT_LT(rate.value, 2e8);  // four blocks at once, every 10 ms
    EXPECT_TRUE(rate.limits.empty());
  }
  EXPECT_NEAR(bench.context->Measured("inner-to-outer").value, 1, 0.5);
  const double median = bench.context->Measured("random-read-median").value;
  EXPECT_GE(median, 0.010);
  EXPECT_LT(median, 0.030);
  double last = median;
  for (const char* name : {"random-read-95-percent", "random-read-99-percent",
                           "random-read-99.9-percent", "random-read-slowest"}) {
    EXPECT_GE(bench.context->Measured(name).value, last) << name;
    last = bench.context->Measured(name).value;
  }
  ASSERT_EQ(bench.context->series.size(), 2U);
  EXPECT_EQ(bench.context->series[0].name, "random-read-times");
  double counted = 0;
  for (const auto& point : bench.context->series[0].points) counted += point.value;
  EXPECT_EQ(counted, 200);
  EXPECT_EQ(bench.context->series[1].name, "read-rate-over-surface");
  EXPECT_EQ(bench.context->series[1].points.size(), 32U);
}

TEST(PerformanceRead, TakesTimesOfOneReadAtATime) {
  ReadBench bench({}, kGib);
  bench.Run("E", "p", kSmall);
  EXPECT_EQ(bench.opened.depth, 1U);
  EXPECT_EQ(bench.opened.largestReadBytes, 4096U);
  EXPECT_EQ(bench.submitted.size(), 200U);
}

TEST(PerformanceRead, LessThanWasWantedIsAWarningOnceItWasReadAgain) {
  ReadBench bench({}, kGib);
  bench.eachLook = 10ms;
  const sdk::Verdict verdict = bench.Run("E", "p", With({{"least_mibs", "1000"}}));
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_TRUE(verdict.message.starts_with("|ITS_BEGIN_READS_WITH_")) << verdict.message;
  EXPECT_TRUE(verdict.message.ends_with("_|MI|B/S,_AT_LEAST_1000_WERE_WANTED")) << verdict.message;
  EXPECT_EQ(bench.context->Measured("again-bytes-read").value, 128 << 20);
  ASSERT_EQ(bench.context->Measured("outer-read-rate").limits.size(), 1U);
  EXPECT_EQ(bench.context->Measured("outer-read-rate").limits[0].value, 1000.0 * (1 << 20));
}

TEST(PerformanceRead, WhatWasSlowForAWhileOnlyPasses) {
  ReadBench bench({}, kGib);
  bench.eachLook = 400ms;
  int opened = 0;
  bench.onOpen = [&] {
    if (++opened == 3) bench.eachLook = 1ms;
  };
  const sdk::Verdict verdict = bench.Run("E", "p", With({{"least_mibs", "100"}}));
  EXPECT_EQ(opened, 3);
  EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
  EXPECT_GT(bench.context->Measured("outer-read-rate").value, 100 << 20);
}

TEST(PerformanceRead, ItsProgressNeverFalls) {
  ReadBench bench({}, kGib);
  bench.eachLook = 10ms;
  bench.Run("E", "p", With({{"least_mibs", "1000"}}));
  EXPECT_TRUE(std::is_sorted(bench.context->percents.begin(), bench.context->percents.end()));
  EXPECT_EQ(bench.context->percents.back(), 100);
}

TEST(PerformanceRead, EndsWithItsTime) {
  ReadBench bench({}, kGib);
  bench.eachLook = 400ms;
  const sdk::Verdict verdict = bench.Run("E", "p", With({{"seconds", "2"}}));
  EXPECT_EQ(verdict.status, kTestPassed);
  EXPECT_NE(verdict.message.find("|TIME_IS_UP:_"), std::string::npos);
}

}  // namespace
}  // namespace orvan::storage

#include "service/core/execution_record.h"

#include <gtest/gtest.h>

#include <ctime>

#include "tests/support/test_folder.h"

namespace orvan::core {
namespace {

// POSIX zones, which need no files of the system.
std::string TextIn(const std::string& zone, std::int64_t milliseconds) {
  const TestVariable variable("TZ", zone);
  tzset();
  return LocalTimeText(milliseconds);
}

constexpr std::int64_t kNovember = 1732176000007;  // 2024-11-21 08:00:00.007 UTC
constexpr std::int64_t kJuly = 1720000000999;      // 2024-07-03 09:46:40.999 UTC

TEST(LocalTimeText, HasTheOffsetOfItsDay) {
  const char* const berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
  EXPECT_EQ(TextIn(berlin, kNovember), "2024-11-21T09:00:00.007+01:00");
  EXPECT_EQ(TextIn(berlin, kJuly), "2024-07-03T11:46:40.999+02:00");
}

TEST(LocalTimeText, WritesOffsetsOfEitherSignAndOfPartsOfAnHour) {
  EXPECT_EQ(TextIn("UTC0", kNovember), "2024-11-21T08:00:00.007+00:00");
  EXPECT_EQ(TextIn("NST3:30", kNovember), "2024-11-21T04:30:00.007-03:30");
  EXPECT_EQ(TextIn("WEST0:30", kNovember), "2024-11-21T07:30:00.007-00:30");
  EXPECT_EQ(TextIn("NPT-5:45", kNovember), "2024-11-21T13:45:00.007+05:45");
}

TEST(LocalTimeText, ATimeBeforeTheEpochRoundsDownToItsSecond) {
  EXPECT_EQ(TextIn("UTC0", -1), "1969-12-31T23:59:59.999+00:00");
}

std::string TextOf(std::int64_t microseconds) {
  return DurationText(std::chrono::microseconds(microseconds));
}

TEST(DurationText, IsSecondsToTheNearestMillisecond) {
  EXPECT_EQ(TextOf(0), "0.000");
  EXPECT_EQ(TextOf(400), "0.000");
  EXPECT_EQ(TextOf(600), "0.001");
  EXPECT_EQ(TextOf(12'345'000), "12.345");
  EXPECT_EQ(TextOf(999'900), "1.000");
  EXPECT_EQ(TextOf(86'400'000'000), "86400.000");
}

}  // namespace
}  // namespace orvan::core

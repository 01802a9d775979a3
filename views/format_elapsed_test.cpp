#include <gtest/gtest.h>

#include <limits>

#include "tests/support/console_capture.h"
#include "views/orvan_stdio.h"

namespace {

std::string Elapsed(double seconds) {
  tarvex::ConsoleCapture console;
  return OrvanStdio(console).FormatElapsed(seconds);
}

TEST(FormatElapsed, ZeroIsPlural) {
  EXPECT_EQ(Elapsed(0), "0 seconds");
}

TEST(FormatElapsed, OneIsSingular) {
  EXPECT_EQ(Elapsed(1), "1 second");
  EXPECT_EQ(Elapsed(3661), "1 hour 1 minute 1 second");
}

TEST(FormatElapsed, AFullHourHasNoMinutesButSeconds) {
  EXPECT_EQ(Elapsed(3600), "1 hour 0 seconds");
}

TEST(FormatElapsed, PartsAreCutAndNotRounded) {
  EXPECT_EQ(Elapsed(59.999), "59 seconds");
  EXPECT_EQ(Elapsed(7319.9), "2 hours 1 minute 59 seconds");
  EXPECT_EQ(Elapsed(120), "2 minutes 0 seconds");
}

TEST(FormatElapsed, WhatIsNoPositiveNumberCountsAsZero) {
  EXPECT_EQ(Elapsed(-5), "0 seconds");
  EXPECT_EQ(Elapsed(std::numeric_limits<double>::quiet_NaN()), "0 seconds");
}

TEST(FormatElapsed, NumbersBeyondMeasureStayDefined) {
  // 1e15 seconds are 277777777777 hours, 46 minutes and 40 seconds.
  EXPECT_EQ(Elapsed(std::numeric_limits<double>::infinity()),
            "277777777777 hours 46 minutes 40 seconds");
}

}  // namespace

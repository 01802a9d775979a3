#include "host/number_handler.h"

#include <gtest/gtest.h>

#include <limits>

namespace tarvex {
namespace {

TEST(NumberHandlerTest, GivesDecimalTextOfZeroAndSmallValues) {
  NumberHandler handler;
  EXPECT_EQ(handler.NumberToString(0), "0");
  EXPECT_EQ(handler.NumberToString(42), "42");
  EXPECT_EQ(handler.NumberToString(-7), "-7");
}

TEST(NumberHandlerTest, GivesDecimalTextOfBothEndsOfTheRange) {
  NumberHandler handler;
  EXPECT_EQ(handler.NumberToString(std::numeric_limits<std::int64_t>::max()),
            "9223372036854775807");
  EXPECT_EQ(handler.NumberToString(std::numeric_limits<std::int64_t>::min()),
            "-9223372036854775808");
}

}  // namespace
}  // namespace tarvex

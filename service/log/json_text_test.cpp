#include "service/log/json_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace orvan::log {
namespace {

TEST(JsonText, EscapesWhatJsonDoesNotTake) {
  EXPECT_EQ(JsonText(""), "\"\"");
  EXPECT_EQ(JsonText("a\"b\\c/d"), "\"a\\\"b\\\\c/d\"");
  EXPECT_EQ(JsonText("\n\r\t\x01\x1F\x7F"), "\"\\n\\r\\t\\u0001\\u001f\\u007f\"");
  EXPECT_EQ(JsonText(std::string("a\0b", 3)), "\"a\\u0000b\"");
}

TEST(JsonText, WritesWhatSteersATerminalByItsNumber) {
  EXPECT_EQ(JsonText("\xC2\x80|\xC2\x9F|\xE2\x80\xAE|\xE2\x80\xA8"),
            "\"\\u0080|\\u009f|\\u202e|\\u2028\"");
}

TEST(JsonText, KeepsWellFormedUtf8) {
  const std::string text = "\xC2\xA0 \xE2\x82\xAC \xED\x9F\xBF \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF";
  EXPECT_EQ(JsonText(text), '"' + text + '"');
}

TEST(JsonText, ReplacesEachByteThatIsNoUtf8) {
  const std::string bad = "\xEF\xBF\xBD";
  EXPECT_EQ(JsonText("a\xFF"), "\"a" + bad + "\"");
  EXPECT_EQ(JsonText("\xC0\x80"), '"' + bad + bad + '"');
  EXPECT_EQ(JsonText("\xE2\x82"), '"' + bad + bad + '"');
  EXPECT_EQ(JsonText("\xED\xA0\x80"), '"' + bad + bad + bad + '"');
  EXPECT_EQ(JsonText("\xE0\x9F\x80"), '"' + bad + bad + bad + '"');
  EXPECT_EQ(JsonText("\xF4\x90\x80\x80"), '"' + bad + bad + bad + bad + '"');
  EXPECT_EQ(JsonText("\xF0\x8F\x80\x80"), '"' + bad + bad + bad + bad + '"');
}

TEST(JsonNumber, IsShortestAndReadsBack) {
  EXPECT_EQ(JsonNumber(0), "0");
  EXPECT_EQ(JsonNumber(-7), "-7");
  EXPECT_EQ(JsonNumber(0.1), "0.1");
  EXPECT_EQ(JsonNumber(1e12), "1000000000000");
  EXPECT_EQ(JsonNumber(9007199254740992), "9007199254740992");
  EXPECT_EQ(JsonNumber(1e300), "1e+300");
}

TEST(JsonNumber, IsATextWhereThereIsNoNumber) {
  EXPECT_EQ(JsonNumber(std::numeric_limits<double>::quiet_NaN()), "\"nan\"");
  EXPECT_EQ(JsonNumber(std::numeric_limits<double>::infinity()), "\"inf\"");
  EXPECT_EQ(JsonNumber(-std::numeric_limits<double>::infinity()), "\"-inf\"");
}

TEST(JsonObject, KeepsTheOrderOfItsMembers) {
  EXPECT_EQ(JsonObject().Take(), "{}");
  EXPECT_EQ(JsonObject().Text("b", "x\n").Number("a", 2).Raw("c", "[]").Take(),
            R"({"b":"x\n","a":2,"c":[]})");
}

}  // namespace
}  // namespace orvan::log

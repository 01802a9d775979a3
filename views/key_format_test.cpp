#include "views/key_format.h"

#include <gtest/gtest.h>

#include <limits>

#include "views/hdk_io.h"
#include "views/message_keys.h"
#include "views/status_words.h"

namespace tarvex {
namespace {

TEST(FormatKey, MarksRaiseTheNextByteAndUnderscoresBecomeBlanks) {
  EXPECT_EQ(FormatKey("PRESS_|E|S|C_TO_ABORT", false, true, true), "Press ESC to abort");
}

TEST(FormatKey, TitleCaseRaisesEveryWordBehindAnUnderscore) {
  EXPECT_EQ(FormatKey("RESULT_CODE: ", true, true, true), "Result Code: ");
  EXPECT_EQ(FormatKey("RESULT_CODE", true, false, true), "Result Code");
}

TEST(FormatKey, TitleCaseDoesNotRaiseBehindABlankOfTheKey) {
  EXPECT_EQ(FormatKey("RESULT CODE", true, true, true), "Result code");
}

TEST(FormatKey, CapitalizeFirstRaisesTheFirstByteOnly) {
  EXPECT_EQ(FormatKey("RESULT_CODE", false, true, true), "Result code");
}

TEST(FormatKey, WithoutFlagsInfoTagLowersAllButTheLetterBehindTheBar) {
  EXPECT_EQ(FormatKey(kInfoTag, false, false, true), "[Info]");
  EXPECT_EQ(FormatKey(kInfoTag, false, false, false), "[info]");
}

TEST(FormatKey, WithoutMarksUnderscoresStayAndBarsGoWithoutRaising) {
  EXPECT_EQ(FormatKey("A_|B_C", true, true, false), "A_b_c");
  EXPECT_EQ(FormatKey("|A", false, true, false), "A");
}

TEST(FormatKey, AByteWithoutCaseUsesUpTheRaise) {
  EXPECT_EQ(FormatKey("(ABC)_1X", true, true, true), "(abc) 1x");
  EXPECT_EQ(FormatKey(" |FINAL", true, true, true), " Final");
}

TEST(FormatKey, BytesOfUtf8StayAsTheyAre) {
  EXPECT_EQ(FormatKey("\xC3\x84\xC3\xA9Z", true, true, true), "\xC3\x84\xC3\xA9z");
}

TEST(FormatKey, EmptyKeyGivesEmptyText) {
  EXPECT_EQ(FormatKey("", true, true, true), "");
}

TEST(FormatMarkedKey, OnlyAKeyThatBeginsWithAnUnderscoreIsFormatted) {
  EXPECT_EQ(FormatMarkedKey("", true, true), "");
  EXPECT_EQ(FormatMarkedKey("DISK_|A", true, true), "DISK_|A");
  EXPECT_EQ(FormatMarkedKey("_DISK_SIZE", true, true), "Disk Size");
  EXPECT_EQ(FormatMarkedKey("_DISK_SIZE", false, false), "disk size");
  EXPECT_EQ(FormatMarkedKey("_", true, true), "");
}

TEST(FormatElapsed, ZeroIsPlural) {
  EXPECT_EQ(FormatElapsed(0), "0 seconds");
}

TEST(FormatElapsed, OneIsSingular) {
  EXPECT_EQ(FormatElapsed(1), "1 second");
  EXPECT_EQ(FormatElapsed(3661), "1 hour 1 minute 1 second");
}

TEST(FormatElapsed, AFullHourHasNoMinutesButSeconds) {
  EXPECT_EQ(FormatElapsed(3600), "1 hour 0 seconds");
}

TEST(FormatElapsed, PartsAreCutAndNotRounded) {
  EXPECT_EQ(FormatElapsed(59.999), "59 seconds");
  EXPECT_EQ(FormatElapsed(7319.9), "2 hours 1 minute 59 seconds");
  EXPECT_EQ(FormatElapsed(120), "2 minutes 0 seconds");
}

TEST(FormatElapsed, WhatIsNoPositiveNumberCountsAsZero) {
  EXPECT_EQ(FormatElapsed(-5), "0 seconds");
  EXPECT_EQ(FormatElapsed(std::numeric_limits<double>::quiet_NaN()), "0 seconds");
}

TEST(FormatElapsed, NumbersBeyondMeasureStayDefined) {
  // 1e15 seconds are 277777777777 hours, 46 minutes and 40 seconds.
  EXPECT_EQ(FormatElapsed(std::numeric_limits<double>::infinity()),
            "277777777777 hours 46 minutes 40 seconds");
}

TEST(FormatFieldName, NameOf24BytesIsWholeWithTwoBlanks) {
  EXPECT_EQ(FormatFieldName("ABCDEFGHIJKLMNOPQRSTUVWX"), "Abcdefghijklmnopqrstuvwx  ");
}

TEST(FormatFieldName, NameOf25BytesIsCutTo21AndDots) {
  EXPECT_EQ(FormatFieldName("ABCDEFGHIJKLMNOPQRSTUVWXY"), "Abcdefghijklmnopqrstu...  ");
}

TEST(FormatFieldName, MarksCountForTheColumnThoughTheyVanish) {
  // 14 bytes stored, 11 shown, 12 blanks.
  EXPECT_EQ(FormatFieldName("|P|C|I_EXPRESS"), "PCI Express            ");
}

TEST(FormatFieldName, EmptyNameIsAllBlanks) {
  EXPECT_EQ(FormatFieldName(""), std::string(26, ' '));
}

struct WordsRow {
  TestStatus status;
  const char* console;
  char digit;
  const char* record;
};

TEST(StatusWords, EachStatusHasItsWordsAndDigit) {
  const WordsRow rows[] = {
      {0, "PASSED", '1', "PASSED"},
      {1, "FAILED", '0', "FAILED"},
      {2, "URECOGNIZED", '5', "UNRECOGNIZED"},
      {3, "NOT_APPLICABLE", '2', nullptr},
      {4, "CANCELED", '4', "CANCELED"},
      {5, "WARNING", '3', "WARNING"},
      {6, "INVALID", '5', "INVALID"},
      {7, "NONE", '5', ""},
      {0xFFFFFFFFU, "NONE", '5', ""},
  };
  for (const WordsRow& row : rows) {
    const StatusWords& words = WordsOf(row.status);
    EXPECT_STREQ(words.console, row.console) << row.status;
    EXPECT_EQ(words.supervisorDigit, row.digit) << row.status;
    EXPECT_STREQ(words.record, row.record) << row.status;
  }
}

TEST(ParameterTypeName, NamesEachTypeAndUnknown) {
  EXPECT_STREQ(ParameterTypeName(0), "BOOLEAN");
  EXPECT_STREQ(ParameterTypeName(1), "TEXT");
  EXPECT_STREQ(ParameterTypeName(2), "INTEGER");
  EXPECT_STREQ(ParameterTypeName(3), "UNKNOWN");
  EXPECT_STREQ(ParameterTypeName(4), "UNKNOWN");
  EXPECT_STREQ(ParameterTypeName(-1), "UNKNOWN");
}

}  // namespace
}  // namespace tarvex

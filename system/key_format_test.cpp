#include "system/key_format.h"

#include <gtest/gtest.h>

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
  EXPECT_EQ(FormatKey("[|INFO]", false, false, true), "[Info]");
  EXPECT_EQ(FormatKey("[|INFO]", false, false, false), "[info]");
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

TEST(KeyToText, LowersLettersAndTurnsUnderscoresIntoBlanks) {
  EXPECT_EQ(KeyToText("THERE_ARE_none"), "there are none");
  EXPECT_EQ(KeyToText(""), "");
}

TEST(KeyToText, ABarGoesAndRaisesTheNextLetter) {
  EXPECT_EQ(KeyToText("_|TARVEX_|HELM_|DESK"), " Tarvex Helm Desk");
  EXPECT_EQ(KeyToText("(|S|S|D)"), "(SSD)");
  EXPECT_EQ(KeyToText("[|WARNING]"), "[Warning]");
}

TEST(KeyToText, BlanksLeaveTheNextLetterRaised) {
  EXPECT_EQ(KeyToText("|_ab"), " Ab");
  EXPECT_EQ(KeyToText("| ab"), " Ab");
}

TEST(KeyToText, AByteWithoutCaseUsesTheRaiseUp) {
  EXPECT_EQ(KeyToText("|1ab"), "1ab");
}

TEST(KeyToText, CapitalizeFirstRaisesTheFirstLetter) {
  EXPECT_EQ(KeyToText("ID", true), "Id");
  EXPECT_EQ(KeyToText("IT_IS_NOT", true), "It is not");
}

TEST(KeyToText, AProtectedStretchStaysAsItIs) {
  EXPECT_EQ(KeyToText("A^B_|C$D"), "aB_|Cd");
  EXPECT_EQ(KeyToText("A^B_C"), "aB_C");
  EXPECT_EQ(KeyToText("^$A$"), "a$");
  EXPECT_EQ(KeyToText("A^"), "a");
  EXPECT_EQ(KeyToText("^A^B$"), "A^B");
}

TEST(KeyToText, AProtectedStretchLeavesTheRaiseToWhatFollows) {
  EXPECT_EQ(KeyToText("|^ab$cd"), "abCd");
}

TEST(KeyToText, BytesOutsideAsciiStay) {
  EXPECT_EQ(KeyToText("|\xC3\xA4\xC3\x84X"), "\xC3\xA4\xC3\x84x");
}

TEST(KeyToText, ProtectedWrapsAText) {
  EXPECT_EQ(Protected("A_b"), "^A_b$");
  EXPECT_EQ(KeyToText(Protected("A_b")), "A_b");
}

}  // namespace
}  // namespace tarvex

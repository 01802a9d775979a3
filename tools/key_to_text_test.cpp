#include "tools/key_to_text.h"

#include <gtest/gtest.h>

namespace {

using tarvex::KeyToText;

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
  EXPECT_EQ(tarvex::Protected("A_b"), "^A_b$");
  EXPECT_EQ(KeyToText(tarvex::Protected("A_b")), "A_b");
}

}  // namespace

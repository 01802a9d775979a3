#include "companions/complete/typed_line.h"

#include <gtest/gtest.h>

namespace tarvex::complete {
namespace {

using Words = std::vector<std::string>;

TEST(TypedLineTest, PartsWordsAtBlanksOutsideOfQuotes) {
  EXPECT_EQ(SplitLine("p -Q\"f, r\" 'a b' c\\ d").words, (Words{"p", "-Qf, r", "a b", "c d"}));
}

TEST(TypedLineTest, TheWordInHandMayBeEmpty) {
  EXPECT_EQ(SplitLine("p  -A ").words, (Words{"p", "-A", ""}));
  EXPECT_EQ(SplitLine("").words, Words{""});
}

TEST(TypedLineTest, AnEmptyQuotedWordIsAWord) {
  EXPECT_EQ(SplitLine("p \"\" x").words, (Words{"p", "", "x"}));
}

TEST(TypedLineTest, KnowsTheQuoteThatIsOpen) {
  EXPECT_EQ(SplitLine("p -Q\"f,").quote, '"');
  EXPECT_EQ(SplitLine("p -Q'f,").quote, '\'');
  EXPECT_EQ(SplitLine("p -Q\"f'\"").quote, '\0');
  EXPECT_EQ(SplitLine("p -Q\"f'").quote, '"');
}

TEST(TypedLineTest, TakesNothingForMoreThanText) {
  EXPECT_EQ(SplitLine("p \"$(x)`y`\"").words.back(), "$(x)`y`");
  EXPECT_EQ(Unquoted("'a'\"b\"\\c\"\\d'\""), "abcd'");
}

// The shell says which end of the word it replaces.
TEST(TypedLineTest, AReplyTakesThePlaceOfWhatIsReplaced) {
  EXPECT_EQ(ReplyFor(SplitLine("p -M"), "-M", "-Mstorage"), "-Mstorage");
  EXPECT_EQ(ReplyFor(SplitLine("p --module=s"), "s", "--module=storage"), "storage");
  EXPECT_EQ(ReplyFor(SplitLine("p -Q\"f,r(bl"), "f,r(bl", "-Qf,r(blocks="), "f,r(blocks=");
}

TEST(TypedLineTest, AReplyOutsideOfQuotesHasItsParenthesesEscaped) {
  EXPECT_EQ(ReplyFor(SplitLine("p -Qf"), "-Qf", "-Qf("), "-Qf\\(");
  EXPECT_EQ(ReplyFor(SplitLine("p -Qf\\(blocks="), "", "-Qf(blocks=8)"), "8\\)");
}

// A backslash would escape the one of the reply.
TEST(TypedLineTest, NoReplyAmidAnEscape) {
  EXPECT_EQ(ReplyFor(SplitLine("p -Qf\\"), "", "-Qf("), std::nullopt);
}

TEST(TypedLineTest, NoReplyWhereTheLineEndsOtherwise) {
  EXPECT_EQ(ReplyFor(SplitLine("p -M"), "-A", "-Mstorage"), std::nullopt);
  EXPECT_EQ(ReplyFor(SplitLine("p -Qx"), "x", "-Afoo"), std::nullopt);
}

}  // namespace
}  // namespace tarvex::complete

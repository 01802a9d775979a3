#include "service/modules/storage/self_test/self_test_history.h"

#include <gtest/gtest.h>

namespace orvan::storage {
namespace {

// Letters are tests, newest first: capitals are extended ones, each letter another end.
TestHistory Of(const std::string& letters, std::optional<std::size_t> newest = {},
               std::size_t places = 4) {
  TestHistory history;
  history.places = places;
  history.newestPlace = newest;
  for (const char letter : letters) {
    RememberedTest test;
    test.kind = letter < 'a' ? SelfTestKind::kExtended : SelfTestKind::kShort;
    test.words = letter;
    history.tests.push_back(test);
  }
  return history;
}

// The letter of the test that was begun between them; empty: none.
std::string Between(const TestHistory& before, const TestHistory& after, bool wasSeen = false) {
  const auto test = TestStartedBetween(before, after, SelfTestKind::kShort, wasSeen);
  return test ? test->words : "";
}

TEST(TestHistoryTest, TheOneInFrontOfTheOldOnesIsNew) {
  EXPECT_EQ(Between(Of(""), Of("a")), "a");
  EXPECT_EQ(Between(Of("b"), Of("ab")), "a");
  EXPECT_EQ(Between(Of("aa"), Of("aaa")), "a");
  EXPECT_EQ(Between(Of("bcde"), Of("abcd")), "a");
  EXPECT_EQ(Between(Of("ab"), Of("ab")), "");
  EXPECT_EQ(Between(Of(""), Of("")), "");
  EXPECT_EQ(Between(Of("abcd"), Of("abcd"), true), "");
}

TEST(TestHistoryTest, OfSeveralTheOldestOfItsKindIsOurs) {
  EXPECT_EQ(Between(Of("c"), Of("abc")), "b");
  EXPECT_EQ(Between(Of("c"), Of("aBc")), "a");
  EXPECT_EQ(Between(Of("c"), Of("Ac")), "");
  EXPECT_EQ(Between(Of("wxyz"), Of("abcd")), "d");
}

TEST(TestHistoryTest, WhereAllIsAlikeItCountsThatItWasSeen) {
  EXPECT_EQ(Between(Of("aaaa"), Of("aaaa")), "");
  EXPECT_EQ(Between(Of("aaaa"), Of("aaaa"), true), "a");
  EXPECT_EQ(Between(Of("aa"), Of("aa"), true), "a");  // a log of two places
}

TEST(TestHistoryTest, ALogThatWasClearedHasOnlyNewOnesWhereThatIsCertain) {
  EXPECT_EQ(Between(Of("bcd"), Of("a")), "");
  EXPECT_EQ(Between(Of("bcd"), Of("")), "");
}

TEST(TestHistoryTest, InARingThePlaceTells) {
  EXPECT_EQ(Between(Of("", 0), Of("a", 1)), "a");
  EXPECT_EQ(Between(Of("aa", 2), Of("aaa", 3)), "a");
  EXPECT_EQ(Between(Of("aaaa", 4), Of("aaaa", 1)), "a");
  EXPECT_EQ(Between(Of("aaaa", 3), Of("baaa", 1)), "a");
  EXPECT_EQ(Between(Of("aaaa", 2), Of("aaaa", 2), true), "");
  EXPECT_EQ(Between(Of("a", 1, 1), Of("b", 1, 1)), "b");
  EXPECT_EQ(Between(Of("ab", 2), Of("", 0)), "");
  EXPECT_EQ(Between(Of("ab", 2), Of("cb", 2)), "c");  // its end was written over its begin
}

// Nothing that a drive may claim leads beyond its entries.
TEST(TestHistoryTest, PlacesThatAreNotThereAreNotLookedAt) {
  EXPECT_EQ(Between(Of("", 0), Of("a", 4)), "a");
  EXPECT_EQ(Between(Of("a", 3), Of("b", 2)), "b");
  EXPECT_EQ(Between(Of("a", 1), Of("b", 2, 0)), "");
}

}  // namespace
}  // namespace orvan::storage

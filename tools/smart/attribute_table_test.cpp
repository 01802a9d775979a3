#include "tools/smart/attribute_table.h"

#include <gtest/gtest.h>

#include <array>

namespace {

constexpr std::array kColumns{AttributeColumn{"FIRST_ONE", 12}, AttributeColumn{"B", 4},
                              AttributeColumn{"C", 3}};

std::string Rows(std::string_view text) {
  return tarvex::AttributeRows(kColumns, text);
}

TEST(AttributeTableTest, HeadsHaveOneCapitalAndTheirColumnsWidth) {
  EXPECT_EQ(tarvex::AttributeHead(kColumns), "First one   B   C  \n");
}

TEST(AttributeTableTest, ARecordBecomesARowInTheOrderOfItsPairs) {
  EXPECT_EQ(Rows(R"([{"x":"one","x":"2","":"3"},{"a":"uno","b":"dos","c":"x y"}])"),
            "one         2   3  \n"
            "uno         dos x y\n");
}

TEST(AttributeTableTest, WithoutARecordThereIsNoRow) {
  for (const char* text : {"", "one", "[]", R"("a":"b")", "}{", "}", "{", R"({"a":"b")"}) {
    EXPECT_EQ(Rows(text), "") << text;
  }
  // What stands before the brace that is missing counts.
  EXPECT_EQ(Rows(R"({"a":"1"},{"a":"2")"), "1           \n");
}

TEST(AttributeTableTest, ARecordOfFewerPairsMakesAShorterRow) {
  EXPECT_EQ(Rows(R"({"a":"1","b":"2"})"), "1           2   \n");
  EXPECT_EQ(Rows("{}{ }"), "\n\n");
}

TEST(AttributeTableTest, PairsBehindTheLastColumnAreNotShown) {
  EXPECT_EQ(Rows(R"({"a":"1","b":"2","c":"3","d":"4"})"), "1           2   3  \n");
}

TEST(AttributeTableTest, AValueThatIsLongerThanItsColumnIsWhole) {
  EXPECT_EQ(Rows(R"({"a":"a long first value","b":"four","c":"3"})"),
            "a long first valuefour3  \n");
}

TEST(AttributeTableTest, AValueBeginsTwoCharactersBehindTheColonWhateverTheyAre) {
  // A blank in front of the quote: the quote at once ends the value that it should begin.
  EXPECT_EQ(Rows(R"({"a": "1","b":"2"})"), std::string(12, ' ') + "2   \n");
  // A number without quotes loses its first digit, and takes all up to the next quote.
  EXPECT_EQ(Rows(R"({"a":123,"b":"2"})"), "23,         2   \n");
}

TEST(AttributeTableTest, ColonsWithinAValueAreItsOwn) {
  EXPECT_EQ(Rows(R"({"a":"12:30:00","b":":"})"), "12:30:00    :   \n");
}

TEST(AttributeTableTest, BracesWithinARecordAreNotCounted) {
  EXPECT_EQ(Rows(R"({"a":"{1","b":"2"}})"), "{1          2   \n");
  EXPECT_EQ(Rows(R"({"a":"1}","b":"2"})"), "1           \n");
}

TEST(AttributeTableTest, AValueThatDoesNotEndGoesToTheEndOfItsRecord) {
  EXPECT_EQ(Rows(R"({"a":"1,b:2})"), "1,b:2       \n");
  // No closing quote here may be found in the next record.
  EXPECT_EQ(Rows(R"({"a":"1}{"a":"2"})"), "1           \n2           \n");
}

TEST(AttributeTableTest, AColonAtTheEndOfARecordHasAnEmptyValue) {
  const std::string empty = std::string(12, ' ') + "\n";
  EXPECT_EQ(Rows("{:}"), empty);
  EXPECT_EQ(Rows(R"({:"})"), empty);
  EXPECT_EQ(Rows(R"({:""})"), empty);
}

TEST(AttributeTableTest, AColumnIsAsWideAsWhatIsSeen) {
  EXPECT_EQ(Rows("{:\"gr\xC3\xBC\xC3\x9F\",:\"2\"}"), "gr\xC3\xBC\xC3\x9F        2   \n");
}

TEST(AttributeTableTest, ZeroBytesAreKept) {
  using namespace std::string_literals;
  EXPECT_EQ(Rows("{\"a\0\":\"x\0y\"}"s), "x\0y         \n"s);
}

TEST(AttributeTableTest, MegabytesAreNoTrouble) {
  // In time that grew with the square of it, each of these would last for hours.
  constexpr std::size_t kSize = 8'000'000;
  EXPECT_EQ(Rows(std::string(kSize, '{')), "");
  EXPECT_EQ(Rows(std::string(kSize, '}')), "");
  // The first value takes all but the colon and the sign behind it, without a blank at its end.
  EXPECT_EQ(Rows("{" + std::string(kSize, ':') + "}").size(), kSize - 2 + 1);
  EXPECT_EQ(Rows("{:\"" + std::string(kSize, 'x') + "}").size(), kSize + 1);
  std::string many;
  for (std::size_t i = 0; i < kSize / 8; ++i) many += "{:\"\",:\"";
  EXPECT_EQ(Rows(many), "");
  for (std::size_t i = 0; i < kSize / 8; ++i) many += "{:\"\"}";
  EXPECT_EQ(Rows(many).size(), 12 + 4 + 3 + 1 + (kSize / 8 - 1) * 13);
}

}  // namespace

#include "companions/history/postgresql/copy_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace tarvex::history {
namespace {

using namespace std::string_view_literals;

std::string RowOf(std::string_view text) {
  CopyText rows;
  rows.Text(text).EndRow();
  return rows.Rows();
}

TEST(CopyText, SeparatesColumnsAndEndsRows) {
  CopyText rows;
  rows.Text("a").Whole(-7).Truth(true).Null().EndRow();
  rows.TextOrNull("").TextOrNull("b").Truth(false).WholeOrNull(std::nullopt).EndRow();
  EXPECT_EQ(rows.Rows(), "a\t-7\tt\t\\N\n\\N\tb\tf\t\\N\n");
}

TEST(CopyText, KeepsWhatSeparatesApartFromWhatATextHolds) {
  EXPECT_EQ(RowOf("a\tb\nc\rd\\e"), "a\\tb\\nc\\rd\\\\e\n");
  EXPECT_EQ(RowOf("\\."), "\\\\.\n");
  EXPECT_EQ(RowOf("\\N"), "\\\\N\n");
}

TEST(CopyText, ReplacesWhatTheDatabaseDoesNotTake) {
  EXPECT_EQ(RowOf("a\0b"sv),
            "a\xEF\xBF\xBD"
            "b\n");
  EXPECT_EQ(RowOf("a\xFF"
                  "b"),
            "a\xEF\xBF\xBD"
            "b\n");
  EXPECT_EQ(RowOf("\xED\xA0\x80").find('\xED'), std::string::npos);
  EXPECT_EQ(RowOf("\xC3\xA4\xF0\x9F\x98\x80"), "\xC3\xA4\xF0\x9F\x98\x80\n");
}

TEST(CopyText, WritesNumbersThatReadBackAsTheyAre) {
  CopyText rows;
  rows.Real(0.1).Real(1e300).Real(std::nullopt).Real(9007199254740993.0).EndRow();
  EXPECT_EQ(rows.Rows(), "0.1\t1e+300\t\\N\t9007199254740992\n");
}

TEST(CopyText, WritesWhatIsNoNumberAsTheDatabaseKnowsIt) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  CopyText rows;
  rows.Reals({1, kInfinity, -kInfinity, std::numeric_limits<double>::quiet_NaN()}).EndRow();
  rows.Reals({}).EndRow();
  EXPECT_EQ(rows.Rows(), "{1,Infinity,-Infinity,NaN}\n{}\n");
}

TEST(QuotedJson, EscapesWhatJsonDoesNotTake) {
  EXPECT_EQ(QuotedJson("a\"b\\c\n\x1F"), R"("a\"b\\c\u000a\u001f")");
  EXPECT_EQ(QuotedJson("\0"sv), "\"\xEF\xBF\xBD\"");
}

TEST(QuotedJson, HasNoNumberForWhatIsNone) {
  EXPECT_EQ(JsonOf(0.5), "0.5");
  EXPECT_EQ(JsonOf(std::numeric_limits<double>::infinity()), "null");
}

}  // namespace
}  // namespace tarvex::history

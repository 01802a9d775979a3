#include "companions/history/table_text.h"

#include <gtest/gtest.h>

#include <limits>

#include "companions/history/run_report.h"

namespace tarvex::history {
namespace {

TEST(TableText, ColumnsAreAsWideAsTheirWidestCell) {
  EXPECT_EQ(TableText({{"A", "B"}, {"\xC3\xA4\xC3\xB6\xC3\xBC", "x"}, {"longer"}}),
            "A       B\n\xC3\xA4\xC3\xB6\xC3\xBC     x\nlonger\n");
}

TEST(CsvLine, QuotesWhatHasToBe) {
  EXPECT_EQ(CsvLine().Text("a b").Text("").Text("a,b").Text("say \"x\"").Text("two\nlines").Take(),
            "a b,,\"a,b\",\"say \"\"x\"\"\",\"two\nlines\"\r\n");
}

TEST(CsvLine, ATextIsNoFormulaAndANumberIsOne) {
  for (const char* text : {"=1+1", "+1", "-1", "@SUM(A1)"}) {
    EXPECT_EQ(CsvLine().Text(text).Take(), "'" + std::string(text) + "\r\n");
  }
  EXPECT_EQ(CsvLine().Text("\t=1").Take(), "'\t=1\r\n");
  EXPECT_EQ(CsvLine().Text("=a,b").Take(), "\"'=a,b\"\r\n");
  EXPECT_EQ(CsvLine().Number(-1.5).Number(3).Number({}).Take(), "-1.5,3,\r\n");
}

TEST(ValueForPeople, ScalesBytesAndLeavesTheRest) {
  EXPECT_EQ(ValueForPeople(1500000000, "B/s"), "1.5 GB/s");
  EXPECT_EQ(ValueForPeople(999, "B"), "999 B");
  EXPECT_EQ(ValueForPeople(1500000000, ""), "1500000000");
  EXPECT_EQ(ValueForPeople(0.0012345, "s"), "0.001234 s");
  EXPECT_EQ(ValueForPeople(-3, "C"), "-3 C");
}

}  // namespace
}  // namespace tarvex::history

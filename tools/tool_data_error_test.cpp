#include "tools/tool_data_error.h"

#include "tests/fakes/tool_test.h"

namespace {

using Values = std::vector<std::string>;

class ToolDataErrorTest : public ToolTest {};

TEST_F(ToolDataErrorTest, TheWordOfAToolIsItsKeyWithoutMarksInSmallLetters) {
  EXPECT_EQ(tarvex::ToolWord(module.AddTool("|RECOVER_|BAD_SECTORS", "", "")),
            "recover_bad_sectors");
}

TEST_F(ToolDataErrorTest, EnoughValuesAreNoError) {
  tarvex::NeedValues("some", "Property", {}, 0);
  tarvex::NeedValues("some", "Property", {"a"}, 1);
  tarvex::NeedValues("some", "Property", {"a", "b"}, 1);
}

TEST_F(ToolDataErrorTest, TooFewAreTheStandardsErrorAndWhatIsMissing) {
  const Values values{"a"};
  std::string standard;
  try {
    static_cast<void>(values.at(1));
  } catch (const std::out_of_range& error) {
    standard = error.what();
  }
  try {
    tarvex::NeedValues("some", "Property", values, 2);
    FAIL();
  } catch (const std::out_of_range& error) {
    EXPECT_EQ(error.what(), standard);
    const auto* told = dynamic_cast<const ToolDataError*>(&error);
    ASSERT_NE(told, nullptr);
    EXPECT_STREQ(told->Missing(), "tool some, property Property: 1 of 2 values");
  }
}

}  // namespace

#include "frontend/cli_diagnostic.h"

#include <gtest/gtest.h>

namespace {

std::string Numbered(int number) {
  return "name" + std::to_string(number);
}

// A list of that many records, each with its place for a text.
struct Lists : ::testing::TestWithParam<int> {
  Lists() {
    for (int i = 0; i < GetParam(); ++i) records.Add(Numbered(i))->testsText = std::to_string(i);
  }
  NamedRecords<CliDiagnostic> records;
};

TEST_P(Lists, EveryRecordIsFoundByItsName) {
  for (int i = 0; i < GetParam(); ++i) {
    ASSERT_NE(records.Find(Numbered(i)), nullptr) << i;
    EXPECT_EQ(records.Find(Numbered(i))->testsText, std::to_string(i));
  }
}

TEST_P(Lists, OtherNamesAreNotFound) {
  EXPECT_EQ(records.Find(Numbered(GetParam())), nullptr);
  EXPECT_EQ(records.Find("NAME0"), nullptr) << "exact text";
  EXPECT_EQ(records.Find(""), nullptr);
}

TEST_P(Lists, RecordsComeInTheOrderOfTheirMention) {
  ASSERT_EQ(records.size(), static_cast<std::size_t>(GetParam()));
  int number = 0;
  for (const auto& [name, record] : records) {
    EXPECT_EQ(name, Numbered(number));
    EXPECT_EQ(records.at(static_cast<std::size_t>(number)).second, record);
    ++number;
  }
}

TEST_P(Lists, ARecordStaysWhereItIs) {
  CliDiagnostic* last = records.Find(Numbered(GetParam() - 1));
  for (int i = 0; i < 100; ++i) records.Add("more" + std::to_string(i));
  EXPECT_EQ(records.Find(Numbered(GetParam() - 1)), last);
}

TEST_P(Lists, AClearedListIsEmptyAndTakesTheNamesAgain) {
  records.clear();
  EXPECT_TRUE(records.empty());
  EXPECT_EQ(records.Find(Numbered(0)), nullptr);
  CliDiagnostic* added = records.Add(Numbered(0));
  EXPECT_EQ(records.Find(Numbered(0)), added);
}

// Below, at and beyond the length up to which a list is searched.
INSTANTIATE_TEST_SUITE_P(Lengths, Lists, ::testing::Values(1, 15, 16, 17, 18, 1000));

}  // namespace

#include "service/sdk/rows.h"

#include <gtest/gtest.h>

#include "service/sdk/module_test_support.h"

namespace orvan::sdk {
namespace {

constexpr Row kTest{"FIRST_TEST", "f", "first-test", TestKey(7, 1, 2, 3), "looks"};
constexpr Row kQuick{"QUICK_TEST", "Q", "quick", DiagnosticKey(9, kDiagnosticKindQuick, 4),
                     "looks in seconds"};

DiagnosticRecord Quick() {
  TestWork work;
  work.parameters.push_back(SpecOf({"blocks", "BLOCKS", "", 1, 8}, 1));
  work.run = [](TestContext&) { return Verdict::Canceled(); };
  return MakeDiagnostic(kQuick, {MakeTest(kTest, std::move(work))});
}

TEST(Rows, ATestHasItsRowAndItsWork) {
  const TestRecord test = Quick().tests.at(0);
  EXPECT_EQ(test.name, "FIRST_TEST");
  EXPECT_EQ(test.option, "f");
  EXPECT_EQ(test.longName, "first-test");
  EXPECT_EQ(test.summary, "looks");
  EXPECT_EQ(test.key.identifier, 7U);
  EXPECT_EQ(test.key.major, 1U);
  EXPECT_EQ(test.key.minor, 2U);
  EXPECT_EQ(test.key.build, 3U);
  EXPECT_EQ(test.parameters.at(0).name, "blocks");
  testing::RememberingContext context(nullptr);
  EXPECT_EQ(test.run(context).status, kTestCanceled);
}

TEST(Rows, ADiagnosticHasItsRowAndItsTests) {
  const DiagnosticRecord quick = Quick();
  EXPECT_EQ(quick.name, "QUICK_TEST");
  EXPECT_EQ(quick.option, "Q");
  EXPECT_EQ(quick.longName, "quick");
  EXPECT_EQ(quick.summary, "looks in seconds");
  EXPECT_EQ(quick.key.identifier, 9U);
  EXPECT_EQ(quick.key.major, 4U);
  EXPECT_EQ(quick.key.minor, kDiagnosticKindQuick);
  EXPECT_EQ(quick.tests.size(), 1U);
}

TEST(Rows, ATestIsFoundByItsDiagnosticAndItsOption) {
  const std::vector<DiagnosticRecord> all = {Quick()};
  EXPECT_EQ(testing::FindTest(all, "Q", "f").name, "FIRST_TEST");
  EXPECT_THROW(testing::FindTest(all, "Q", "g"), std::out_of_range);
  EXPECT_THROW(testing::FindTest(all, "E", "f"), std::out_of_range);
}

}  // namespace
}  // namespace orvan::sdk

#include "companions/history/worse.h"

#include <gtest/gtest.h>

namespace tarvex::history {
namespace {

struct Case {
  const char* name;
  double before;
  double after;
  bool isWorse;
};

TEST(IsWorse, EachMeasurementHasItsDirectionAndMeasure) {
  const std::vector<Case> cases{
      {"unreadable-sectors", 0, 1, true},
      {"unreadable-sectors", 1, 1, false},
      {"unreadable-sectors", 1, 0, false},
      {"pending-sectors", 0, 8, true},
      {"read-errors-not-corrected", 0, 1, true},
      {"read-rate", 500, 401, false},
      {"read-rate", 500, 400, false},
      {"read-rate", 500, 399, true},
      {"read-rate", 400, 500, false},
      {"outer-read-rate", 500, 300, true},
      {"slowest-answer", 0.01, 0.09, false},  // twice as slow, and still fast
      {"slowest-answer", 1, 1.5, false},
      {"slowest-answer", 1, 2, false},
      {"slowest-answer", 1, 2.5, true},
      {"random-read-median", 0.001, 0.004, false},
      {"random-read-median", 0.02, 0.03, false},
      {"random-read-median", 0.02, 0.031, true},
      {"temperature", 30, 40, false},
      {"temperature", 30, 41, true},
      {"temperature", 40, 20, false},
      {"available-spare", 100, 99, true},
      {"percentage-used", 3, 4, true},
      {"smart-1-raw-read-error-rate-value", 100, 98, false},
      {"smart-1-raw-read-error-rate-value", 100, 97, true},
      {"smart-9-power-on-hours", 1, 2, false},
      {"power-on-hours", 1, 2, false},
      {"data-units-written", 1, 2, false},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(IsWorse(one.name, one.before, one.after), one.isWorse)
        << one.name << ' ' << one.before << ' ' << one.after;
  }
}

DeviceRun RunWith(const std::string& id, std::vector<TestFacts> tests) {
  DeviceRun run;
  run.run.id = id;
  run.facts.tests = std::move(tests);
  return run;
}

TEST(WhatGotWorse, ComparesATestWithItselfAlone) {
  const TestFacts other{"storage", "Q", "OTHER", Verdict::kPassed, {{"unreadable-sectors", 0, ""}},
                        {}};
  const TestFacts now{"storage", "Q", "TEST", Verdict::kFailed, {{"unreadable-sectors", 9, ""}},
                      {{7, 1}}};
  EXPECT_TRUE(WhatGotWorse({RunWith("1", {other}), RunWith("2", {now})}, 1).empty());
  TestFacts same = other;
  same.test = "TEST";
  EXPECT_EQ(WhatGotWorse({RunWith("1", {same}), RunWith("2", {now})}, 1).size(), 3U);
  same.values[0].unit = "B";  // another thing by the same name
  EXPECT_EQ(WhatGotWorse({RunWith("1", {same}), RunWith("2", {now})}, 1).size(), 2U);
}

// Both diagnostics of a run may have a test of that name.
TEST(WhatGotWorse, TakesTheWorseOfTwoInOneRunAsWhatWasKnown) {
  const TestFacts quick{"storage",
                        "Q",
                        "TEST",
                        Verdict::kPassed,
                        {{"unreadable-sectors", 0, ""}, {"read-rate", 500, ""}},
                        {}};
  const TestFacts extended{"storage",
                           "E",
                           "TEST",
                           Verdict::kFailed,
                           {{"unreadable-sectors", 5, ""}, {"read-rate", 300, ""}},
                           {}};
  for (const auto& both : {std::vector{quick, extended}, std::vector{extended, quick}}) {
    EXPECT_TRUE(WhatGotWorse({RunWith("1", both), RunWith("2", both)}, 1).empty());
    std::vector<TestFacts> more = both;
    for (TestFacts& test : more) {
      if (test.diagnostic == "E")
        test.values = {{"unreadable-sectors", 6, ""}, {"read-rate", 200, ""}};
    }
    const auto found = WhatGotWorse({RunWith("1", both), RunWith("2", more)}, 1);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].valueBefore, 5);
    EXPECT_EQ(found[1].valueBefore, 300);
  }
}

TEST(Facts, ComeBackFromTheirText) {
  const std::vector<TestFacts> tests{{"storage",
                                      "QUICK_TEST",
                                      "READ_TEST",
                                      Verdict::kNotApplicable,
                                      {{"rate \"x\"", -1.5, "B/s"}, {"n", 0, ""}},
                                      {{2048, 3}, {1e15, 1}}},
                                     {"m", "", "T", Verdict::kFailed, {}, {}}};
  const auto back = FactsOfText(TextOfFacts(tests));
  ASSERT_TRUE(back);
  EXPECT_EQ(TextOfFacts(*back), TextOfFacts(tests));
  ASSERT_EQ(back->size(), 2U);
  EXPECT_EQ(back->at(0).verdict, Verdict::kNotApplicable);
  EXPECT_EQ(back->at(0).values.at(0).name, "rate \"x\"");
  EXPECT_EQ(back->at(0).bad, tests[0].bad);
  EXPECT_EQ(back->at(1).test, "T");
}

TEST(Facts, AnotherTextIsNone) {
  for (const char* text : {"", "{}", "[]", "x", R"({"tests":[7]})", R"({"tests":[{"r":"odd"}]})",
                           R"({"tests":[{"r":"failed","v":[{"n":"a"}],"b":[]}]})",
                           R"({"tests":[{"r":"failed","v":[],"b":[[1]]}]})"}) {
    EXPECT_FALSE(FactsOfText(text)) << text;
  }
}

}  // namespace
}  // namespace tarvex::history

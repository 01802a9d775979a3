#include "service/core/group_result.h"

#include <gtest/gtest.h>

namespace orvan::core {
namespace {

std::string Worst(std::initializer_list<TestStatus> statuses) {
  WorstVerdict worst;
  for (const TestStatus status : statuses) {
    worst.Add(status);
  }
  return worst.Word();
}

TEST(WorstVerdict, RanksFailedWarningCanceledPassedInvalidNotApplicable) {
  EXPECT_EQ(Worst({}), "NONE");
  EXPECT_EQ(Worst({kTestNotApplicable}), "NOT_APPLICABLE");
  EXPECT_EQ(Worst({kTestNotApplicable, kTestInvalid}), "INVALID");
  EXPECT_EQ(Worst({kTestInvalid, kTestPassed}), "PASSED");
  EXPECT_EQ(Worst({kTestPassed, kTestCanceled}), "CANCELED");
  EXPECT_EQ(Worst({kTestCanceled, kTestWarning}), "WARNING");
  EXPECT_EQ(Worst({kTestWarning, kTestFailed}), "FAILED");
}

TEST(WorstVerdict, WhatComesLaterDoesNotMakeItBetter) {
  EXPECT_EQ(Worst({kTestFailed, kTestPassed, kTestNotApplicable}), "FAILED");
  EXPECT_EQ(Worst({kTestPassed, kTestInvalid}), "PASSED");
}

TEST(WorstVerdict, AnUnknownStatusCountsForNothing) {
  EXPECT_EQ(Worst({kTestUnrecognized, 99}), "NONE");
  EXPECT_EQ(Worst({kTestPassed, kTestUnrecognized}), "PASSED");
}

TEST(ProvisionalCode, JoinsVersionWordAndGroup) {
  WorstVerdict worst;
  worst.Add(kTestPassed);
  EXPECT_EQ(ProvisionalCode("5.0.0.0", worst, 1732176000), "5.0.0.0-PASSED-1732176000");
}

TEST(ProvisionalCode, KeepsTheVersionShortAndPlain) {
  EXPECT_EQ(ProvisionalCode("1.0 beta-2", WorstVerdict(), -1), "1.0_beta_2-NONE--1");
  EXPECT_EQ(ProvisionalCode(std::string(100, 'v'), WorstVerdict(), 0),
            std::string(24, 'v') + "-NONE-0");
}

}  // namespace
}  // namespace orvan::core

#pragma once

#include <array>
#include <cstdint>

// The integer status of a finished test. Values outside this list may arrive.
using TestStatus = std::uint32_t;

inline constexpr TestStatus kTestPassed = 0;
inline constexpr TestStatus kTestFailed = 1;
inline constexpr TestStatus kTestUnrecognized = 2;
inline constexpr TestStatus kTestNotApplicable = 3;
inline constexpr TestStatus kTestCanceled = 4;
inline constexpr TestStatus kTestWarning = 5;
inline constexpr TestStatus kTestInvalid = 6;

namespace tarvex {

// What a status is called and what outranks what, for all that show, keep or count statuses.
struct TestStatusRow {
  TestStatus status;
  const char* word;       // in capitals; a channel that spells one in its own way says so itself
  int rank;               // of several statuses the greatest decides; 0: never decides
  std::int32_t exitCode;  // of a run that it decides; -1: none
};
inline constexpr std::array<TestStatusRow, 7> kTestStatusRows{{
    {kTestPassed, "PASSED", 3, 0},
    {kTestFailed, "FAILED", 6, 21},
    {kTestUnrecognized, "UNRECOGNIZED", 0, -1},
    {kTestNotApplicable, "NOT_APPLICABLE", 1, 23},
    {kTestCanceled, "CANCELED", 4, 25},
    {kTestWarning, "WARNING", 5, 22},
    {kTestInvalid, "INVALID", 2, 24},
}};

// The row of the status; null for one outside the list.
constexpr const TestStatusRow* FindStatus(TestStatus status) {
  for (const TestStatusRow& row : kTestStatusRows) {
    if (row.status == status) return &row;
  }
  return nullptr;
}

}  // namespace tarvex

#pragma once

#include <cstdint>

// The integer status of a finished test. Values outside this list may arrive; every table that
// turns a status into a word has a row for them.
using TestStatus = std::uint32_t;

inline constexpr TestStatus kTestPassed = 0;
inline constexpr TestStatus kTestFailed = 1;
inline constexpr TestStatus kTestUnrecognized = 2;
inline constexpr TestStatus kTestNotApplicable = 3;
inline constexpr TestStatus kTestCanceled = 4;
inline constexpr TestStatus kTestWarning = 5;
inline constexpr TestStatus kTestInvalid = 6;

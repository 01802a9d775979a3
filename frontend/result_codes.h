#pragma once

#include <cstdint>

// Values of Cli::result, and so of the exit status.
inline constexpr std::int32_t kResultNone = -1;
inline constexpr std::int32_t kResultPassed = 0;
inline constexpr std::int32_t kResultHostFailed = 1;
inline constexpr std::int32_t kResultNoPrivileges = 3;
inline constexpr std::int32_t kResultAlreadyRunning = 4;
inline constexpr std::int32_t kResultUnrecognizedOption = 5;
inline constexpr std::int32_t kResultOutputFile = 6;
inline constexpr std::int32_t kResultFailed = 21;
inline constexpr std::int32_t kResultWarning = 22;
inline constexpr std::int32_t kResultNotApplicable = 23;
inline constexpr std::int32_t kResultInvalid = 24;
inline constexpr std::int32_t kResultCanceled = 25;
inline constexpr std::int32_t kResultNoModule = 30;
inline constexpr std::int32_t kResultNoDevice = 31;
inline constexpr std::int32_t kResultNothingToRun = 32;
inline constexpr std::int32_t kResultNoTool = 34;

// Parse codes: how parsing ended. Never the exit status.
inline constexpr int kParseOk = 0;
inline constexpr int kParseRedirection = 6;
inline constexpr int kParseFatal = 70;
inline constexpr int kParseNoTest = 72;
inline constexpr int kParseFile = 173;

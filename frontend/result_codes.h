#pragma once

#include <cstdint>

#include "boundary/orvan_service_status.h"

// Values of Cli::result, and so of the exit status.
inline constexpr std::int32_t kResultNone = -1;
inline constexpr std::int32_t kResultPassed = tarvex::FindStatus(kTestPassed)->exitCode;
inline constexpr std::int32_t kResultHostFailed = 1;
inline constexpr std::int32_t kResultNoPrivileges = 3;
inline constexpr std::int32_t kResultAlreadyRunning = 4;
inline constexpr std::int32_t kResultUnrecognizedOption = 5;
inline constexpr std::int32_t kResultOutputFile = 6;
inline constexpr std::int32_t kResultFailed = tarvex::FindStatus(kTestFailed)->exitCode;
inline constexpr std::int32_t kResultWarning = tarvex::FindStatus(kTestWarning)->exitCode;
inline constexpr std::int32_t kResultNotApplicable =
    tarvex::FindStatus(kTestNotApplicable)->exitCode;
inline constexpr std::int32_t kResultCanceled = tarvex::FindStatus(kTestCanceled)->exitCode;
inline constexpr std::int32_t kResultNoModule = 30;
inline constexpr std::int32_t kResultNoDevice = 31;
inline constexpr std::int32_t kResultNothingToRun = 32;
inline constexpr std::int32_t kResultNoTool = 34;

// Whether the code of an error outside the tests takes the place of `held`.
bool MayReplace(std::int32_t held, std::int32_t code);
// Whether a status takes the place of `held`, which may be the code of another one.
bool MayReplace(std::int32_t held, const tarvex::TestStatusRow& status);

// Parse codes: how parsing ended. Never the exit status.
inline constexpr int kParseOk = 0;
inline constexpr int kParseRedirection = 6;
inline constexpr int kParseFatal = 70;
inline constexpr int kParseNoTest = 72;
inline constexpr int kParseFile = 173;

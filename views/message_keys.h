#pragma once

#include <string>
#include <string_view>

// The texts of the views in key form: capitals, an underscore for each blank, a bar before a letter
// that stays a capital. FormatKey turns a key into display text.
namespace tarvex {

// What opens an information.
inline constexpr char kInfoTag[] = "[|INFO]";
// A warning: what opens it, a blank, and its text.
inline std::string WarningKey(std::string_view text = {}) {
  return "[|WARNING] " + std::string(text);
}

inline constexpr char kTotalElapsedTimeKey[] = "TOTAL_ELAPSED_TIME";
inline constexpr char kResultCodeKey[] = "RESULT_CODE";
inline constexpr char kFinalResultCodeKey[] = "|FINAL_RESULT_CODE";
inline constexpr char kStartedDiagnosticKey[] = "STARTED_DIAGNOSTIC";
inline constexpr char kFinishedDiagnosticKey[] = "FINISHED_DIAGNOSTIC";
inline constexpr char kTestStatusKey[] = "TEST_STATUS";
inline constexpr char kElapsedTimeKey[] = "ELAPSED_TIME";
inline constexpr char kScanningKey[] = "SCANNING";
inline constexpr char kDevicesKey[] = "DEVICES";
inline constexpr char kFinishedKey[] = "FINISHED";
inline constexpr char kErrorOpeningFileKey[] = "ERROR_OPENING_FILE";

// Three blanks, the indent of result lines.
inline constexpr char kIndent[] = "   ";
// 62 dashes.
inline constexpr char kSeparator[] =
    "--------------------------------------------------------------";

}  // namespace tarvex

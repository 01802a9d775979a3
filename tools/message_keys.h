#pragma once

// The texts that the tools share, in key form; KeyToText makes display text of them. Where a tool
// has its own word for something it is in that tool's table.

inline constexpr char kProgramName[] = "TarvexDiagnosticsCLI";

// What no tool does. The program refuses the same in front of the tool's option.
inline constexpr char kKeyToolInBackground[] = "IT_IS_NOT_POSSIBLE_TO_A_TOOL_IN_BACKGROUND_MODE";
inline constexpr char kKeyToolRedirected[] =
    "IT_IS_NOT_POSSIBLE_TO_REDIRECT_THE_OUTPUT_WHILE_RUNNING_A_TOOL";

namespace tarvex {

// Command lines. What follows a text that ends in a blank is the list that it speaks of.
inline constexpr char kToolUnrecognizedOption[] = "|UNRECOGNIZED_OPTION_FOUND";
inline constexpr char kToolNoValidOption[] = "|NO_VALID_OPTION_SPECIFIED";
inline constexpr char kToolIgnoring[] = "|IGNORING: ";
inline constexpr char kToolUnknownDevices[] =
    "|Following are not available or not applicable devices: ";

// Screens.
inline constexpr char kToolPressEscape[] = "_|PRESS_|E|S|C_|TO_|ABORT_|OPERATIONS";
inline constexpr char kToolErrors[] = "|ERRORS:";
inline constexpr char kToolNoApplicableDevices[] = "THERE_ARE_NO_APPLICABLE_DEVICES_FOR_THIS_TOOL";
inline constexpr char kToolListOfDevices[] = "|LIST_OF_DEVICES";
inline constexpr char kToolDeviceId[] = "|DEVICE_|ID";
inline constexpr char kToolDisplayName[] = "|DISPLAY_|NAME";
inline constexpr char kToolNonRotating[] = "|THIS_DEVICE_IS_A_NON_ROTATING_MEDIA_(|S|S|D)";
inline constexpr char kToolNoDevices[] = "|There are no devices applicable for that operation";

}  // namespace tarvex

#pragma once

#include "tools/message_keys.h"

// Message keys of the front end. The key is what the code holds; the display text is made from it
// when it is shown. Misspellings are part of the keys.

// Names and banner.
inline constexpr char kKeyApplicationName[] = "TARVEX_DIAGNOSTICS_-_C|L|I";
inline constexpr char kKeyPressEscape[] = "PRESS_|E|S|C_TO_ABORT_THE_DIAGNOSTICS";
// The argument by which a background instance knows what it is.
inline constexpr char kBackgroundMarker[] = "--obg-instance";

// Start-up and ending.
inline constexpr char kTextNoPrivileges[] = "Not Enough Privileges";
inline constexpr char kTextAlreadyRunning[] = "A Tarvex Diagnostics Tool is already running";
inline constexpr char kTextNoService[] = "Cannot load Orvan Service";
inline constexpr char kTextNoModules[] = "Cannot load module(s)";
// On standard error, the reason between the two.
inline constexpr char kTextNoServiceThread[] =
    "cannot start the thread of the diagnostic service: ";
inline constexpr char kTextNoThreadHelp[] =
    "; nothing was done. Free memory or raise the limits of processes and threads, and try again";
inline constexpr char kTextNoBackground[] =
    "the run in the background could not be started, and nothing was done: ";
inline constexpr char kTextSecondMarker[] =
    "nothing was started in the background, for --obg-instance marks what is there already";
inline constexpr char kTextLostOutput[] = "output was lost, standard output cannot be written: ";
inline constexpr char kKeyFatalParsingError[] = "FATAL_PARSING_ERROR";
inline constexpr char kKeyRedirectionError[] = "OUTPUT_REDIRECTION_ERROR";
inline constexpr char kKeyNamespaceRemoved[] = "NAMESPACE_REMOVED_SUCCESSFULLY";
inline constexpr char kKeyNamespaceNotRemoved[] = "NAMESPACE_REMOVED_UNSUCCESSFULLY";
inline constexpr char kKeyDataCollectionOn[] = "|DATA_COLLECTION_IS_ENABLED.";
inline constexpr char kKeyDataCollectionOff[] = "|DATA_COLLECTION_IS_DISABLED.";
inline constexpr char kKeyInvalidCacheDirectory[] = "|INVALID_CACHE_DIRECTORY_PASSED.";

// Option parsing.
inline constexpr char kKeyEraseNamespaceUsage[] =
    "TO_ERASE_THE_|TARVEX|DIAGNOSTICS_NAMESPACE,_PLEASE_EXECUTE_THE_COMMAND,_"
    "\"|TARVEX|DIAGNOSTICS|C|L|I.EXE_-R\"";
inline constexpr char kKeyUnrecognizedOption[] = "UNRECOGNIZED_OPTION_FOUND";
inline constexpr char kKeyLoadingModulesFailure[] = "LOADING_MODULES_FAILURE";
inline constexpr char kKeyOptionTableFailure[] = "FAILURE_BUILDING_GETOPT_STRUCTURE_OF_PARSING";
inline constexpr char kKeyDuplicatedOption[] = "DUPLICATED_OPTION_ENTRY,_ONLY_ONE_ENTRY_CONSIDERED";
inline constexpr char kKeyTwoKindsOfInformation[] =
    "USER_ASKED_FOR_MORE_THAN_ONE_KIND_OF_INFORMATION_AT_THE_SAME_TIME";
inline constexpr char kKeyCallerNeedsDataCollection[] =
    "|THE_CALLER_PARAMETER_MUST_COME_ALONG_WITH_DATA-COLLECTION_PARAMETER";
inline constexpr char kKeyMissingCaller[] = "|MISSING_|CALLER_ARGUMENT";
inline constexpr char kKeyInvalidCaller[] =
    "|INVALID_NUMBER_OF_|CALLER_ARGUMENT_PARAMETERS_OR_SOME_PARAMETER_IS_EMPTY";
inline constexpr char kKeyEmptyCaller[] = "|EMPTY_|CALLER_ARGUMENT";
inline constexpr char kKeyEmptyVersion[] = "|EMPTY_|VERSION_NAME";
inline constexpr char kKeyEmptyAppKey[] = "|EMPTY_|APP_KEY";
inline constexpr char kKeyDuplicatedGroup[] = "DUPLICATED_GROUP_SET,_ONLY FIRST ENTRY CONSIDERED";
inline constexpr char kKeyGroupWithoutArgument[] = "GROUP_OPTION_WITH_NO_GROUP_ARGUMENT";
inline constexpr char kKeyNoModuleChosen[] = "NO_MODULE_CHOSEN";
inline constexpr char kKeyUseLowercase[] = "IT_IS_RECOMMENDED_TO_USE_LOWERCASE_ON_MODULES_NAMES";
inline constexpr char kKeyDuplicatedModules[] =
    "DUPLICATED_MODULE(S)_ENTRY,_ONLY_ONE_ENTRY_CONSIDERED_OF_EACH";
inline constexpr char kKeyToolAfterModule[] =
    "THE_-|T_OPTION_MUST_BE_USED_AFTER_THE_-|M\"module_name\"_OPTION";
inline constexpr char kKeyToolOneModule[] = "THE_TOOL_OPTION_MUST_BE_SPECIFIED_FOR_ONLY_ONE_MODULE";
inline constexpr char kKeyToolAlone[] = "THE_-T_OPTION_CANNOT_BE_USED_ALONG_WITH_OTHER_CLI_OPTIONS";
inline constexpr char kKeyToolEndedEarly[] = "THE_TOOL_ENDED_EARLY:_";
inline constexpr char kKeyNoToolChosen[] = "NO_TOOL_CHOSEN";
inline constexpr char kKeyNoModuleLoaded[] = "NO_MODULE_LOADED";
inline constexpr char kKeyNoDataCollectionValue[] =
    "|NO_VALUE_SPECIFIED_FOR_DATA-COLLECTION_PARAMETER.";
inline constexpr char kKeyInvalidParameter[] = "INVALID_PARAMETER";
inline constexpr char kKeyFileNotSpecified[] = "FILE_HAS_NOT_BEEN_SPECIFIED";
inline constexpr char kKeyInformationAndDiagnostic[] =
    "CAN_NOT_SHOW_INFORMATION_AND_PERFORM_DIAGNOSTIC_AT_THE_SAME_TIME";
inline constexpr char kKeyUnnecessaryDevices[] = "UNNECESSARY_DEVICES_CHOSEN";
inline constexpr char kKeyModuleNotNeeded[] =
    "MODULE_CHOSEN_WITH_AN_OPTION_THAT_DOES_NOT_NEED_MODULES";
inline constexpr char kKeyModuleNeeded[] =
    "NO_MODULE_CHOSEN_FOR_OPTION_THAT_HAS_A_MANDATORY_MODULE_NEED";
inline constexpr char kKeyInvalidParametersFormat[] = "TEST_WITH_INVALID_PARAMETERS_FORMAT";
inline constexpr char kKeyFollowingModulesMissing[] = "|FOLLOWING_MODULE(S)_ARE_NOT_AVAILABLE";

// The diagnostic grammar.
inline constexpr char kKeyDiagnosticForNoModule[] = "DIAGNOSTIC_SET_FOR_NO_MODULE";
inline constexpr char kKeyInvalidDiagnostic[] = "INVALID_DIAGNOSTIC_OPTION";
inline constexpr char kKeyFollowingDevicesMissing[] = "FOLLOWING_DEVICE(S)_ARE_NOT_AVAILABLE";
inline constexpr char kKeyGarbage[] = "GARBAGE";
inline constexpr char kKeyOutsideModule[] = "FOUND_OUTSIDE_MODULE_SCOPE";
inline constexpr char kKeyNoDiagnosticToParse[] = "NO_DIAGNOSTIC_TO_BE_PARSED";
inline constexpr char kKeyRedundantDevice[] =
    "REDUNDANT_DEVICE_ENTRY(IES)_ON_DIAGNOSTIC_SCOPE_IGNORED";
inline constexpr char kKeyParenthesesMismatch[] = "PARENTHESES_MISMATCH";
inline constexpr char kKeyEmptyDiagnosticArgument[] = "EMPTY_DIAGNOSTIC_ARGUMENT";
inline constexpr char kKeyClosingWithoutOpening[] = "PATENTHESE_CLOSING_WITHOUT_OPENING";
inline constexpr char kKeyNoClosing[] = "NO_PARENTHESE_CLOSING";
inline constexpr char kKeyNoSeparator[] = "TEST_WITHOUT_SEPARATOR";
inline constexpr char kKeyEmptyTest[] = "EMPTY_TEST";
inline constexpr char kKeyTestNotValid[] = "EXPECTED_TEST_NOT_VALID";
inline constexpr char kKeyArgumentsMandatory[] = "NO_ARGUMENTS_ON_TEST_WITH_MANDATORY_TEST";
inline constexpr char kKeyParameterEmpty[] = "TEST_PARAMETER_EMPTY";

// Warnings composed from lists.
inline constexpr char kKeyTestsTakenAsDevices[] =
    "TEST(S)_NOT_FOUND,_ARGUMENt(S)_TREATED_AS_DEVICE";
inline constexpr char kKeyDuplicatedTests[] =
    "DUPLICATED_TEST(S)_FOUND_ON_DIAGNOSTIC,_ONLY_ONE_ENTRY_CONSIDERED";
inline constexpr char kKeyDuplicatedDevices[] =
    "DUPLICATED_GLOBAL_DEVICE,_ONLY_ONE_ENTRY_CONSIDERED";
inline constexpr char kKeySurplusArguments[] = "NOT_REQUIRED_ARGUMENT(S)_IGNORED_ON_TEST(S)";

// Runs.
inline constexpr char kKeyNoDevicesFound[] = "NO_DEVICES_FOUND_FOR_THIS_MODULE";
inline constexpr char kKeyDevicesNotFound[] = "DEVICES_NOT_FOUND";
inline constexpr char kTextNothingApplicable[] =
    "No selected diagnostics are applicable for the selected devices";
inline constexpr char kTextNotSupportedForDevice[] = " are not supported for device: ";
inline constexpr char kNoDeviceFound[] = "NO_DEVICE_FOUND";
inline constexpr char kKeyExecutingAllModules[] = "EXECUTING_ALL_MODULES";
inline constexpr char kKeyNoTestsForRunAll[] =
    "NO_AVAILABLE_TESTS_FOR_THE_CURRENT_SELECTION_OF_|RUN_|ALL";

// Listings.
inline constexpr char kKeyNoAvailableModules[] = "NO_AVAILABLE_MODULES";
inline constexpr char kKeyNoTools[] = "NO_TOOLS_FOUND_IN_THIS_MODULE";
inline constexpr char kKeyAcceptsCustomParameters[] = "ACCEPTS_CUSTOM_PARAMETERS";

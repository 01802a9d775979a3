#pragma once

// The texts of the Recover Bad Sectors tool, in key form; KeyToText makes display text of them.

inline constexpr char kRbsProgram[] = "_|TARVEX_|HELM_|DESK";
inline constexpr char kRbsTool[] = "|RECOVER_BAD_SECTORS_TOOL";
inline constexpr char kRbsVersion[] = "1.0.0_BETA";

// The command line.
inline constexpr char kRbsAllInvalid[] =
    "|ALL_DEVICES_AND_PARTITIONS_SPECIFIED_ARE_INVALID_TO_THAT_OPERATION";

// The question.
inline constexpr char kRbsDataLoss[] =
    "|THE_EXECUTION_OF_THE_SCAN_AND_REPAIR_CAN_CAUSE_DATA_LOSS._"
    "|IT_IS_RECOMMENDED_TO_MAKE_A_BACKUP_BEFORE_EXECUTE_THIS_OPERATION.";
inline constexpr char kRbsProceed[] = "|ARE_YOU_SURE_YOU_WANT_TO_PROCEED?_(y/n)";

// A run.
inline constexpr char kRbsStarted[] = "|STARTED_|OPERATION:";
inline constexpr char kRbsOperationStatus[] = "|OPERATION_STATUS:";
inline constexpr char kRbsElapsedTime[] = "|ELAPSED_TIME:";
inline constexpr char kRbsSystemEvent[] =
    "|OPERATION_ABORTED_BECAUSE_A_SYSTEM_EVENT_THAT_COULD_COMPROMISE_THE_OUTCOME_HAS_HAPPENED";

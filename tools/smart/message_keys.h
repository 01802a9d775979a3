#pragma once

// The texts of the SMART tool, in key form; KeyToText makes display text of them.

inline constexpr char kSTProgram[] = "_|TARVEX_|DIAGNOSTICS_|C|L|I";
inline constexpr char kSTTool[] = "|SMART_TOOL";

// The command line.
inline constexpr char kSTAllInvalid[] = "|ALL_DEVICES_SPECIFIED_ARE_INVALID_TO_THAT_OPERATION";

// A result without a table.
inline constexpr char kSTNotPossible[] =
    "IT_IS_NOT_POSSIBLE_TO_RETRIEVE_SMART_ATTRIBUTES_FOR_THIS_DEVICE";
inline constexpr char kSTNotEnoughPrivileges[] = "|NOT_ENOUGH_PRIVILEGES";
inline constexpr char kSTNotSupported[] = "|SMART_TOOL_IS_NOT_SUPPORTED_ON_THIS_DEVICE";

// The heads of the tables.
inline constexpr char kSTId[] = "ID";
inline constexpr char kSTDescription[] = "DESCRIPTION";
inline constexpr char kSTThreshold[] = "THRESHOLD";
inline constexpr char kSTValue[] = "VALUE";
inline constexpr char kSTWorst[] = "WORST";
inline constexpr char kSTData[] = "DATA";

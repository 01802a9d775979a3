#pragma once

#include <cstdint>

#include "system/flag_bits.h"

// The flags word of the application object.
inline constexpr std::uint32_t CLI_FLAG_HELP = 0x1;
inline constexpr std::uint32_t CLI_FLAG_VERSION = 0x2;
inline constexpr std::uint32_t CLI_FLAG_LIST_MODULES = 0x4;
inline constexpr std::uint32_t CLI_FLAG_LIST_DEVICES = 0x8;
inline constexpr std::uint32_t CLI_FLAG_LIST_RESOURCES = 0x10;
inline constexpr std::uint32_t CLI_FLAG_LIST_DIAGNOSTICS = 0x20;
inline constexpr std::uint32_t CLI_FLAG_SUPERVISED = 0x40;
inline constexpr std::uint32_t CLI_FLAG_DEVICES_CHOSEN = 0x80;
inline constexpr std::uint32_t CLI_FLAG_INFORMATION = 0x100;
inline constexpr std::uint32_t CLI_FLAG_DIAGNOSTIC = 0x200;
inline constexpr std::uint32_t CLI_FLAG_GROUP = 0x400;
inline constexpr std::uint32_t CLI_FLAG_LIST_TOOLS = 0x800;
inline constexpr std::uint32_t CLI_FLAG_TOOL = 0x1000;
inline constexpr std::uint32_t CLI_FLAG_OUTPUT_FILE = 0x2000;
inline constexpr std::uint32_t CLI_FLAG_BACKGROUND = 0x4000;
inline constexpr std::uint32_t CLI_FLAG_BACKGROUND_INSTANCE = 0x8000;
inline constexpr std::uint32_t CLI_FLAG_RUN_ALL = 0x10000;
inline constexpr std::uint32_t CLI_FLAG_NO_ABORT_BANNER = 0x20000;
inline constexpr std::uint32_t CLI_FLAG_CALLER = 0x40000;
inline constexpr std::uint32_t CLI_FLAG_LIST_PARAMETERS = 0x80000;
inline constexpr std::uint32_t CLI_FLAG_VALIDATE = 0x100000;
inline constexpr std::uint32_t CLI_FLAG_DATA_COLLECTION_SET = 0x200000;
inline constexpr std::uint32_t CLI_FLAG_DATA_COLLECTION_VALUE = 0x400000;
inline constexpr std::uint32_t CLI_FLAG_WMI = 0x800000;
inline constexpr std::uint32_t CLI_FLAG_REMOVE_WMI = 0x1000000;
inline constexpr std::uint32_t CLI_FLAG_SAVE_PATH = 0x2000000;

// ModuleSelection::infoFlags: what is shown of one module.
inline constexpr std::uint32_t kInfoHelp = 1;
inline constexpr std::uint32_t kInfoVersion = 2;
inline constexpr std::uint32_t kInfoDevices = 4;
inline constexpr std::uint32_t kInfoDiagnostics = 8;
inline constexpr std::uint32_t kInfoTools = 16;
inline constexpr std::uint32_t kInfoParameters = 32;
inline constexpr std::uint32_t kInfoValidate = 64;

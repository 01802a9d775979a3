#pragma once

#include <cstdint>

namespace orvan::sdk {

// How much a line of the log matters.
enum class LogLevel : std::uint8_t { kInfo, kWarning, kError };

// Why a test or a tool is to stop.
enum class StopReason : std::uint8_t {
  kNone,
  kAborted,      // the operator asked for it, by Escape for instance
  kForced,       // the caller will not wait for the end of what is under way
  kTermination,  // the program was asked to end, by a signal or by the system
};

}  // namespace orvan::sdk

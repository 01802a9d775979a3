#pragma once

#include <string>
#include <string_view>

#include "system/key_format.h"

// From stored keys and numbers to display text, beside FormatKey of system. Pure functions; any
// thread.
namespace tarvex {

// A key that begins with an underscore, formatted without it and with its marks applied; any other
// key as it is.
std::string FormatMarkedKey(std::string_view key, bool titleCase, bool capitalizeFirst);

// "2 hours 1 minute 7 seconds": parts cut, not rounded; hours and minutes only when they aren't 0.
// What is no positive number counts as 0.
std::string FormatElapsed(double seconds);

// The name column of a field: `name` cut to 21 bytes and "..." when it has 25 or more, formatted as
// a title, and blanks up to column 26 as counted before formatting.
std::string FormatFieldName(std::string_view name);

}  // namespace tarvex

#pragma once

#include <string>
#include <string_view>

// From stored keys and numbers to display text. Pure functions; any thread. Case is that of ASCII,
// whatever the locale, so the bytes of UTF-8 text stay as they are.
namespace tarvex {

// Lower-cases `key`, except that titleCase or capitalizeFirst raise its first byte. With applyMarks
// an underscore becomes a blank, which with titleCase raises the next byte, and a bar raises the
// next byte; without it underscores stay. Bars always go.
std::string FormatKey(std::string_view key, bool titleCase, bool capitalizeFirst, bool applyMarks);

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

#pragma once

#include <string>
#include <string_view>

namespace tarvex {

// From a message key to display text. Lower-cases `key`, except that titleCase or capitalizeFirst
// raise its first byte. With applyMarks an underscore becomes a blank, which with titleCase raises
// the next byte, and a bar raises the next byte; without it underscores stay. Bars always go. Case
// is that of ASCII, whatever the locale, so the bytes of UTF-8 text stay as they are. Pure; any
// thread.
std::string FormatKey(std::string_view key, bool titleCase, bool capitalizeFirst, bool applyMarks);

}  // namespace tarvex

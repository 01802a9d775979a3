#pragma once

#include <string>
#include <string_view>

// How message keys become display text: the one place of all the rules. Case is that of ASCII. Pure
// functions; any thread.
namespace tarvex {

// Lower-cases `key`, except that titleCase or capitalizeFirst raise its first byte. With applyMarks
// an underscore becomes a blank, which with titleCase raises the next byte, and a bar raises the
// next byte; without it underscores stay. Bars always go.
std::string FormatKey(std::string_view key, bool titleCase, bool capitalizeFirst, bool applyMarks);

// A key that begins with an underscore, formatted without it and with its marks applied; any other
// key as it is.
std::string FormatMarkedKey(std::string_view key, bool titleCase, bool capitalizeFirst);

// The name column of a field: `name` cut to 21 bytes and "..." when it has 25 or more, formatted as
// a title, and blanks up to column 26 as counted before formatting.
std::string FormatFieldName(std::string_view name);

// A tool's key: as FormatKey with its marks and without title case, except that what stands between
// "^" and "$" (or the end) stays as it is, without these two signs, and that a blank does not use
// up what raises the next letter.
std::string KeyToText(std::string_view key, bool capitalizeFirst = false);

// The text as a stretch that KeyToText leaves as it is. A "$" inside ends the stretch early.
std::string Protected(std::string_view text);

}  // namespace tarvex

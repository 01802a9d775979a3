#pragma once

#include <map>
#include <string>
#include <string_view>

namespace tarvex {

// "section/key" -> value. Section and key in lower case (ASCII), "" in front of the first section
// header; values without blanks at their ends. A repeated key keeps its first value.
using IniValues = std::map<std::string, std::string>;

// A tolerant reader: lines that are no header and no key=value pair are passed over, and so are
// lines that begin with "#" or ";". Never fails.
IniValues ParseIni(std::string_view text);

// Reads a file of at most 1 MiB that no stranger can have written (os/trusted_file.h); a
// missing one has no values. Empty, or why it can't be read: then `values` is left alone.
std::string ReadIniFile(const std::string& path, IniValues& values);

// The text with A to Z in lower case.
std::string LowerAscii(std::string_view text);

// Takes a whole unsigned decimal number: digits only, within 32 bits. False leaves `value` alone.
bool ParseUnsigned(std::string_view text, unsigned& value);

}  // namespace tarvex

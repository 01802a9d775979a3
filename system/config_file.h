#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

class QTextStream;

// The INI-style file of the working directory. A strict checker refuses each line with a mistake
// in its form; what passes goes to a tolerant parser. Texts are UTF-8. Any thread, one object at a
// time.

struct ConfigSection {
  std::map<std::string, std::string> values;     // by key
  std::map<std::string, std::int32_t> keyLines;  // "[SECTION]KEY" -> its line number
};

// Section names and keys are in upper case (A to Z), values as they were written. Lookups take
// names in upper case.
struct ConfigFile {
  bool HasSection(const std::string& name) const;
  bool HasKey(const std::string& section, const std::string& key) const;
  // Empty when the section or the key is missing.
  std::string GetValue(const std::string& section, const std::string& key) const;

  // The section without a name holds the keys in front of the first section header.
  std::map<std::string, ConfigSection> sections{{std::string(), ConfigSection{}}};
};

// Codes of ConfigParseResult. Those of the checker name what is wrong with the form of a line.
inline constexpr std::int32_t kConfigGood = 0;
inline constexpr std::int32_t kConfigRepeatedSection = 1;
inline constexpr std::int32_t kConfigRepeatedKey = 2;
inline constexpr std::int32_t kConfigSecondOpening = 1001;
inline constexpr std::int32_t kConfigSecondClosing = 1002;
inline constexpr std::int32_t kConfigSecondEquals = 1003;
inline constexpr std::int32_t kConfigBracketAtEquals = 1006;
inline constexpr std::int32_t kConfigNoClosing = 1007;
inline constexpr std::int32_t kConfigNoOpening = 1008;
inline constexpr std::int32_t kConfigReversedBrackets = 1009;
inline constexpr std::int32_t kConfigBareWord = 1010;
inline constexpr std::int32_t kConfigEmptyBrackets = 1011;
inline constexpr std::int32_t kConfigNoKey = 1012;
inline constexpr std::int32_t kConfigNoValue = 1014;
inline constexpr std::int32_t kConfigTooLarge = 1015;

// The longest line without its comment, in bytes, and the longest text in UTF-16 units, with one
// for the end of each line. What a section's name adds to each of its keys stays small so.
inline constexpr std::size_t kLongestConfigLine = 1024;
inline constexpr std::size_t kLongestConfigText = 65536;

struct ConfigParseResult {
  bool IsError() const { return code != kConfigGood; }

  std::int32_t opened = 0;  // 1 when ReadConfigFile could open the file
  std::int32_t code = kConfigGood;
  std::int32_t line = -1;  // of the fault, from 1; -1: none
  std::string key;         // of a repeated key
  std::string section;     // of a repeated section or key
};

// Reads the file of that path as UTF-8, or as what its byte order mark says. What can't be opened,
// is reached over a link at the path's end or is no regular file reads as an empty one: not opened,
// and no error.
ConfigParseResult ReadConfigFile(const std::string& path, ConfigFile& config);
// The same of a regular file that is open, from where it stands.
ConfigParseResult ReadConfigFile(int descriptor, ConfigFile& config);

// Adds the stream's lines to the config. The first fault ends the reading, and what was found
// before it stays. A line or a text beyond the limits is a fault (kConfigTooLarge).
ConfigParseResult ParseConfigStream(QTextStream& stream, ConfigFile& config);

// Looks for a mistake in the form of one line, which has no comment and is not blank.
ConfigParseResult ValidateConfigLine(const std::string& line, std::int32_t lineNumber);

namespace tarvex {

// Whether the config asks for the section about the maker's drives: "1" under
// ENABLE_TARVEX_DRIVE_INFO of [STORAGE].
bool AsksForDriveInfo(const ConfigFile& config);

}  // namespace tarvex

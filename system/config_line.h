#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

// The expressions by which the reader of "config.ini" tells lines apart, each found as a search for
// the ECMAScript expression beside it would find it: the leftmost place, and there what a greedy
// match takes. A word character is an ASCII letter, a digit or "_", a blank one of the six ASCII
// blanks, whatever the locale. Each takes time in proportion to the line. Any thread.
namespace tarvex {

bool IsBlankLine(std::string_view line);       // ^\s*$
bool HasSecondOpening(std::string_view line);  // (\[\s*\w+\[)|(\[\[)
bool HasSecondClosing(std::string_view line);  // (\]\s*\w+\])|(\]\])
bool HasSecondEquals(std::string_view line);   // (=\s*\w+=)|(==)
// ((=\w+(\[|\]))|((\[|\]))\w+=)|(\[=)|(\]=)|(=\[)|(=\])
bool HasBracketAtEquals(std::string_view line);
bool HasOpeningAtWord(std::string_view line);     // (\[\]{0}[\w]+)|(\]{0}[\w]+\[+)
bool HasClosingAtWord(std::string_view line);     // (\[{0}[\w]+\]+)|(\]\[{0}[\w]+)
bool HasReversedBrackets(std::string_view line);  // (\]\w+\[)|(\]\[)
bool HasEmptyBrackets(std::string_view line);     // \[\s*\]+
bool IsValueWithoutKey(std::string_view line);    // ^\s*=\s*[\w]+
bool IsKeyWithoutValue(std::string_view line);    // ^[\w]+\s*=\s*$

// The name in the leftmost header, the first group of \[([\w\s*]+)\].
std::optional<std::string_view> FindSectionName(std::string_view line);

struct ConfigPair {
  std::string_view key;
  std::string_view value;
};
// The groups of ([\w]+)\s*=\s*([^]+)$. Where only blanks follow the equals sign, the last of them
// is the value.
std::optional<ConfigPair> FindPair(std::string_view line);

}  // namespace tarvex

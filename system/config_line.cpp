#include "system/config_line.h"

namespace tarvex {
namespace {

using Kind = bool (*)(char);

bool IsWord(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsInHeader(char c) {
  return IsWord(c) || IsBlank(c) || c == '*';
}

bool IsBracket(char c) {
  return c == '[' || c == ']';
}

// The first place from `at` on that holds no character of that kind; the line's end when all do.
std::size_t Skip(std::string_view line, std::size_t at, Kind kind) {
  while (at < line.size() && kind(line[at])) ++at;
  return at;
}

bool Holds(std::string_view line, std::size_t at, char wanted) {
  return at < line.size() && line[at] == wanted;
}

// The sign, and again the sign right behind it or behind blanks, if any, and a word. No scan passes
// the next sign, so all of them together pass each character once.
bool HasSecond(std::string_view line, char sign) {
  for (std::size_t at = line.find(sign); at != line.npos; at = line.find(sign, at + 1)) {
    const std::size_t word = Skip(line, at + 1, IsBlank);
    const std::size_t behind = Skip(line, word, IsWord);
    if (Holds(line, at + 1, sign) || (behind > word && Holds(line, behind, sign))) return true;
  }
  return false;
}

// Two characters that stand side by side, or with nothing but word characters between them.
template <typename IsFault>
bool HasAcrossWord(std::string_view line, IsFault isFault) {
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (IsWord(line[at])) continue;
    const std::size_t behind = Skip(line, at + 1, IsWord);
    if (behind < line.size() && isFault(line[at], line[behind])) return true;
    at = behind - 1;
  }
  return false;
}

bool HasAtWord(std::string_view line, char bracket) {
  for (std::size_t at = line.find(bracket); at != line.npos; at = line.find(bracket, at + 1)) {
    if (at > 0 && IsWord(line[at - 1])) return true;
    if (at + 1 < line.size() && IsWord(line[at + 1])) return true;
  }
  return false;
}

}  // namespace

bool IsBlankLine(std::string_view line) {
  return Skip(line, 0, IsBlank) == line.size();
}

bool HasSecondOpening(std::string_view line) {
  return HasSecond(line, '[');
}

bool HasSecondClosing(std::string_view line) {
  return HasSecond(line, ']');
}

bool HasSecondEquals(std::string_view line) {
  return HasSecond(line, '=');
}

bool HasBracketAtEquals(std::string_view line) {
  return HasAcrossWord(line, [](char left, char right) {
    return (left == '=' && IsBracket(right)) || (IsBracket(left) && right == '=');
  });
}

bool HasOpeningAtWord(std::string_view line) {
  return HasAtWord(line, '[');
}

bool HasClosingAtWord(std::string_view line) {
  return HasAtWord(line, ']');
}

bool HasReversedBrackets(std::string_view line) {
  return HasAcrossWord(line, [](char left, char right) { return left == ']' && right == '['; });
}

bool HasEmptyBrackets(std::string_view line) {
  for (std::size_t at = line.find('['); at != line.npos; at = line.find('[', at + 1)) {
    if (Holds(line, Skip(line, at + 1, IsBlank), ']')) return true;
  }
  return false;
}

bool IsValueWithoutKey(std::string_view line) {
  const std::size_t equals = Skip(line, 0, IsBlank);
  if (!Holds(line, equals, '=')) return false;
  const std::size_t value = Skip(line, equals + 1, IsBlank);
  return value < line.size() && IsWord(line[value]);
}

bool IsKeyWithoutValue(std::string_view line) {
  const std::size_t key = Skip(line, 0, IsWord);
  const std::size_t equals = Skip(line, key, IsBlank);
  return key > 0 && Holds(line, equals, '=') && Skip(line, equals + 1, IsBlank) == line.size();
}

std::optional<std::string_view> FindSectionName(std::string_view line) {
  for (std::size_t at = line.find('['); at != line.npos; at = line.find('[', at + 1)) {
    const std::size_t end = Skip(line, at + 1, IsInHeader);
    if (end > at + 1 && Holds(line, end, ']')) return line.substr(at + 1, end - at - 1);
  }
  return std::nullopt;
}

std::optional<ConfigPair> FindPair(std::string_view line) {
  for (std::size_t at = 0; at < line.size(); ++at) {
    const std::size_t end = Skip(line, at, IsWord);
    if (end == at) continue;
    const std::size_t equals = Skip(line, end, IsBlank);
    if (Holds(line, equals, '=') && equals + 1 < line.size()) {
      const std::size_t value = Skip(line, equals + 1, IsBlank);
      return ConfigPair{line.substr(at, end - at),
                        line.substr(value < line.size() ? value : value - 1)};
    }
    at = equals - 1;
  }
  return std::nullopt;
}

}  // namespace tarvex

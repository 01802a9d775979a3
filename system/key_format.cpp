#include "system/key_format.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "boundary/ascii_case.h"

namespace tarvex {
namespace {

constexpr std::size_t kFieldColumn = 26;
constexpr std::size_t kLongestFieldName = 24;
constexpr std::size_t kCutFieldName = 21;

// The byte in its case; a raise holds for one byte.
char Cased(char byte, bool& upperNext) {
  return std::exchange(upperNext, false) ? AsciiUpper(byte) : AsciiLower(byte);
}

}  // namespace

std::string FormatKey(std::string_view key, bool titleCase, bool capitalizeFirst, bool applyMarks) {
  std::string text;
  text.reserve(key.size());
  bool upperNext = titleCase || capitalizeFirst;
  for (const char byte : key) {
    if (byte == '_') {
      text += applyMarks ? ' ' : '_';
      upperNext = upperNext || (applyMarks && titleCase);
    } else if (byte == '|') {
      upperNext = upperNext || applyMarks;
    } else {
      text += Cased(byte, upperNext);
    }
  }
  return text;
}

std::string FormatMarkedKey(std::string_view key, bool titleCase, bool capitalizeFirst) {
  const bool isMarked = !key.empty() && key.front() == '_';
  return isMarked ? FormatKey(key.substr(1), titleCase, capitalizeFirst, true) : std::string(key);
}

std::string FormatFieldName(std::string_view name) {
  std::string stored(name);
  if (stored.size() > kLongestFieldName) stored.replace(kCutFieldName, std::string::npos, "...");
  return FormatKey(stored, true, true, true) + std::string(kFieldColumn - stored.size(), ' ');
}

std::string KeyToText(std::string_view key, bool capitalizeFirst) {
  std::string text;
  text.reserve(key.size());
  bool upperNext = capitalizeFirst;
  for (std::size_t at = 0; at < key.size(); ++at) {
    const char byte = key[at];
    if (byte == '^') {
      const std::size_t end = std::min(key.find('$', at), key.size());
      text += key.substr(at + 1, end - at - 1);
      at = end;
    } else if (byte == '_' || byte == ' ') {
      text += ' ';
    } else if (byte == '|') {
      upperNext = true;
    } else {
      text += Cased(byte, upperNext);
    }
  }
  return text;
}

std::string Protected(std::string_view text) {
  return "^" + std::string(text) + "$";
}

}  // namespace tarvex

#include "system/key_format.h"

namespace tarvex {
namespace {

char Upper(char byte) {
  return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
}

char Lower(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
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
      text += upperNext ? Upper(byte) : Lower(byte);
      upperNext = false;
    }
  }
  return text;
}

}  // namespace tarvex

#include "tools/key_to_text.h"

#include <algorithm>
#include <cstddef>

#include "views/key_format.h"

namespace tarvex {

std::string KeyToText(std::string_view key, bool capitalizeFirst) {
  std::string text;
  text.reserve(key.size());
  bool upperNext = capitalizeFirst;
  for (std::size_t at = 0; at < key.size(); ++at) {
    switch (key[at]) {
      case '^': {
        const std::size_t end = std::min(key.find('$', at), key.size());
        text += key.substr(at + 1, end - at - 1);
        at = end;
        break;
      }
      case ' ':
      case '_':
        text += ' ';
        break;
      case '|':
        upperNext = true;
        break;
      default:
        text += FormatKey(key.substr(at, 1), upperNext, false, false);
        upperNext = false;
    }
  }
  return text;
}

std::string Protected(std::string_view text) {
  return "^" + std::string(text) + "$";
}

}  // namespace tarvex

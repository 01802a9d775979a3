#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "system/outside_text.h"
#include "system/text_conversion.h"

// For tests: texts of strangers, and what must not come out of a channel.
namespace tarvex::testing {

// One of each character that steers, in the order of their values, the zero byte among them.
inline std::wstring SteeringCharacters() {
  std::wstring all;
  for (wchar_t character = 0; character < 0x3000; ++character) {
    if (IsSteering(static_cast<std::uint32_t>(character))) all += character;
  }
  return all;
}

// The same as UTF-8, each behind an "a".
inline std::string SteeringText() {
  std::string text;
  for (const wchar_t character : SteeringCharacters()) {
    text += 'a';
    AppendUtf8(text, character);
  }
  return text;
}

// Of the bytes that a channel wrote, what steers and is not in `layout`, and U+FFFD for bytes that
// are no UTF-8; empty where all is well.
inline std::wstring SteeringIn(std::string_view bytes, std::string_view layout) {
  std::wstring found;
  while (!bytes.empty()) {
    const DecodedCharacter decoded = DecodeUtf8(bytes);
    const bool isLayout = layout.find(bytes.substr(0, decoded.length)) != std::string_view::npos;
    if (!decoded.good || (IsSteering(static_cast<std::uint32_t>(decoded.character)) && !isLayout)) {
      found += decoded.character;
    }
    bytes.remove_prefix(decoded.length);
  }
  return found;
}

}  // namespace tarvex::testing

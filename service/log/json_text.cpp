#include "service/log/json_text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "system/outside_text.h"
#include "system/text_conversion.h"

namespace orvan::log {
namespace {

// How a character is written that does not stand for itself; null: by its number.
const char* ShortEscape(std::uint32_t character) {
  switch (character) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return nullptr;
  }
}

void AppendCharacter(std::string& out, std::uint32_t character, std::string_view bytes) {
  if (const char* escape = ShortEscape(character)) {
    out += escape;
  } else if (tarvex::IsSteering(character)) {
    char number[8];
    std::snprintf(number, sizeof number, "\\u%04x", character & 0xFFFFU);  // none is longer
    out += number;
  } else {
    out += bytes;
  }
}

}  // namespace

std::string JsonText(const std::string& text) {
  std::string out = "\"";
  for (std::string_view left = text; !left.empty();) {
    const tarvex::DecodedCharacter decoded = tarvex::DecodeUtf8(left);
    if (decoded.good) {
      AppendCharacter(out, static_cast<std::uint32_t>(decoded.character),
                      left.substr(0, decoded.length));
    } else {
      for (std::size_t i = 0; i < decoded.length; ++i) out += tarvex::kReplacementUtf8;
    }
    left.remove_prefix(decoded.length);
  }
  return out + '"';
}

std::string JsonNumber(double value) {
  constexpr double kExact = 9007199254740992;  // 2^53
  if (!std::isfinite(value)) {
    return std::isnan(value) ? "\"nan\"" : value > 0 ? "\"inf\"" : "\"-inf\"";
  }
  char text[40];
  const bool isWhole = std::abs(value) <= kExact && std::trunc(value) == value;
  const std::to_chars_result result =
      isWhole ? std::to_chars(text, text + sizeof text, static_cast<long long>(value))
              : std::to_chars(text, text + sizeof text, value);
  return {text, result.ptr};
}

}  // namespace orvan::log

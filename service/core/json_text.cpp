#include "service/core/json_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace orvan::core {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

unsigned char Byte(const std::string& text, std::size_t at) {
  return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

// The length of the well-formed UTF-8 character at `at`, 1 to 4; 0 when there is none.
// Source: The Unicode Standard, table 3-7.
std::size_t CharacterLength(const std::string& text, std::size_t at) {
  const unsigned char first = Byte(text, at);
  const unsigned char second = Byte(text, at + 1);
  const auto follows = [&](std::size_t offset) { return (Byte(text, at + offset) & 0xC0) == 0x80; };
  if (first < 0x80) {
    return 1;
  }
  if (first >= 0xC2 && first <= 0xDF) {
    return follows(1) ? 2 : 0;
  }
  if (first >= 0xE0 && first <= 0xEF) {
    const bool narrow = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F);
    return follows(1) && follows(2) && !narrow ? 3 : 0;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    const bool narrow = (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return follows(1) && follows(2) && follows(3) && !narrow ? 4 : 0;
  }
  return 0;
}

void AppendControl(std::string& out, char c) {
  switch (c) {
    case '"':
      out += "\\\"";
      break;
    case '\\':
      out += "\\\\";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    default: {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      out += escape;
    }
  }
}

}  // namespace

std::string JsonText(const std::string& text) {
  std::string out = "\"";
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t length = CharacterLength(text, at);
    const char c = text[at];
    if (length == 0) {
      out += kReplacement;
    } else if (length == 1 && (static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\')) {
      AppendControl(out, c);
    } else {
      out.append(text, at, length);
    }
    at += length == 0 ? 1 : length;
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

}  // namespace orvan::core

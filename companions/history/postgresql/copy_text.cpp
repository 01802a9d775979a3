#include "companions/history/postgresql/copy_text.h"

#include <array>
#include <charconv>
#include <cmath>

#include "system/text_conversion.h"

namespace tarvex::history {
namespace {

// The shortest text that reads back as `value`.
std::string RealText(double value) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

std::string RealOf(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  return RealText(value);
}

// Hands on the characters of `text` as the database takes them, in their UTF-8.
template <typename Take>
void ForEachCharacter(std::string_view text, Take take) {
  while (!text.empty()) {
    const DecodedCharacter decoded = DecodeUtf8(text);
    const bool isTaken = decoded.good && decoded.character != 0;
    take(isTaken ? text.substr(0, decoded.length) : kReplacementUtf8);
    text.remove_prefix(decoded.length);
  }
}

// The letter that stands for a character behind a backslash; 0 for one that stands for itself.
char EscapeOf(char c) {
  switch (c) {
    case '\\':
      return '\\';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

}  // namespace

void CopyText::Separate() {
  if (!isFirst_) rows_ += '\t';
  isFirst_ = false;
}

CopyText& CopyText::Text(std::string_view text) {
  Separate();
  ForEachCharacter(text, [this](std::string_view character) {
    const char escape = character.size() == 1 ? EscapeOf(character.front()) : '\0';
    if (escape != 0) {
      (rows_ += '\\') += escape;
    } else {
      rows_ += character;
    }
  });
  return *this;
}

CopyText& CopyText::TextOrNull(std::string_view text) {
  return text.empty() ? Null() : Text(text);
}

CopyText& CopyText::Whole(std::int64_t value) {
  Separate();
  rows_ += std::to_string(value);
  return *this;
}

CopyText& CopyText::WholeOrNull(std::optional<std::int64_t> value) {
  return value ? Whole(*value) : Null();
}

CopyText& CopyText::Real(std::optional<double> value) {
  if (!value) return Null();
  Separate();
  rows_ += RealOf(*value);
  return *this;
}

CopyText& CopyText::Reals(const std::vector<double>& values) {
  Separate();
  rows_ += '{';
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) rows_ += ',';
    rows_ += RealOf(values[i]);
  }
  rows_ += '}';
  return *this;
}

CopyText& CopyText::Truth(bool value) {
  Separate();
  rows_ += value ? 't' : 'f';
  return *this;
}

CopyText& CopyText::Null() {
  Separate();
  rows_ += "\\N";
  return *this;
}

void CopyText::EndRow() {
  rows_ += '\n';
  isFirst_ = true;
}

std::string QuotedJson(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string quoted = "\"";
  ForEachCharacter(text, [&quoted, kDigits](std::string_view character) {
    const auto first = static_cast<unsigned char>(character.front());
    if (first < 0x20) {
      quoted += "\\u00";
      quoted += kDigits[first >> 4U];
      quoted += kDigits[first & 0xFU];
    } else {
      if (first == '"' || first == '\\') quoted += '\\';
      quoted += character;
    }
  });
  return quoted + '"';
}

std::string JsonOf(double value) {
  return std::isfinite(value) ? RealText(value) : "null";
}

}  // namespace tarvex::history

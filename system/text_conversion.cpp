#include "system/text_conversion.h"

#include <cstdint>
#include <cwchar>

namespace {

using tarvex::DecodedCharacter;
using tarvex::DecodeUtf8;
using tarvex::kReplacement;

constexpr std::uint32_t kLastCharacter = 0x10FFFF;

// A wide character is a signed number here; a negative one is no character.
std::uint32_t ValueOf(wchar_t character) {
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(character));
}

bool IsSurrogate(std::uint32_t value) {
  return value >= 0xD800 && value <= 0xDFFF;
}

// What a lead byte asks of the bytes behind it. The first of them has bounds of its own, which keep
// out overlong forms, surrogates and values past U+10FFFF.
struct LeadByte {
  unsigned char first;
  unsigned char last;
  unsigned following;
  unsigned char secondFirst;
  unsigned char secondLast;
};

constexpr LeadByte kLeadBytes[] = {
    {0x00, 0x7F, 0, 0x80, 0xBF}, {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

// Payload bits of a lead byte, by the number of bytes that follow it.
constexpr std::uint32_t kLeadMask[] = {0x7F, 0x1F, 0x0F, 0x07};

const LeadByte* FindLead(unsigned char byte) {
  for (const LeadByte& lead : kLeadBytes) {
    if (byte >= lead.first && byte <= lead.last) return &lead;
  }
  return nullptr;
}

void AppendValue(std::string& text, std::uint32_t value) {
  if (value < 0x80) {
    text.push_back(static_cast<char>(value));
    return;
  }
  const unsigned following = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
  constexpr std::uint32_t kMark[] = {0x00, 0xC0, 0xE0, 0xF0};
  text.push_back(static_cast<char>(kMark[following] | value >> (6 * following)));
  for (unsigned left = following; left-- > 0;) {
    text.push_back(static_cast<char>(0x80U | (value >> (6 * left) & 0x3FU)));
  }
}

template <typename View>
View UntilNul(View text) {
  return text.substr(0, text.find(typename View::value_type{}));
}

}  // namespace

std::wstring Utf8ToWide(std::string_view text) {
  text = UntilNul(text);
  std::wstring wide;
  wide.reserve(text.size());
  while (!text.empty()) {
    const DecodedCharacter decoded = DecodeUtf8(text);
    if (!decoded.good) return {};
    wide.push_back(decoded.character);
    text.remove_prefix(decoded.length);
  }
  return wide;
}

std::string WideToUtf8(std::wstring_view text) {
  std::string narrow;
  for (const wchar_t character : UntilNul(text)) {
    const auto value = ValueOf(character);
    if (IsSurrogate(value) || value > kLastCharacter) return {};
    AppendValue(narrow, value);
  }
  return narrow;
}

std::wstring NarrowToWide(std::string_view text, unsigned codePage) {
  return codePage == kCodePageUtf8 ? Utf8ToWide(text) : std::wstring();
}

std::string WideToNarrow(std::wstring_view text, unsigned codePage) {
  return codePage == kCodePageUtf8 ? WideToUtf8(text) : std::string();
}

namespace tarvex {

DecodedCharacter DecodeUtf8(std::string_view text) {
  const auto leadByte = static_cast<unsigned char>(text[0]);
  const LeadByte* const lead = FindLead(leadByte);
  if (lead == nullptr) return {kReplacement, 1, false};
  std::uint32_t value = leadByte & kLeadMask[lead->following];
  unsigned char least = lead->secondFirst;
  unsigned char most = lead->secondLast;
  for (std::size_t at = 1; at <= lead->following; ++at) {
    if (at >= text.size()) return {kReplacement, at, false};
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < least || byte > most) return {kReplacement, at, false};
    value = value << 6 | (byte & 0x3FU);
    least = 0x80;
    most = 0xBF;
  }
  return {static_cast<wchar_t>(value), lead->following + 1U, true};
}

std::wstring Utf8ToWideLenient(std::string_view text) {
  std::wstring wide;
  wide.reserve(text.size());
  while (!text.empty()) {
    const DecodedCharacter decoded = DecodeUtf8(text);
    wide.push_back(decoded.character);
    text.remove_prefix(decoded.length);
  }
  return wide;
}

std::wstring LocaleToWideLenient(std::string_view text) {
  std::wstring wide;
  wide.reserve(text.size());
  std::mbstate_t state{};
  while (!text.empty()) {
    wchar_t character = L'\0';
    const std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (length > text.size()) {
      // Undecodable, or the text ends inside a character.
      state = std::mbstate_t{};
      wide.push_back(kReplacement);
      text.remove_prefix(1);
      continue;
    }
    wide.push_back(character);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return wide;
}

void AppendUtf8(std::string& text, wchar_t character) {
  const auto value = ValueOf(character);
  AppendValue(text, IsSurrogate(value) || value > kLastCharacter
                        ? static_cast<std::uint32_t>(kReplacement)
                        : value);
}

std::string CutUtf8(std::string text, int size) {
  std::size_t end = size > 0 ? static_cast<std::size_t>(size) : 0;
  if (end >= text.size()) return text;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text;
}

}  // namespace tarvex

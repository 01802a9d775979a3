#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Conversions between narrow and wide texts. Any thread.

inline constexpr unsigned kCodePageUtf8 = 65001;

// These four convert the text up to its first zero character and are strict: a text that holds
// anything that can't be converted gives an empty text. UTF-8 means well-formed UTF-8: no overlong
// forms, no surrogates, nothing past U+10FFFF.
// Source: The Unicode Standard 15.0, table 3-7.
std::wstring Utf8ToWide(std::string_view text);
std::string WideToUtf8(std::wstring_view text);
// The same for a code page. Any but kCodePageUtf8 fails.
std::wstring NarrowToWide(std::string_view text, unsigned codePage);
std::string WideToNarrow(std::wstring_view text, unsigned codePage);

namespace tarvex {

// U+FFFD, which stands for what cannot be shown.
inline constexpr wchar_t kReplacement = 0xFFFD;
inline constexpr std::string_view kReplacementUtf8 = "\xEF\xBF\xBD";

struct DecodedCharacter {
  wchar_t character;   // U+FFFD when it is not good
  std::size_t length;  // bytes taken, at least 1
  bool good;
};
// Decodes what `text`, which is not empty, begins with. Bad input takes its maximal ill-formed
// part.
DecodedCharacter DecodeUtf8(std::string_view text);

// Decodes all of the text, zero bytes included. Each maximal ill-formed part gives one U+FFFD.
std::wstring Utf8ToWideLenient(std::string_view text);
// Decodes all of the text as the current C locale does. An undecodable byte gives U+FFFD.
std::wstring LocaleToWideLenient(std::string_view text);
// Appends the character's UTF-8 bytes; those of U+FFFD for a surrogate or one past U+10FFFF.
void AppendUtf8(std::string& text, wchar_t character);
// The text, cut to at most `size` bytes at the beginning of a UTF-8 character.
std::string CutUtf8(std::string text, int size);

}  // namespace tarvex

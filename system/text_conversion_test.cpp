#include "system/text_conversion.h"

#include <gtest/gtest.h>

#include <clocale>

namespace {

const char* const kIllFormed[] = {
    "\x80",              // a following byte alone
    "\xC0\xAF",          // an overlong "/"
    "\xE0\x80\xAF",      // an overlong "/"
    "\xF0\x80\x80\xAF",  // an overlong "/"
    "\xED\xA0\x80",      // a surrogate
    "\xF4\x90\x80\x80",  // past U+10FFFF
    "\xF5\x80\x80\x80",  // past U+10FFFF
    "\xE2\x82",          // cut off
    "\xFF",
};

TEST(TextConversion, Utf8GoesThereAndBackAtEveryLength) {
  const std::wstring wide = {0x41,   0x7F,   0x80,   0x7FF,   0x800,
                             0xD7FF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF};
  const std::string narrow =
      "A\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
      "\xF4\x8F\xBF\xBF";
  EXPECT_EQ(WideToUtf8(wide), narrow);
  EXPECT_EQ(Utf8ToWide(narrow), wide);
}

TEST(TextConversion, IllFormedUtf8GivesAnEmptyText) {
  for (const char* const text : kIllFormed) {
    EXPECT_EQ(Utf8ToWide(std::string("a") + text), L"") << text;
  }
}

TEST(TextConversion, WideCharactersThatAreNoneGiveAnEmptyText) {
  EXPECT_EQ(WideToUtf8(std::wstring{L'a', 0xD800}), "");
  EXPECT_EQ(WideToUtf8(std::wstring{L'a', 0xDFFF}), "");
  EXPECT_EQ(WideToUtf8(std::wstring{L'a', 0x110000}), "");
  EXPECT_EQ(WideToUtf8(std::wstring{L'a', static_cast<wchar_t>(-1)}), "");
}

TEST(TextConversion, ConversionEndsAtTheFirstZero) {
  EXPECT_EQ(Utf8ToWide(std::string_view("ab\0\xFF", 4)), L"ab");
  EXPECT_EQ(WideToUtf8(std::wstring_view(L"ab\0c", 4)), "ab");
  EXPECT_EQ(NarrowToWide(std::string_view("ab\0c", 4), kCodePageUtf8), L"ab");
  EXPECT_EQ(WideToNarrow(std::wstring_view(L"ab\0\u20AC", 4), kCodePageUtf8), "ab");
}

TEST(TextConversion, CodePageChoosesTheForm) {
  EXPECT_EQ(NarrowToWide("\xC3\xA4", 65001), L"\u00E4");
  EXPECT_EQ(WideToNarrow(L"\u00E4", 65001), "\xC3\xA4");
}

TEST(TextConversion, UnknownCodePageGivesAnEmptyText) {
  EXPECT_EQ(NarrowToWide("a", 1252), L"");
  EXPECT_EQ(WideToNarrow(L"a", 0), "");
}

TEST(LenientConversion, ReplacesEachMaximalIllFormedPartOnce) {
  EXPECT_EQ(tarvex::Utf8ToWideLenient("a\xE2\x82z"), L"a\uFFFDz");
  EXPECT_EQ(tarvex::Utf8ToWideLenient("\xF0\x9F\x98"), L"\uFFFD");
  EXPECT_EQ(tarvex::Utf8ToWideLenient("\xC0\xAF"), L"\uFFFD\uFFFD");
  EXPECT_EQ(tarvex::Utf8ToWideLenient("\xED\xA0\x80"), L"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(tarvex::Utf8ToWideLenient("\xE2\xE2\x82\xAC"), L"\uFFFD\u20AC");
}

TEST(LenientConversion, GoesPastZeroBytes) {
  EXPECT_EQ(tarvex::Utf8ToWideLenient(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(tarvex::LocaleToWideLenient(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(LenientConversion, FollowsTheLocale) {
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  EXPECT_EQ(tarvex::LocaleToWideLenient("a\xC3\xA4\xFFz"), L"a\u00E4\uFFFDz");
  EXPECT_EQ(tarvex::LocaleToWideLenient("a\xE2\x82"), L"a\uFFFD\uFFFD");
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
  EXPECT_EQ(tarvex::LocaleToWideLenient("a\xFFz"), L"a\uFFFDz");
  std::setlocale(LC_CTYPE, before.c_str());
}

TEST(AppendUtf8, AppendsTheBytesOfOneCharacter) {
  std::string text = "=";
  tarvex::AppendUtf8(text, L'\0');
  tarvex::AppendUtf8(text, 0x20AC);
  EXPECT_EQ(text, std::string("=\0\xE2\x82\xAC", 5));
}

TEST(AppendUtf8, ReplacesWhatIsNoCharacter) {
  for (const wchar_t character :
       {wchar_t{0xD800}, wchar_t{0xDFFF}, wchar_t{0x110000}, static_cast<wchar_t>(-23)}) {
    std::string text;
    tarvex::AppendUtf8(text, character);
    EXPECT_EQ(text, "\xEF\xBF\xBD");
  }
}

TEST(CutUtf8, CutsAtTheSizeAndNeverInsideACharacter) {
  EXPECT_EQ(tarvex::CutUtf8("abc", 3), "abc");
  EXPECT_EQ(tarvex::CutUtf8("abc", 2), "ab");
  EXPECT_EQ(tarvex::CutUtf8("abc", 0), "");
  EXPECT_EQ(tarvex::CutUtf8("abc", -1), "");
  EXPECT_EQ(tarvex::CutUtf8("a\xC3\xA4", 2), "a");
  EXPECT_EQ(tarvex::CutUtf8("a\xC3\xA4", 3), "a\xC3\xA4");
  EXPECT_EQ(tarvex::CutUtf8("\xF0\x9F\x98\x80", 3), "");
}

}  // namespace

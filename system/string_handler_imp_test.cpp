#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <cstring>

#include "system/win_string_handler_imp.h"

namespace {

using Texts = std::vector<std::string>;

class StringHandlerTest : public testing::Test {
 protected:
  StringHandler& handler_ = WinStringHandlerImp::Instance();
};

// The locale of characters for one test.
class CharacterLocale {
 public:
  explicit CharacterLocale(const char* name) : before_(std::setlocale(LC_CTYPE, nullptr)) {
    EXPECT_NE(std::setlocale(LC_CTYPE, name), nullptr);
  }
  ~CharacterLocale() { std::setlocale(LC_CTYPE, before_.c_str()); }

 private:
  std::string before_;
};

TEST_F(StringHandlerTest, OneInstanceServesTheProcess) {
  EXPECT_EQ(&WinStringHandlerImp::Instance(), &WinStringHandlerImp::Instance());
}

TEST_F(StringHandlerTest, EmptyBufferIsANumber) {
  EXPECT_TRUE(handler_.IsNumber("", 10));
  EXPECT_TRUE(handler_.IsNumber("abc", 0));
}

TEST_F(StringHandlerTest, NumberIsDigitsUpToTheBoundedLength) {
  EXPECT_TRUE(handler_.IsNumber("0123456789", 10));
  EXPECT_TRUE(handler_.IsNumber("12x", 2));
  EXPECT_FALSE(handler_.IsNumber("12x", 3));
  EXPECT_FALSE(handler_.IsNumber("-1", 2));
  EXPECT_FALSE(handler_.IsNumber(" 1", 2));
  EXPECT_TRUE(handler_.IsNumber("7\0x", 3));
}

TEST_F(StringHandlerTest, RemoveBlanksAppendsAllButTheBlank) {
  std::string output = "=";
  handler_.RemoveBlanks(" a b\tc ", output);
  EXPECT_EQ(output, "=ab\tc");
}

TEST_F(StringHandlerTest, RemoveBlanksTakesItsSourceAsOutput) {
  std::string text = "a b";
  handler_.RemoveBlanks(text, text);
  EXPECT_EQ(text, "a bab");
}

TEST_F(StringHandlerTest, KeepPrintableAppendsFrom32To126) {
  std::string output = "=";
  handler_.KeepPrintable("\x1F \x7F~a\n\x80\xFF", output);
  EXPECT_EQ(output, "= ~a");
}

TEST_F(StringHandlerTest, RemoveCharsDropsTheSet) {
  std::string output = "old";
  EXPECT_EQ(handler_.RemoveChars("-_", "a-b_c", output), "abc");
  EXPECT_EQ(output, "abc");
}

TEST_F(StringHandlerTest, RemoveCharsWithAnEmptySourceOrSetLeavesTheOutputAlone) {
  std::string output = "old";
  EXPECT_EQ(handler_.RemoveChars("", "a-b", output), "a-b");
  EXPECT_EQ(output, "old");
  EXPECT_EQ(handler_.RemoveChars("-", "", output), "");
  EXPECT_EQ(output, "old");
}

TEST_F(StringHandlerTest, RemoveCharsTakesAnArgumentAsOutput) {
  std::string text = "a-b";
  EXPECT_EQ(handler_.RemoveChars("-", text, text), "ab");
  EXPECT_EQ(text, "ab");
}

TEST_F(StringHandlerTest, TrimRemovesBlanksAtBothEndsOnly) {
  std::string text = "  a b\t ";
  handler_.Trim(text);
  EXPECT_EQ(text, "a b\t");
}

TEST_F(StringHandlerTest, TrimOfThreeBlanksKeepsTheLengthAndZeroesTheFirstByte) {
  std::string text = "   ";
  handler_.Trim(text);
  EXPECT_EQ(text, std::string("\0  ", 3));
}

TEST_F(StringHandlerTest, TrimOfAnEmptyTextLeavesItEmpty) {
  std::string text;
  handler_.Trim(text);
  EXPECT_TRUE(text.empty());
}

TEST_F(StringHandlerTest, UpperCaseMeansEqualToItsUpperCaseCopy) {
  EXPECT_TRUE(handler_.IsUpperCase("AB-1"));
  EXPECT_TRUE(handler_.IsUpperCase("12"));
  EXPECT_FALSE(handler_.IsUpperCase("Ab"));
  EXPECT_FALSE(handler_.IsUpperCase(""));
}

TEST_F(StringHandlerTest, CaseIsChangedInPlace) {
  std::string text = "aB1-z";
  handler_.ToUpper(text);
  EXPECT_EQ(text, "AB1-Z");
  handler_.ToLower(text);
  EXPECT_EQ(text, "ab1-z");
}

TEST_F(StringHandlerTest, StartsWithComparesBytes) {
  EXPECT_TRUE(handler_.StartsWith("abc", "ab"));
  EXPECT_TRUE(handler_.StartsWith("abc", ""));
  EXPECT_TRUE(handler_.StartsWith("abc", "abc"));
  EXPECT_FALSE(handler_.StartsWith("abc", "Ab"));
}

TEST_F(StringHandlerTest, PrefixLongerThanTheTextIsNone) {
  EXPECT_FALSE(handler_.StartsWith("ab", "abc"));
}

TEST_F(StringHandlerTest, SplitYieldsAnEmptyFieldBetweenTwoDelimitersInARow) {
  EXPECT_EQ(handler_.Split("a,,b", ','), (Texts{"a", "", "b"}));
}

TEST_F(StringHandlerTest, SplitYieldsNothingBehindALastDelimiter) {
  EXPECT_EQ(handler_.Split("a,b,", ','), (Texts{"a", "b"}));
  EXPECT_EQ(handler_.Split(",", ','), (Texts{""}));
  EXPECT_EQ(handler_.Split("", ','), Texts{});
}

TEST_F(StringHandlerTest, CompareNStopsAtTheCount) {
  EXPECT_EQ(handler_.CompareN("abX", "abY", 2), 0);
  EXPECT_LT(handler_.CompareN("abX", "abY", 3), 0);
  EXPECT_GT(handler_.CompareN("b", "a", 5), 0);
  EXPECT_EQ(handler_.CompareN("a", "b", 0), 0);
}

TEST_F(StringHandlerTest, FormatBoundedReturnsTheLength) {
  std::array<char, 6> buffer{};
  EXPECT_EQ(handler_.FormatBounded(buffer.data(), buffer.size(), "%s-%d", "ab", 12), 5);
  EXPECT_STREQ(buffer.data(), "ab-12");
}

TEST_F(StringHandlerTest, FormatBoundedRefusesATextThatDoesNotFit) {
  std::array<char, 5> buffer{'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(handler_.FormatBounded(buffer.data(), buffer.size(), "%s", "abcde"), -1);
  EXPECT_STREQ(buffer.data(), "");
}

TEST_F(StringHandlerTest, CopyNCopiesAtMostTheCount) {
  std::array<char, 4> buffer{};
  EXPECT_EQ(handler_.CopyN(buffer.data(), buffer.size(), "abcdef", 3), 0);
  EXPECT_STREQ(buffer.data(), "abc");
}

TEST_F(StringHandlerTest, CopyNFailsRatherThanOverruns) {
  std::array<char, 4> buffer{'x', 'x', 'x', 'x'};
  EXPECT_EQ(handler_.CopyN(buffer.data(), 3, "abc", 3), ERANGE);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[3], 'x');
  EXPECT_EQ(handler_.CopyN(nullptr, 3, "abc", 3), EINVAL);
  EXPECT_EQ(handler_.CopyN(buffer.data(), 3, nullptr, 3), EINVAL);
}

TEST_F(StringHandlerTest, CopyBoundedCopiesAndTerminates) {
  std::array<char, 4> buffer{'x', 'x', 'x', 'x'};
  EXPECT_EQ(handler_.CopyBounded(buffer.data(), buffer.size(), "abc", 10), 0);
  EXPECT_STREQ(buffer.data(), "abc");
  const std::array<char, 3> unterminated{'d', 'e', 'f'};
  EXPECT_EQ(handler_.CopyBounded(buffer.data(), buffer.size(), unterminated.data(), 3), 0);
  EXPECT_STREQ(buffer.data(), "def");
}

TEST_F(StringHandlerTest, CopyBoundedOfOverlappingBuffersLeavesAnEmptyDestination) {
  std::array<char, 16> buffer{"abcdef"};
  EXPECT_EQ(handler_.CopyBounded(buffer.data() + 2, 8, buffer.data(), 8), -1);
  EXPECT_STREQ(buffer.data() + 2, "");
  std::array<char, 16> second{"abcdef"};
  EXPECT_EQ(handler_.CopyBounded(second.data(), 8, second.data() + 2, 8), -1);
  EXPECT_STREQ(second.data(), "");
  EXPECT_EQ(handler_.CopyBounded(second.data(), 8, second.data() + 8, 8), 0);
}

TEST_F(StringHandlerTest, CopyBoundedRefusesWhatItCannotDo) {
  std::array<char, 4> buffer{"xyz"};
  EXPECT_EQ(handler_.CopyBounded(nullptr, 4, "a", 1), -1);
  EXPECT_EQ(handler_.CopyBounded(buffer.data(), 0, "a", 1), -1);
  EXPECT_STREQ(buffer.data(), "xyz");
  EXPECT_EQ(handler_.CopyBounded(buffer.data(), 4, nullptr, 1), -1);
  EXPECT_STREQ(buffer.data(), "");
  buffer = {"xyz"};
  EXPECT_EQ(handler_.CopyBounded(buffer.data(), 4, "abcd", 4), -1);
  EXPECT_STREQ(buffer.data(), "");
}

TEST_F(StringHandlerTest, LengthIsBounded) {
  EXPECT_EQ(handler_.LengthN("abc", 10), 3);
  EXPECT_EQ(handler_.LengthN("abc", 2), 2);
  EXPECT_EQ(handler_.WideLengthN(L"abc", 10), 3);
  EXPECT_EQ(handler_.WideLengthN(L"abc", 2), 2);
}

TEST_F(StringHandlerTest, LengthOfANullTextIsNull) {
  EXPECT_EQ(handler_.WideLengthN(nullptr, 10), 0);
  EXPECT_EQ(handler_.LengthN(nullptr, 10), 0);
}

TEST_F(StringHandlerTest, AppendNAppendsAtMostTheCount) {
  std::array<char, 6> buffer{"ab"};
  EXPECT_EQ(handler_.AppendN(buffer.data(), buffer.size(), "cdefg", 3), 0);
  EXPECT_STREQ(buffer.data(), "abcde");
}

TEST_F(StringHandlerTest, AppendNFailsRatherThanOverruns) {
  std::array<char, 6> buffer{"ab"};
  EXPECT_EQ(handler_.AppendN(buffer.data(), 5, "cde", 3), ERANGE);
  EXPECT_STREQ(buffer.data(), "");
  std::array<char, 3> unterminated{'a', 'b', 'c'};
  EXPECT_EQ(handler_.AppendN(unterminated.data(), 3, "d", 1), EINVAL);
  EXPECT_EQ(unterminated[0], '\0');
}

TEST_F(StringHandlerTest, ConversionsFollowTheLocale) {
  const CharacterLocale utf8("C.UTF-8");
  std::array<wchar_t, 8> wide{};
  std::array<char, 8> narrow{};
  std::size_t count = 0;
  EXPECT_EQ(handler_.NarrowToWide(&count, wide.data(), wide.size(), "a\xC3\xA4", 7), 0);
  EXPECT_EQ(count, 3U);
  EXPECT_STREQ(wide.data(), L"a\u00E4");
  EXPECT_EQ(handler_.WideToNarrow(&count, narrow.data(), narrow.size(), L"a\u00E4", 7), 0);
  EXPECT_EQ(count, 4U);
  EXPECT_STREQ(narrow.data(), "a\xC3\xA4");
}

TEST_F(StringHandlerTest, ConversionOfWhatTheLocaleLacksIsAnError) {
  const CharacterLocale plain("C");
  std::array<char, 8> narrow{'x'};
  std::size_t count = 9;
  EXPECT_EQ(handler_.WideToNarrow(&count, narrow.data(), narrow.size(), L"\u20AC", 7), EILSEQ);
  EXPECT_STREQ(narrow.data(), "");
  EXPECT_EQ(count, 0U);
  const CharacterLocale utf8("C.UTF-8");
  std::array<wchar_t, 8> wide{L'x'};
  EXPECT_EQ(handler_.NarrowToWide(&count, wide.data(), wide.size(), "\xC3(", 7), EILSEQ);
  EXPECT_STREQ(wide.data(), L"");
}

TEST_F(StringHandlerTest, ConversionThatDoesNotFitIsAnError) {
  std::array<char, 3> narrow{'x'};
  std::size_t count = 9;
  EXPECT_EQ(handler_.WideToNarrow(&count, narrow.data(), narrow.size(), L"abc", 3), ERANGE);
  EXPECT_STREQ(narrow.data(), "");
  EXPECT_EQ(handler_.WideToNarrow(&count, narrow.data(), narrow.size(), L"abc", 2), 0);
  EXPECT_STREQ(narrow.data(), "ab");
}

TEST_F(StringHandlerTest, ConversionIntoNothingCounts) {
  std::size_t count = 0;
  EXPECT_EQ(handler_.WideToNarrow(&count, nullptr, 0, L"abc", 10), 0);
  EXPECT_EQ(count, 4U);
  EXPECT_EQ(handler_.NarrowToWide(&count, nullptr, 0, "abcd", 10), 0);
  EXPECT_EQ(count, 5U);
}

TEST_F(StringHandlerTest, LocalTimeBreaksATimeDown) {
  const char* const before = std::getenv("TZ");
  const std::string zone = before != nullptr ? before : "";
  setenv("TZ", "XST-2", 1);
  tzset();
  const std::time_t value = 86400;
  std::tm record{};
  EXPECT_EQ(handler_.LocalTime(&record, &value), 0);
  EXPECT_EQ(record.tm_mday, 2);
  EXPECT_EQ(record.tm_hour, 2);
  EXPECT_EQ(record.tm_year, 70);
  EXPECT_EQ(handler_.LocalTime(nullptr, &value), EINVAL);
  before != nullptr ? setenv("TZ", zone.c_str(), 1) : unsetenv("TZ");
  tzset();
}

TEST_F(StringHandlerTest, FormatTruncatedCutsToFit) {
  std::array<char, 4> buffer{};
  EXPECT_EQ(handler_.FormatTruncated(buffer.data(), buffer.size(), "%s", "abcdef"), 6);
  EXPECT_STREQ(buffer.data(), "abc");
  EXPECT_EQ(handler_.FormatTruncated(nullptr, 4, "%s", "abc"), -1);
}

TEST_F(StringHandlerTest, FormatToStreamPrints) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const stream = open_memstream(&text, &size);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(handler_.FormatToStream(stream, "%02d|%s", 7, "x"), 4);
  std::fclose(stream);
  EXPECT_STREQ(text, "07|x");
  std::free(text);
}

TEST_F(StringHandlerTest, StringFromBufferKeepsZeroBytes) {
  EXPECT_EQ(handler_.StringFromBuffer("a\0b\0c", 4), std::string("a\0b\0", 4));
}

TEST_F(StringHandlerTest, TokenizeGivesNoEmptyTokens) {
  EXPECT_EQ(handler_.Tokenize("==a=,b,=", "=,"), (Texts{"a", "b"}));
  EXPECT_EQ(handler_.Tokenize("===", "="), Texts{});
  EXPECT_EQ(handler_.Tokenize("", "="), Texts{});
  EXPECT_EQ(handler_.Tokenize("a=b", ""), (Texts{"a=b"}));
}

TEST_F(StringHandlerTest, CopyUntilNulEndsAtTheFirstZeroByte) {
  EXPECT_EQ(handler_.CopyUntilNul(std::string("ab\0cd", 5)), "ab");
  EXPECT_EQ(handler_.CopyUntilNul("ab"), "ab");
  EXPECT_EQ(handler_.CopyUntilNul(""), "");
}

TEST_F(StringHandlerTest, CleanFixedFieldOfSizeOneIsEmpty) {
  char destination = 'x';
  EXPECT_EQ(handler_.CleanFixedField(&destination, 1, "abc", 3), &destination);
  EXPECT_EQ(destination, '\0');
}

TEST_F(StringHandlerTest, CleanFixedFieldDropsBlanksAndZeroesTheRest) {
  std::array<char, 8> buffer;
  buffer.fill('x');
  EXPECT_STREQ(handler_.CleanFixedField(buffer.data(), buffer.size(), "  a b  \0zz", 10), "a b");
  EXPECT_EQ(std::string(buffer.data(), buffer.size()), std::string("a b\0\0\0\0\0", 8));
}

TEST_F(StringHandlerTest, CleanFixedFieldStaysWithinTheSourceLength) {
  std::array<char, 8> buffer{};
  const std::array<char, 4> blanks{' ', ' ', ' ', ' '};
  EXPECT_STREQ(handler_.CleanFixedField(buffer.data(), 8, blanks.data(), 4), "");
  const std::array<char, 4> field{' ', 'a', 'b', 'c'};
  EXPECT_STREQ(handler_.CleanFixedField(buffer.data(), 8, field.data(), 3), "ab");
}

TEST_F(StringHandlerTest, CleanFixedFieldCutsToSizeAndMarksWhatCannotBeShown) {
  std::array<char, 5> buffer{};
  EXPECT_STREQ(handler_.CleanFixedField(buffer.data(), 5, "\x1F\x7F\xC3~abc", 7), "???~");
}

TEST_F(StringHandlerTest, CleanFixedFieldCleansInPlace) {
  std::array<char, 6> buffer{' ', 'a', 'b', ' ', ' ', '\0'};
  EXPECT_STREQ(handler_.CleanFixedField(buffer.data(), 6, buffer.data(), 5), "ab");
}

TEST_F(StringHandlerTest, RemoveTrailingCutsAsManyAsTheSetHas) {
  std::string text = "abcd;";
  handler_.RemoveTrailing(text, ",;");
  EXPECT_EQ(text, "abc");
  handler_.RemoveTrailing(text, "c");
  EXPECT_EQ(text, "ab");
}

TEST_F(StringHandlerTest, RemoveTrailingLeavesATextShorterThanTheSet) {
  std::string text = ";";
  handler_.RemoveTrailing(text, ",;");
  EXPECT_EQ(text, ";");
}

TEST_F(StringHandlerTest, RemoveTrailingLeavesOtherEndsAndEmptyTextsAlone) {
  std::string text = "abc";
  handler_.RemoveTrailing(text, "ab");
  handler_.RemoveTrailing(text, "");
  EXPECT_EQ(text, "abc");
  std::string empty;
  handler_.RemoveTrailing(empty, "a");
  EXPECT_EQ(empty, "");
}

TEST_F(StringHandlerTest, WidenTakesEachByteAsSigned) {
  const std::wstring wide = handler_.Widen("a\xE9");
  ASSERT_EQ(wide.size(), 2U);
  EXPECT_EQ(wide[0], L'a');
  EXPECT_EQ(wide[1], static_cast<wchar_t>(-23));
}

}  // namespace

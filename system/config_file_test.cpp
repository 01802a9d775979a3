#include "system/config_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QTextStream>
#include <filesystem>

#include "tests/support/test_folder.h"

namespace {

using Values = std::map<std::string, std::string>;

struct Reading {
  ConfigParseResult result;
  ConfigFile config;

  // "CODE line LINE section SECTION key KEY"; "good" without a fault.
  std::string Text() const {
    if (!result.IsError() && result.line == -1 && result.section.empty() && result.key.empty()) {
      return "good";
    }
    return std::to_string(result.code) + " line " + std::to_string(result.line) + " section " +
           result.section + " key " + result.key;
  }
  Values ValuesOf(const std::string& section) const { return config.sections.at(section).values; }
  std::vector<std::string> Sections() const {
    std::vector<std::string> names;
    for (const auto& entry : config.sections) names.push_back(entry.first);
    return names;
  }
};

Reading Parse(const std::string& text) {
  Reading reading;
  QByteArray bytes = QByteArray::fromStdString(text);
  QTextStream stream(&bytes);
  stream.setCodec("UTF-8");
  reading.result = ParseConfigStream(stream, reading.config);
  return reading;
}

using Names = std::vector<std::string>;

struct LineRow {
  const char* line;
  int code;
};

class ConfigLine : public testing::TestWithParam<LineRow> {};

TEST_P(ConfigLine, GivesTheCodeOfTheFirstMistakeThatIsFound) {
  const ConfigParseResult result = ValidateConfigLine(GetParam().line, 7);
  EXPECT_EQ(result.code, GetParam().code) << GetParam().line;
  EXPECT_EQ(result.line, GetParam().code == 0 ? -1 : 7);
  EXPECT_EQ(result.IsError(), GetParam().code != 0);
  EXPECT_EQ(result.opened, 0);
  EXPECT_EQ(result.key + result.section, "");
}

INSTANTIATE_TEST_SUITE_P(Good, ConfigLine,
                         testing::Values(LineRow{"[A]", 0}, LineRow{"[ a b* ]", 0},
                                         LineRow{"a=1", 0}, LineRow{" a\t=\tb c ", 0},
                                         LineRow{"[A] b=1", 0}, LineRow{"[A] [B]", 0}));

INSTANTIATE_TEST_SUITE_P(BareWord, ConfigLine,
                         testing::Values(LineRow{"word", 1010}, LineRow{"(a):1", 1010},
                                         LineRow{"", 1010}, LineRow{"=", 0}));

INSTANTIATE_TEST_SUITE_P(SecondOpening, ConfigLine,
                         testing::Values(LineRow{"[A[B]", 1001}, LineRow{"[ Ab[", 1001},
                                         LineRow{"[[A]", 1001}, LineRow{"x[[", 1001},
                                         // A blank behind the word, or no word: not this mistake.
                                         LineRow{"[A [B]", 0}, LineRow{"[ [B]", 0},
                                         LineRow{"[-[B]", 0}));

INSTANTIATE_TEST_SUITE_P(SecondClosing, ConfigLine,
                         testing::Values(LineRow{"[A]]", 1002}, LineRow{"[A]B]", 1002},
                                         LineRow{"[A] Bc]", 1002}, LineRow{"]]", 1002},
                                         LineRow{"[]]", 1002}, LineRow{"[A] B ]", 0},
                                         LineRow{"[A] ]", 0}));

INSTANTIATE_TEST_SUITE_P(SecondEquals, ConfigLine,
                         testing::Values(LineRow{"a==b", 1003}, LineRow{"a=b=c", 1003},
                                         LineRow{"a= bc=d", 1003}, LineRow{"==", 1003},
                                         LineRow{"a = b = c", 0}, LineRow{"a=b-c=d", 0},
                                         LineRow{"a= =b", 0}));

INSTANTIATE_TEST_SUITE_P(BracketAtEquals, ConfigLine,
                         testing::Values(LineRow{"a=b[", 1006}, LineRow{"a=bc]", 1006},
                                         LineRow{"[a=", 1006}, LineRow{"]ab=", 1006},
                                         LineRow{"[A]b=1", 1006}, LineRow{"[=", 1006},
                                         LineRow{"]=", 1006}, LineRow{"a=[b]", 1006},
                                         LineRow{"a=]", 1006},
                                         // A blank between: not this mistake.
                                         LineRow{"a= [b]", 0}, LineRow{"[a =", 1007},
                                         LineRow{"[a] =", 0}, LineRow{"a=b [", 0}));

INSTANTIATE_TEST_SUITE_P(NoClosing, ConfigLine,
                         testing::Values(LineRow{"[A", 1007}, LineRow{"9[", 1007},
                                         LineRow{"a=1 2[", 1007}, LineRow{"a = [b", 1007},
                                         LineRow{"[ A", 0}, LineRow{"-[", 0}, LineRow{"[", 0}));

INSTANTIATE_TEST_SUITE_P(NoOpening, ConfigLine,
                         testing::Values(LineRow{"A]", 1008}, LineRow{"a=1 2]", 1008},
                                         LineRow{"a = b]", 1008}, LineRow{"A ]", 0},
                                         LineRow{"]9", 1008}, LineRow{"] A", 0}, LineRow{"]", 0}));

INSTANTIATE_TEST_SUITE_P(ReversedBrackets, ConfigLine,
                         testing::Values(LineRow{"]Ab[", 1009}, LineRow{"][", 1009},
                                         LineRow{"[A][B]", 1009}, LineRow{"[A]b[c]", 1009},
                                         LineRow{"] [", 0}, LineRow{"] A[", 0}));

INSTANTIATE_TEST_SUITE_P(EmptyBrackets, ConfigLine,
                         testing::Values(LineRow{"[]", 1011}, LineRow{"[ \t]", 1011},
                                         LineRow{"a = []", 1011}, LineRow{"[-]", 0}));

INSTANTIATE_TEST_SUITE_P(NoKey, ConfigLine,
                         testing::Values(LineRow{"=1", 1012}, LineRow{" \t= 1", 1012},
                                         LineRow{"=", 0}, LineRow{"= -1", 0}, LineRow{"-=1", 0}));

INSTANTIATE_TEST_SUITE_P(NoValue, ConfigLine,
                         testing::Values(LineRow{"a=", 1014}, LineRow{"a \t= \t", 1014},
                                         // Only a key at the very beginning of the line.
                                         LineRow{" a=", 0}, LineRow{"a b=", 0}, LineRow{"a-=", 0}));

// Each line holds two mistakes; the earlier check counts.
INSTANTIATE_TEST_SUITE_P(Order, ConfigLine,
                         testing::Values(LineRow{"[[]]", 1001}, LineRow{"]]==", 1002},
                                         LineRow{"==[", 1003}, LineRow{"[=A[", 1006},
                                         LineRow{"[A []=", 1006}, LineRow{"[] []=", 1006},
                                         LineRow{"[] ][", 1009}, LineRow{" =1 []", 1011}));

// Letters outside ASCII are no word characters, whatever the locale.
INSTANTIATE_TEST_SUITE_P(Letters, ConfigLine,
                         testing::Values(LineRow{"\u00e4=", 0}, LineRow{"_=", 1014},
                                         LineRow{"[\u00e4", 0}, LineRow{"[9", 1007}));

TEST(ConfigStream, AnEmptyTextHasOnlyTheEmptySection) {
  for (const char* const text : {"", "\n", " \t\n\n  ", "; a comment", "\n;\n ;x\n"}) {
    const Reading reading = Parse(text);
    EXPECT_EQ(reading.Text(), "good") << text;
    EXPECT_EQ(reading.Sections(), Names{""}) << text;
    EXPECT_TRUE(reading.ValuesOf("").empty()) << text;
  }
}

TEST(ConfigStream, KeysBelongToTheSectionAboveThem) {
  const Reading reading = Parse("a=1\n[one]\na=2\nb=3\n[Two Words*]\na=4\n");
  EXPECT_EQ(reading.Text(), "good");
  EXPECT_EQ(reading.Sections(), (Names{"", "ONE", "TWO WORDS*"}));
  EXPECT_EQ(reading.ValuesOf(""), (Values{{"A", "1"}}));
  EXPECT_EQ(reading.ValuesOf("ONE"), (Values{{"A", "2"}, {"B", "3"}}));
  EXPECT_EQ(reading.ValuesOf("TWO WORDS*"), (Values{{"A", "4"}}));
}

TEST(ConfigStream, LinesCountFromOneWithBlankAndCommentLines) {
  const Reading reading = Parse("\n; first\na=1\n\n[s]\n   \nb=2 ; second\n");
  EXPECT_EQ(reading.config.sections.at("").keyLines,
            (std::map<std::string, std::int32_t>{{"[]A", 3}}));
  EXPECT_EQ(reading.config.sections.at("S").keyLines,
            (std::map<std::string, std::int32_t>{{"[S]B", 7}}));
  EXPECT_EQ(Parse("\n; first\n\nword").Text(), "1010 line 4 section  key ");
}

TEST(ConfigStream, ASectionNameKeepsItsInnerBlanks) {
  EXPECT_EQ(Parse("[ a  b ]").Sections(), (Names{"", " A  B "}));
}

TEST(ConfigStream, AValueKeepsBlanksAndCaseButForBlanksInFront) {
  EXPECT_EQ(Parse("k = Some  Value \n").ValuesOf(""), (Values{{"K", "Some  Value "}}));
  EXPECT_EQ(Parse("k=(a) b = c").ValuesOf(""), (Values{{"K", "(a) b = c"}}));
  EXPECT_EQ(Parse("k= =b").ValuesOf(""), (Values{{"K", "=b"}}));
  EXPECT_EQ(Parse("k=\u00c4\u00e4").ValuesOf(""), (Values{{"K", "\u00c4\u00e4"}}));
  EXPECT_EQ(Parse("k=a\rb").ValuesOf(""), (Values{{"K", "a\rb"}})) << "any character at all";
}

TEST(ConfigStream, TheWordBeforeTheEqualsSignIsTheKey) {
  EXPECT_EQ(Parse("my own-key = 1").ValuesOf(""), (Values{{"KEY", "1"}}));
}

// The checker looks for a missing value only behind a key at the beginning; the parser then finds
// a value where at least one character, a blank even, is left.
TEST(ConfigStream, AnIndentedKeyWithoutAValueAddsNothingOrABlank) {
  EXPECT_EQ(Parse(" a=\nb=1").ValuesOf(""), (Values{{"B", "1"}}));
  EXPECT_EQ(Parse(" a= ").ValuesOf(""), (Values{{"A", " "}}));
}

TEST(ConfigStream, ALineThatIsNeitherHeaderNorPairAddsNothing) {
  const Reading reading = Parse("[ open\n] [\n- = \n=\na=1");
  EXPECT_EQ(reading.Text(), "good");
  EXPECT_EQ(reading.Sections(), Names{""});
  EXPECT_EQ(reading.ValuesOf(""), (Values{{"A", "1"}}));
}

TEST(ConfigStream, ASemicolonInAValueStartsAComment) {
  EXPECT_EQ(Parse("k=a;b=c;d").ValuesOf(""), (Values{{"K", "a"}}));
  EXPECT_EQ(Parse("k=;1").Text(), "1014 line 1 section  key ");
}

TEST(ConfigStream, AHeaderAndAPairOnOneLineAreBothTaken) {
  const Reading reading = Parse("[s] k=1\nl=2");
  EXPECT_EQ(reading.Text(), "good");
  EXPECT_EQ(reading.ValuesOf("S"), (Values{{"K", "1"}, {"L", "2"}}));
  EXPECT_EQ(reading.config.sections.at("S").keyLines.at("[S]K"), 1);
}

// The value is the header as well, and stands in the section that it opens.
TEST(ConfigStream, AHeaderInAValueOpensASection) {
  const Reading reading = Parse("k= [s]");
  EXPECT_EQ(reading.Text(), "good");
  EXPECT_EQ(reading.ValuesOf("S"), (Values{{"K", "[s]"}}));
}

TEST(ConfigStream, OfTwoHeadersOnALineTheFirstCounts) {
  EXPECT_EQ(Parse("[a] [b]").Sections(), (Names{"", "A"}));
}

TEST(ConfigStream, ASectionInAnotherCaseIsRepeated) {
  const Reading reading = Parse("[Storage]\na=1\n[STORAGE]\nb=2");
  EXPECT_EQ(reading.Text(), "1 line 3 section STORAGE key ");
  EXPECT_EQ(reading.ValuesOf("STORAGE"), (Values{{"A", "1"}}));
}

TEST(ConfigStream, AKeyIsRepeatedWithinASectionOnly) {
  EXPECT_EQ(Parse("a=1\n[s]\na=2\n[t]\na=3").Text(), "good");
  const Reading reading = Parse("[s]\nKey=1\n\nkEY=2\nb=3");
  EXPECT_EQ(reading.Text(), "2 line 4 section S key KEY");
  EXPECT_EQ(reading.ValuesOf("S"), (Values{{"KEY", "1"}}));
  EXPECT_EQ(Parse("a=1\na=1").Text(), "2 line 2 section  key A");
}

TEST(ConfigStream, AFaultKeepsWhatWasFoundBefore) {
  const Reading reading = Parse("[s]\na=1\nword\nb=2");
  EXPECT_EQ(reading.Text(), "1010 line 3 section  key ");
  EXPECT_EQ(reading.ValuesOf("S"), (Values{{"A", "1"}}));
}

TEST(ConfigStream, ASecondTextGoesOnInTheSameConfig) {
  Reading reading = Parse("a=1\n[s]\nb=2");
  QByteArray bytes("c=3\n[s]");
  QTextStream stream(&bytes);
  reading.result = ParseConfigStream(stream, reading.config);
  EXPECT_EQ(reading.Text(), "1 line 2 section S key ");
  EXPECT_EQ(reading.ValuesOf(""), (Values{{"A", "1"}, {"C", "3"}}));
}

TEST(ConfigStream, BoundsALineWithoutItsComment) {
  const std::string longest = "a=" + std::string(kLongestConfigLine - 2, 'x');
  EXPECT_EQ(Parse(longest + ";" + longest).Text(), "good");
  EXPECT_EQ(Parse("\n" + longest + "x").Text(), "1015 line 2 section  key ");
  // Not even a blank line.
  EXPECT_EQ(Parse(std::string(kLongestConfigLine + 1, ' ')).Text(), "1015 line 1 section  key ");
}

TEST(ConfigStream, BoundsTheText) {
  const std::string comment = ";" + std::string(kLongestConfigText - 5, 'x') + "\n";
  EXPECT_EQ(Parse(comment + "a=1").ValuesOf(""), Values{});
  EXPECT_EQ(Parse(comment + "a=1").Text(), "1015 line 2 section  key ");
  EXPECT_EQ(Parse(comment.substr(1) + "\n").Text(), "1015 line 1 section  key ");
  EXPECT_EQ(Parse(";" + comment.substr(2) + "a=1").ValuesOf(""), (Values{{"A", "1"}}));
  EXPECT_EQ(Parse(std::string(kLongestConfigText, '\n')).Text(), "good");
  EXPECT_EQ(Parse(std::string(kLongestConfigText + 1, '\n')).Text(),
            "1015 line " + std::to_string(kLongestConfigText + 1) + " section  key ");
}

// The deepest searches that the limit allows must leave the stack whole.
TEST(ConfigStream, TheLongestLineIsSafe) {
  for (const char character : {'a', ' ', '=', '[', ']', '-'}) {
    for (const char* const front : {"", "a=", "a", "[ ", "] ", "= "}) {
      std::string line = front;
      line.resize(kLongestConfigLine, character);
      Parse(line);
      Parse(std::string(line.rbegin(), line.rend()));
    }
  }
}

TEST(ConfigLookups, TakeUpperCaseAndMissGently) {
  const ConfigFile config = Parse("[s]\nk=v\n").config;
  EXPECT_TRUE(config.HasSection("S"));
  EXPECT_TRUE(config.HasSection(""));
  EXPECT_FALSE(config.HasSection("s"));
  EXPECT_TRUE(config.HasKey("S", "K"));
  EXPECT_FALSE(config.HasKey("S", "k"));
  EXPECT_FALSE(config.HasKey("T", "K"));
  EXPECT_EQ(config.GetValue("S", "K"), "v");
  EXPECT_EQ(config.GetValue("S", "L"), "");
  EXPECT_EQ(config.GetValue("T", "K"), "");
  EXPECT_TRUE(ConfigFile().HasSection(""));
}

class ConfigFileTest : public testing::Test {
 protected:
  Reading Read(const std::string& text) {
    folder_.Write("config.ini", text);
    return Read();
  }
  Reading Read() {
    Reading reading;
    reading.result = ReadConfigFile(folder_ / "config.ini", reading.config);
    return reading;
  }
  const TestFolder folder_;
};

TEST_F(ConfigFileTest, ReadsAFile) {
  const Reading reading = Read("[s]\r\nk = v w\r\nl=2");
  EXPECT_EQ(reading.result.opened, 1);
  EXPECT_EQ(reading.Text(), "good");
  EXPECT_EQ(reading.ValuesOf("S"), (Values{{"K", "v w"}, {"L", "2"}}));
}

TEST_F(ConfigFileTest, TellsTheFaultOfAnOpenedFile) {
  const Reading reading = Read("\r\n\r\nword");
  EXPECT_EQ(reading.result.opened, 1);
  EXPECT_EQ(reading.Text(), "1010 line 3 section  key ");
}

TEST_F(ConfigFileTest, TakesByteOrderMarks) {
  EXPECT_EQ(Read("\xEF\xBB\xBF[s]\nk=\u00e4").ValuesOf("S"), (Values{{"K", "\u00e4"}}));
  const char wide[] =
      "\xFF\xFEk\0=\0\x0D\x01\r\0\n\0l\0=\0"
      "1\0";
  EXPECT_EQ(Read(std::string(wide, sizeof wide - 1)).ValuesOf(""),
            (Values{{"K", "\u010d"}, {"L", "1"}}));
}

TEST_F(ConfigFileTest, BytesThatAreNoTextBecomeReplacements) {
  EXPECT_EQ(Read("k=\xFF\xE4(\n").ValuesOf(""), (Values{{"K", "\uFFFD\uFFFD("}}));
  EXPECT_EQ(Read(std::string("k=a\0b", 5)).ValuesOf(""), (Values{{"K", std::string("a\0b", 3)}}));
}

TEST_F(ConfigFileTest, WhatCannotBeOpenedReadsAsAnEmptyFile) {
  const auto expectNotOpened = [this](const char* what) {
    const Reading reading = Read();
    EXPECT_EQ(reading.result.opened, 0) << what;
    EXPECT_EQ(reading.Text(), "good") << what;
    EXPECT_EQ(reading.Sections(), Names{""}) << what;
  };
  const std::string path = folder_ / "config.ini";
  expectNotOpened("a missing file");
  folder_.Write("real.ini", "word");
  ASSERT_EQ(symlink("real.ini", path.c_str()), 0);
  expectNotOpened("a link");
  std::filesystem::remove(path);
  ASSERT_EQ(symlink("/dev/zero", path.c_str()), 0);
  expectNotOpened("a link to a device");
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  expectNotOpened("a pipe that nobody writes to");
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  expectNotOpened("a folder");
  ConfigFile config;
  EXPECT_EQ(ReadConfigFile("/dev/zero", config).opened, 0);
  EXPECT_EQ(ReadConfigFile("", config).opened, 0);
  EXPECT_EQ(ReadConfigFile(std::string("/dev/null\0.ini", 14), config).opened, 0);
}

TEST_F(ConfigFileTest, BackslashesSeparateFolders) {
  folder_.Write("config.ini", "a=1");
  ConfigFile config;
  EXPECT_EQ(ReadConfigFile(folder_.Path() + "\\config.ini", config).opened, 1);
  EXPECT_EQ(config.GetValue("", "A"), "1");
}

TEST_F(ConfigFileTest, AFileWithoutEndIsGivenUp) {
  folder_.Write("config.ini", "");
  ASSERT_EQ(truncate((folder_ / "config.ini").c_str(), 1LL << 40), 0);
  EXPECT_EQ(Read().Text(), "1015 line 1 section  key ");
}

}  // namespace

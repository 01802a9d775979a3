#include "service/recording/recording.h"

#include <gtest/gtest.h>

#include "service/recording/answers.h"

namespace orvan::recording {
namespace {

const std::string kHead(kFirstLine);

std::string FaultOf(const std::string& text) {
  try {
    Recording::Parse(text);
  } catch (const RecordingFault& fault) {
    return fault.what();
  }
  return {};
}

TEST(RecordingTest, HoldsTheAnswersOfEachModuleInTheirOrder) {
  const auto recording = Recording::Parse(kHead +
                                          "# a remark\n"
                                          "0 storage begin = 0\n"
                                          "\n"
                                          "12 storage bytes /sys/a 10 = 0 1 x\\x0a\n"
                                          "13 other exists /b = 0 1\n"
                                          "14 storage bytes /sys/a 10 = 5 0\n");
  const Recording::Lines& lines = recording.LinesOf("storage");
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].access, "begin");
  EXPECT_EQ(lines[1].time, 12U);
  EXPECT_EQ(lines[1].access, "bytes /sys/a 10");
  EXPECT_EQ(AnswerOf<TextAnswer>(lines[1].answer).text, "x\n");
  EXPECT_EQ(AnswerOf<TextAnswer>(lines[2].answer).error, 5);
  EXPECT_EQ(recording.LinesOf("other").size(), 1U);
  EXPECT_TRUE(recording.LinesOf("third").empty());
}

TEST(RecordingTest, PassesOverALastLineThatACrashCutOff) {
  const std::string whole = kHead + "1 storage exists /a = 0 1\n";
  for (const char* cut : {"", "2", "2 storage", "2 storage exists /b = 0 1", "\x01"}) {
    EXPECT_EQ(Recording::Parse(whole + cut).LinesOf("storage").size(), 1U) << cut;
  }
}

TEST(RecordingTest, NamesTheLineThatIsWrongAndWhy) {
  EXPECT_EQ(FaultOf(""), "line 1: the first line is not \"tarvex-recording 1\"");
  EXPECT_EQ(FaultOf("tarvex-recording 2\n"),
            "line 1: the first line is not \"tarvex-recording 1\"");
  EXPECT_EQ(FaultOf("tarvex-recording 1"), "line 1: the first line is not \"tarvex-recording 1\"");
  struct Case {
    const char* line;
    const char* reason;
  };
  static constexpr Case kCases[] = {
      {"x", "a field is missing"},
      {"x storage exists /a = 0 1", "\"x\" is no number from 0 to 4503599627370496"},
      {"-1 storage exists /a = 0 1", "\"-1\" is no number from 0 to 4503599627370496"},
      {"1 storage", "a field is missing"},
      {"1 storage exists /a", "there is no answer"},
      {"1 storage exists /a =", "there is no answer"},
      {"1 storage exists /a = ", "a field is missing"},
      {"1 storage exists /a = 0", "a field is missing"},
      {"1 storage exists /a = 0 2", "\"2\" is no number from 0 to 1"},
      {"1 storage exists /a = 0 1 1", "there is a field too many"},
      {"1 storage exists /a = 0  1", "a field is empty"},
      {"1 storage exists /a = 0 1 ", "a blank stands at the end"},
      {"1 storage exists /\\a = 0 1", "an escape is not of the form \\xNN"},
      {"1 storage exists \t = 0 1", "a byte is neither printable nor escaped"},
      {"1 storage sing /a = 0 1", "\"sing\" is no kind of access"},
      {"1 storage bytes /a 1 = 4096 0", "\"4096\" is no number from 0 to 4095"},
      {"1 storage read-times r = 3 2", "a read ended before it had begun"},
      {"1 storage collect r = 4", "\"4\" is no number from 0 to 3"},
      {"1 storage collect r = 0 0 5000000 1 0 0", "\"5000000\" is no number from 0 to 4194304"},
      {"1 storage open-reader d = 0 0 r 512 500 512 2", "no sector has that size"},
      {"1 storage open-reader d = 0 0 r 512 512 512 0", "a reader takes at least one read"},
  };
  for (const Case& one : kCases) {
    EXPECT_EQ(FaultOf(kHead + "# a remark\n" + one.line + '\n'),
              std::string("line 3: ") + one.reason)
        << one.line;
  }
}

TEST(RecordingTest, IsBounded) {
  EXPECT_EQ(FaultOf(kHead + std::string(kMostBytes, '\n')), "it is longer than 128 MiB");
  // Of names and reads no more than are ever made of them, however short they are.
  const auto repeated = [](const char* text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
  };
  const std::string names = kHead + "1 m list / = 0";
  EXPECT_EQ(FaultOf(names + repeated(" a", kMostNames) + '\n'), "");
  EXPECT_EQ(FaultOf(names + repeated(" a", kMostNames + 1) + '\n'),
            "line 2: there are too many names");
  EXPECT_EQ(FaultOf(kHead + "1 m collect r = 0" + repeated(" 0 0 1 0 0", 1U << 16) + '\n'),
            "line 2: there are too many reads");
  EXPECT_EQ(FaultOf(kHead + "1 m exists" + repeated(" a", 65) + " = 0 1\n"),
            "line 2: an access has too many fields");
  EXPECT_EQ(FaultOf(kHead + "1 m bytes /a 1 = 0 1 " + std::string(kLongestLine, 'x') + '\n'),
            "line 2: the line is too long");
  std::string modules = kHead;
  for (int i = 0; i < 65; ++i) modules += "1 m" + std::to_string(i) + " begin = 0\n";
  EXPECT_EQ(FaultOf(modules), "line 66: there are too many modules");
  EXPECT_EQ(FaultOf(kHead + "1 " + std::string(129, 'm') + " begin = 0\n"),
            "line 2: a text is too long");
}

}  // namespace
}  // namespace orvan::recording

#include "views/console_stream.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "system/outside_text.h"
#include "system/process_state.h"
#include "tests/support/steering_texts.h"
#include "tests/support/test_pipe.h"

namespace tarvex {
namespace {

// What the sink of a stream got.
struct Received {
  std::vector<std::string> writes;
  int result = 0;

  ConsoleStreamBuffer::Sink Sink() {
    return [this](const char* data, std::size_t size) {
      writes.emplace_back(data, size);
      return result;
    };
  }
  std::string Text() const {
    std::string text;
    for (const std::string& write : writes) {
      text += write;
    }
    return text;
  }
};

std::string Encoded(const std::wstring& text) {
  Received received;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  stream << text << std::flush;
  return received.Text();
}

TEST(ConsoleStreamBuffer, EncodesEachLengthOfUtf8) {
  EXPECT_EQ(Encoded(L"A~"), "A~");
  EXPECT_EQ(Encoded(L"\xA0\x7FF"), "\xC2\xA0\xDF\xBF");
  EXPECT_EQ(Encoded(L"\x800\xFFFF"), "\xE0\xA0\x80\xEF\xBF\xBF");
  EXPECT_EQ(Encoded(L"\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(ConsoleStreamBuffer, ReplacesSurrogatesAndWhatIsPastTheLastCodePoint) {
  const std::string replacement = "\xEF\xBF\xBD";
  for (const int value : {0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0x110000, 0x7FFFFFFF, -1}) {
    EXPECT_EQ(Encoded(std::wstring(1, static_cast<wchar_t>(value))), replacement) << value;
  }
  EXPECT_EQ(Encoded(L"\xD7FF\xE000"), "\xED\x9F\xBF\xEE\x80\x80");
}

TEST(ConsoleStreamBuffer, ReplacesWhatSteersATerminalButNoLayout) {
  const std::wstring steering = testing::SteeringCharacters();
  ASSERT_EQ(steering.size(), 79U);
  for (const wchar_t character : steering) {
    const bool isLayout = IsLayout(static_cast<std::uint32_t>(character));
    EXPECT_EQ(Encoded(std::wstring(1, character)),
              isLayout ? std::string(1, static_cast<char>(character)) : "\xEF\xBF\xBD");
  }
  EXPECT_EQ(Encoded(L"\b\t\n\r"), "\b\t\n\r");
}

TEST(ConsoleStreamBuffer, KeepsTextUntilItIsFlushed) {
  Received received;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  stream << L"one";
  EXPECT_TRUE(received.writes.empty());
  stream.flush();
  EXPECT_EQ(received.writes, std::vector<std::string>{"one"});
}

TEST(ConsoleStreamBuffer, GivesTheRestWhenItEnds) {
  Received received;
  {
    ConsoleStreamBuffer buffer(received.Sink());
    std::wostream(&buffer) << L"rest";
  }
  EXPECT_EQ(received.Text(), "rest");
}

TEST(ConsoleStreamBuffer, TextLongerThanTheBufferComesWhole) {
  const std::wstring text(100000, L'\x20AC');
  std::string expected;
  for (int i = 0; i < 100000; ++i) {
    expected += "\xE2\x82\xAC";
  }
  EXPECT_EQ(Encoded(text), expected);
}

TEST(ConsoleStreamBuffer, ALineCostsOneWrite) {
  Received received;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  for (int i = 0; i < 10000; ++i) {
    WriteWidened(stream, "   Test Status: Passed!");
    EndLine(stream);
  }
  EXPECT_EQ(received.writes.size(), 10000U);
}

TEST(ConsoleStreamBuffer, TheFirstFailureStays) {
  Received received;
  received.result = ENOSPC;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  stream << L"lost" << std::flush;
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(buffer.error(), ENOSPC);

  received.result = 0;
  stream.clear();
  stream << L"more";
  EXPECT_TRUE(stream.bad());
  stream.clear();
  stream.put(L'x');
  EXPECT_TRUE(stream.bad());
  stream.clear();
  stream.flush();
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(received.writes, std::vector<std::string>{"lost"});
}

TEST(ConsoleStreamBuffer, AClosedDescriptorFails) {
  std::array<int, 2> ends;
  ASSERT_EQ(pipe(ends.data()), 0);
  close(ends[0]);
  close(ends[1]);
  ConsoleStreamBuffer buffer(ends[1]);
  std::wostream stream(&buffer);
  stream << L"text" << std::flush;
  EXPECT_TRUE(stream.fail());
  EXPECT_EQ(buffer.error(), EBADF);
}

TEST(ConsoleStreamBuffer, AReaderThatTakesNothingIsAFailureWhenThePatienceEnds) {
  TestPipe pipe;
  pipe.Fill();
  ConsoleStreamBuffer buffer(pipe.writing.Get(), [] { return 0; });
  std::wostream stream(&buffer);
  stream << L"text" << std::flush;
  EXPECT_TRUE(stream.fail());
  EXPECT_EQ(buffer.error(), ETIMEDOUT);
}

TEST(WriteWidened, EachByteBecomesTheCharacterOfThatCode) {
  Received received;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  WriteWidened(stream, std::string("\xC3\xA9\0\xFF", 4));
  EndLine(stream);
  EXPECT_EQ(received.Text(), "\xC3\x83\xC2\xA9\xEF\xBF\xBD\xC3\xBF\n");
}

TEST(WriteWidened, AByteThatWouldBeAControlCharacterIsReplaced) {
  Received received;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  // U+009B and U+202E: only the bytes from 80 to 9F widen to control characters.
  WriteWidened(stream, "\xC2\x9B \xE2\x80\xAE");
  EndLine(stream);
  EXPECT_EQ(received.Text(), "\u00C2\uFFFD \u00E2\uFFFD\u00AE\n");
}

TEST(WriteInLine, TheTextMakesNoLine) {
  Received received;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  WriteInLine(stream, "a\nb\rc\td\be\u00E9");
  EndLine(stream);
  EXPECT_EQ(received.Text(), "a\uFFFDb\uFFFDc\uFFFDd\uFFFDe\u00E9\n");
}

TEST(WriteWidened, LongTextComesWhole) {
  Received received;
  ConsoleStreamBuffer buffer(received.Sink());
  std::wostream stream(&buffer);
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text += std::to_string(i);
  }
  WriteWidened(stream, text);
  stream.flush();
  EXPECT_EQ(received.Text(), text);
}

TEST(ConsoleStream, WritesUtf8ToDescriptorOneWhateverTheLocale) {
  std::array<int, 2> ends;
  ASSERT_EQ(pipe(ends.data()), 0);
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  ASSERT_EQ(dup2(ends[1], STDOUT_FILENO), STDOUT_FILENO);
  StandardOutput() << L"\x20AC " << 1234567;
  EndLine(StandardOutput());
  dup2(saved, STDOUT_FILENO);
  close(saved);
  close(ends[1]);
  EXPECT_EQ(ReadToEnd(ends[0]), "\xE2\x82\xAC 1234567\n");
  close(ends[0]);
}

TEST(ConsoleStream, WaitsForAPersonForEverAndASecondOnceItIsToEnd) {
  const ConsoleStream stream(STDOUT_FILENO);
  EXPECT_LT(stream.PatienceMs(), 0);
  GetProcessState().abort.signalPassed = true;
  EXPECT_EQ(stream.PatienceMs(), 1000);
  GetProcessState().abort.signalPassed = false;
}

TEST(ConsoleStream, ItsPatienceCanBeSetForATime) {
  ConsoleStream stream(STDOUT_FILENO);
  {
    const ScopedConsolePatience twoSeconds(stream, [] { return 2000; });
    EXPECT_EQ(stream.PatienceMs(), 2000);
    GetProcessState().abort.signalPassed = true;
    EXPECT_EQ(stream.PatienceMs(), 1000);
    GetProcessState().abort.signalPassed = false;
  }
  EXPECT_LT(stream.PatienceMs(), 0);
}

TEST(ConsoleStream, AFullPipeFailsItWithinItsPatience) {
  TestPipe pipe;
  pipe.Fill();
  ConsoleStream stream(pipe.writing.Get());
  const ScopedConsolePatience none(stream, [] { return 0; });
  stream << L"text" << std::flush;
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(stream.LostOutputError(), 0);
}

TEST(ConsoleStream, TellsWhatWasLostUnlessTheReaderWentAway) {
  for (const int error : {ENOSPC, EIO, EPIPE, EBADF, ETIMEDOUT}) {
    ConsoleStream stream([error](const char*, std::size_t) { return error; });
    EXPECT_EQ(stream.LostOutputError(), 0);
    stream << L"text";
    EXPECT_EQ(stream.LostOutputError(), error == ENOSPC || error == EIO ? error : 0);
  }
}

TEST(ConsoleStream, IsFlushedAtTheEndOfTheProcess) {
  std::array<int, 2> ends;
  ASSERT_EQ(pipe(ends.data()), 0);
  std::fflush(stdout);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    StandardOutput() << L"no line end";
    std::exit(0);
  }
  close(ends[1]);
  EXPECT_EQ(ReadToEnd(ends[0]), "no line end");
  close(ends[0]);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tarvex

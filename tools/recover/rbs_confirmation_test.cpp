#include "tools/recover/rbs_confirmation.h"

#include <thread>

#include "tests/fakes/tool_test.h"
#include "tests/support/test_pipe.h"
#include "tools/recover/rbs_cli_stdio.h"
#include "tools/tool_keyboard.h"

namespace {

const std::string kQuestion =
    "> The execution of the scan and repair can cause data loss. It is recommended to make a "
    "backup before execute this operation.\n> Are you sure you want to proceed? (y/n) ";

class RbsConfirmationTest : public ToolTest {
 protected:
  // The answer to these keys, behind which the terminal is gone.
  bool Answer(const std::string& keys) {
    for (const char key : keys) host().console.Press(static_cast<unsigned char>(key));
    tarvex::TerminalWait gone{tarvex::Descriptor()};
    ToolKeyboard keyboard{std::move(gone)};
    const bool yes = tarvex::ConfirmRepair(view, keyboard);
    const std::string shown = capture.Take();
    EXPECT_EQ(shown.substr(0, kQuestion.size()), kQuestion);
    echo = shown.substr(kQuestion.size());
    return yes;
  }

  RbsCliStdio view{capture, false};
  std::string echo;  // of the latest answer
};

TEST_F(RbsConfirmationTest, ALetterAndEnterAreAnAnswer) {
  EXPECT_TRUE(Answer("y\r"));
  EXPECT_EQ(echo, "y\n");
  EXPECT_TRUE(Answer("Y\r"));
  EXPECT_EQ(echo, "y\n");
  EXPECT_FALSE(Answer("n\r"));
  EXPECT_EQ(echo, "n\n");
  EXPECT_FALSE(Answer("N\r"));
  EXPECT_EQ(echo, "n\n");
}

TEST_F(RbsConfirmationTest, EnterAloneIsDropped) {
  EXPECT_TRUE(Answer("\r\ry\r"));
  EXPECT_EQ(echo, "y\n");
}

TEST_F(RbsConfirmationTest, ALaterLetterReplacesTheEarlierOne) {
  EXPECT_FALSE(Answer("yn\r"));
  EXPECT_EQ(echo, "y\bn\n");
  EXPECT_TRUE(Answer("nyy\r"));
  EXPECT_EQ(echo, "n\by\by\n");
}

TEST_F(RbsConfirmationTest, BackspaceTakesAnAnswerBackAndIsDroppedWithoutOne) {
  EXPECT_FALSE(Answer("\by\b\b\rn\r"));
  EXPECT_EQ(echo, "y\bn\n");
}

TEST_F(RbsConfirmationTest, EveryOtherKeyIsDropped) {
  std::string keys;
  for (int key = 0; key < 256; ++key) {
    if (std::string("yYnN\b\r").find(static_cast<char>(key)) == std::string::npos) {
      keys += static_cast<char>(key);
    }
  }
  EXPECT_FALSE(Answer(keys + "n\r"));
  EXPECT_EQ(echo, "n\n");
}

TEST_F(RbsConfirmationTest, WithoutAnyoneToAnswerNothingIsRepaired) {
  EXPECT_FALSE(Answer(""));
  EXPECT_EQ(echo, "\n");
  EXPECT_FALSE(Answer("y"));
  EXPECT_EQ(echo, "y\n");
}

TEST_F(RbsConfirmationTest, WaitsForTheAnswerWithTheQuestionOnTheScreen) {
  TestPipe terminal;
  ToolKeyboard keyboard{tarvex::TerminalWait(std::move(terminal.reading))};
  std::thread typist([] {
    host().console.AwaitReads(1);
    host().console.Press('y');
    host().console.AwaitReads(3);
    host().console.Press('\r');
  });
  EXPECT_TRUE(tarvex::ConfirmRepair(view, keyboard));
  typist.join();
  EXPECT_EQ(capture.Flushed(), kQuestion + "y\n");
}

}  // namespace

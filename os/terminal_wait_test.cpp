#include "os/terminal_wait.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using Clock = std::chrono::steady_clock;

class TerminalWaitTest : public testing::Test {
 protected:
  TerminalWaitTest() {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    reading = ends[0];
    writing.Reset(ends[1]);
  }
  void Type() { EXPECT_EQ(write(writing.Get(), "y", 1), 1); }
  // How long one wait takes.
  static Clock::duration Timed(tarvex::TerminalWait& wait, milliseconds longest) {
    const auto start = Clock::now();
    wait.Await(longest);
    return Clock::now() - start;
  }

  int reading = -1;  // the wait owns it
  tarvex::Descriptor writing;
};

TEST_F(TerminalWaitTest, WakesForInputAndLeavesItThere) {
  tarvex::TerminalWait wait{tarvex::Descriptor(reading)};
  std::thread typist([this] { Type(); });
  EXPECT_LT(Timed(wait, minutes(5)), minutes(5));
  typist.join();
  char byte = 0;
  EXPECT_EQ(read(reading, &byte, 1), 1);
  EXPECT_EQ(byte, 'y');
}

TEST_F(TerminalWaitTest, EndsWithItsTime) {
  tarvex::TerminalWait wait{tarvex::Descriptor(reading)};
  EXPECT_GE(Timed(wait, milliseconds(20)), milliseconds(20));
}

TEST_F(TerminalWaitTest, InputThatCameJustBeforeWakesAtOnce) {
  tarvex::TerminalWait wait{tarvex::Descriptor(reading)};
  Type();
  EXPECT_LT(Timed(wait, minutes(5)), minutes(5));
}

TEST_F(TerminalWaitTest, InputThatNobodyTakesDoesNotWakeForEver) {
  tarvex::TerminalWait wait{tarvex::Descriptor(reading)};
  Type();
  wait.Await(minutes(5));
  for (int i = 0; i < 3; ++i) EXPECT_GE(Timed(wait, milliseconds(20)), milliseconds(20));
}

TEST_F(TerminalWaitTest, InputWakesAgainAfterSomeWasTaken) {
  tarvex::TerminalWait wait{tarvex::Descriptor(reading)};
  Type();
  wait.Await(minutes(5));
  wait.Await(milliseconds(1));
  char byte = 0;
  EXPECT_EQ(read(reading, &byte, 1), 1);
  wait.Await(milliseconds(1));
  Type();
  EXPECT_LT(Timed(wait, minutes(5)), minutes(5));
}

TEST_F(TerminalWaitTest, ATerminalThatIsGoneDoesNotWakeForEver) {
  tarvex::TerminalWait wait{tarvex::Descriptor(reading)};
  writing.Reset();
  wait.Await(minutes(5));
  EXPECT_GE(Timed(wait, milliseconds(20)), milliseconds(20));
}

TEST_F(TerminalWaitTest, WithoutATerminalTheTimePasses) {
  close(reading);
  tarvex::TerminalWait wait{tarvex::Descriptor()};
  EXPECT_GE(Timed(wait, milliseconds(20)), milliseconds(20));
}

TEST_F(TerminalWaitTest, IsThereUntilItIsHungUpWhateverIsTyped) {
  tarvex::TerminalWait wait{tarvex::Descriptor(reading)};
  EXPECT_TRUE(wait.IsThere());
  Type();
  EXPECT_TRUE(wait.IsThere());
  writing.Reset();
  EXPECT_FALSE(wait.IsThere());
}

TEST_F(TerminalWaitTest, WithoutATerminalNoneIsThere) {
  close(reading);
  EXPECT_FALSE(tarvex::TerminalWait{tarvex::Descriptor()}.IsThere());
}

}  // namespace

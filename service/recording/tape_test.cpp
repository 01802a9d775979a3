#include <gtest/gtest.h>

#include <cerrno>

#include "service/recording/answers.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/recording_test_support.h"

namespace orvan::recording {
namespace {

using sdk::testing::CapturedFiles;
using sdk::testing::FaultyMachine;
using std::chrono::microseconds;
using std::chrono::milliseconds;

std::unique_ptr<FaultyMachine> MakeFaulty(const std::string& files = {}) {
  return std::make_unique<FaultyMachine>(std::make_unique<CapturedFiles>(files));
}

TEST(TapeTest, EachAnswerIsInTheFileBeforeTheModuleHasIt) {
  const TestTape tape;
  const auto machine = tape.Record(MakeFaulty("f /a one\n"));
  EXPECT_EQ(tape.Text(), "tarvex-recording 1\n0 module begin = 0\n");
  machine->Files().ReadBytes("/a", 10);
  EXPECT_EQ(tape.Text(),
            "tarvex-recording 1\n0 module begin = 0\n0 module bytes /a 10 = 0 1 one\n");
}

TEST(TapeTest, TellsTheTimeOfEachAnswerAndOfWaits) {
  const TestTape tape;
  auto inner = MakeFaulty("f /a one\n");
  FaultyMachine& clock = *inner;
  const auto machine = tape.Record(std::move(inner));
  const auto begin = machine->Now();
  clock.now += microseconds(1500);
  // Not even a hundredth of a second: still the time of the last answer.
  EXPECT_EQ(machine->Now() - begin, microseconds(0));
  machine->Files().Exists("/a");
  EXPECT_EQ(machine->Now() - begin, microseconds(1500));
  EXPECT_EQ(machine->Now() - begin, microseconds(1500));
  clock.now += milliseconds(10);
  EXPECT_EQ(machine->Now() - begin, microseconds(11500));
  EXPECT_EQ(tape.Text(),
            "tarvex-recording 1\n0 module begin = 0\n1500 module exists /a = 0 1\n"
            "11500 module now = 3\n");
}

// Waits until a second is over, and gives how often it looked.
int LooksUntilASecondIsOver(machine::KeptMachine& machine, FaultyMachine* clock) {
  const auto begin = machine.Now();
  int looks = 0;
  while (machine.Now() - begin < std::chrono::seconds(1)) {
    if (++looks > 2000000) return -1;
    if (clock != nullptr) clock->now += microseconds(700);
  }
  return looks;
}

TEST(TapeTest, AReplayEndsAWaitAtTheSameLook) {
  const TestTape tape;
  auto inner = MakeFaulty();
  FaultyMachine* const clock = inner.get();
  const auto machine = tape.Record(std::move(inner));
  const int looks = LooksUntilASecondIsOver(*machine, clock);
  EXPECT_GT(looks, 1000);
  EXPECT_EQ(LooksUntilASecondIsOver(*tape.Replay(), nullptr), looks);
}

TEST(TapeTest, AWaitThatWasNeverRecordedComesToItsEnd) {
  const auto machine = TestTape::ReplayOf(std::string(kFirstLine));
  EXPECT_GT(LooksUntilASecondIsOver(*machine, nullptr), 0);
  // The same for who asks something in between.
  const auto other = TestTape::ReplayOf(std::string(kFirstLine) + "1 module exists /a = 0 1\n");
  const auto begin = other->Now();
  int asked = 0;
  while (other->Now() - begin < std::chrono::seconds(1) && asked < 10000) {
    EXPECT_TRUE(other->Files().Exists("/a"));
    ++asked;
  }
  EXPECT_LT(asked, 10000);
}

TEST(TapeTest, AFullDiskEndsTheRecordingAndNotTheRun) {
  auto inner = MakeFaulty("f /a one\n");
  const auto begin = inner->Now();
  tarvex::Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  std::vector<int> errors;
  const auto machine =
      MakeRecordingMachine(std::move(inner), {std::move(full), "module", 0, KeyOf(1), begin,
                                              [&errors](int error) { errors.push_back(error); }});
  EXPECT_EQ(machine->Files().ReadBytes("/a", 10), "one");
  EXPECT_EQ(machine->Files().ReadBytes("/a", 10), "one");
  EXPECT_EQ(errors, std::vector<int>{ENOSPC});
}

TEST(TapeTest, ARecordingEndsBeforeItGetsTooLong) {
  const TestTape tape;
  std::vector<int> errors;
  const auto machine = tape.Record(MakeFaulty("f /a " + std::string(4U << 20, 'x') + '\n'), 0,
                                   [&errors](int error) { errors.push_back(error); });
  for (int i = 0; i < 40; ++i) machine->Files().ReadBytes("/a", 5U << 20);
  EXPECT_EQ(errors, std::vector<int>{EFBIG});
  EXPECT_LT(tape.Text().size(), kMostBytes);
  EXPECT_NO_THROW(tape.Replay());
}

TEST(TapeTest, SeveralProcessesShareAFile) {
  const TestTape tape;
  const auto one = tape.Record(MakeFaulty("f /a one\n"), 0);
  const auto other = tape.Record(MakeFaulty("f /a two\n"), 1);
  one->Files().ReadBytes("/a", 10);
  other->Files().ReadBytes("/a", 10);
  EXPECT_EQ(tape.Replay(0)->Files().ReadBytes("/a", 10), "one");
}

// The process of a module that replaced another one goes on where that one ended.
TEST(ReplayTest, EachProcessBeginsWhereItsOwnBegan) {
  const std::string text = std::string(kFirstLine) +
                           "1 module begin = 0\n"
                           "2 module bytes /a 10 = 0 1 first\n"
                           "3 module bytes /b 10 = 0 1 early\n"
                           "4 module begin = 1\n"
                           "5 module bytes /a 10 = 0 1 second\n"
                           "6 module bytes /a 10 = 0 1 third\n";
  const auto first = TestTape::ReplayOf(text, 0);
  EXPECT_EQ(first->Files().ReadBytes("/a", 10), "first");
  EXPECT_EQ(first->Files().ReadBytes("/a", 10), "second");
  for (const std::uint64_t worker : {1U, 2U}) {
    const auto second = TestTape::ReplayOf(text, worker);
    EXPECT_EQ(second->Files().ReadBytes("/a", 10), "second");
    EXPECT_EQ(second->Files().ReadBytes("/a", 10), "third");
    EXPECT_EQ(second->Files().ReadBytes("/a", 10), "third");
    // What it never asked, an earlier one did.
    EXPECT_EQ(second->Files().ReadBytes("/b", 10), "early");
  }
}

// The screen shows the last word at each look, so which it shows must not hang on the pace.
TEST(ShownMessagesTest, EachOfATestStaysForASecondAndTheFirstWaitsForNothing) {
  using Moment = machine::KeptMachine::Moment;
  const TestTape tape;
  for (const auto& machine : {tape.Record(MakeFaulty()), tape.Replay()}) {
    const auto wait = [&](Moment moment) {
      const auto before = std::chrono::steady_clock::now();
      machine->OnShown(moment);
      return std::chrono::steady_clock::now() - before;
    };
    EXPECT_LT(wait(Moment::kTestBegins), milliseconds(500));
    EXPECT_LT(wait(Moment::kMessage), milliseconds(500));
    EXPECT_GE(wait(Moment::kMessage), milliseconds(900));
    EXPECT_LT(wait(Moment::kTestBegins), milliseconds(500));
    EXPECT_LT(wait(Moment::kMessage), milliseconds(500));
  }
}

TEST(ReplayTest, ReadsTookAsLongAsRecordedWhereThatIsTold) {
  for (const char* times : {"2 module read-times r = 7 9 3 12\n", ""}) {
    const std::string text = std::string(kFirstLine) +
                             "1 module open-reader d 1 4 4 4096 1 1 0 = 0 0 r 65536 512 512 8\n"
                             "2 module collect r = 0 4096 4096 1 0 0 0 4096 1 0 0\n" +
                             times;
    const auto machine = TestTape::ReplayOf(text);
    sdk::BlockReaderOptions options{"d", 1, 0, 4, 4, 4096, milliseconds(1), milliseconds(1), 0};
    const auto opened = machine->OpenReader(options, {});
    ASSERT_TRUE(opened.reader);
    opened.reader->Submit({{1, 0, 4096, 0}, {2, 4096, 4096, 0}});
    std::vector<sdk::BlockReadResult> results;
    EXPECT_EQ(opened.reader->Collect(results, milliseconds(1)), sdk::ReaderState::kWorking);
    ASSERT_EQ(results.size(), 2U);
    const bool isTold = *times != 0;
    EXPECT_EQ(results[0].begun, microseconds(isTold ? 2 : 0));
    EXPECT_EQ(results[0].ended, microseconds(isTold ? 9 : 0));
    EXPECT_EQ(results[1].begun, microseconds(isTold ? 9 : 0));
    EXPECT_EQ(results[1].ended, microseconds(isTold ? 12 : 0));
  }
}

TEST(ReplayTest, ReadsThatWereMadeElsewhereAreKnown) {
  const std::string text = std::string(kFirstLine) +
                           "1 module open-reader d 1 4 4 4096 1 1 0 = 0 0 r 65536 512 512 8\n"
                           "2 module collect r = 0 0 4096 2 0 0 8192 4096 1 1 61\n";
  const auto machine = TestTape::ReplayOf(text);
  sdk::BlockReaderOptions options{"d", 1, 0, 4, 4, 4096, milliseconds(1), milliseconds(1), 0};
  const auto opened = machine->OpenReader(options, {});
  ASSERT_TRUE(opened.reader);
  // In another order than the recorded run, and one that it did not make.
  opened.reader->Submit({{1, 12288, 4096, 0}, {2, 4096, 4096, 0}});
  std::vector<sdk::BlockReadResult> results;
  EXPECT_EQ(opened.reader->Collect(results, milliseconds(1)), sdk::ReaderState::kWorking);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].id, 2U);
  opened.reader->Submit({{3, 8192, 4096, 0}, {4, 0, 4096, 0}});
  results.clear();
  EXPECT_EQ(opened.reader->Collect(results, milliseconds(1)), sdk::ReaderState::kWorking);
  ASSERT_EQ(results.size(), 3U);
  EXPECT_EQ(results[0].id, 1U);
  EXPECT_EQ(results[0].outcome, sdk::ReadOutcome::kNotTried);
  EXPECT_EQ(results[1].error, ENODATA);
  EXPECT_EQ(results[2].outcome, sdk::ReadOutcome::kRead);
}

}  // namespace
}  // namespace orvan::recording

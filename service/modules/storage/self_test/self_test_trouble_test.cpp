#include <gtest/gtest.h>

#include <cerrno>
#include <condition_variable>
#include <mutex>

#include "service/modules/storage/self_test/self_test_support.h"
#include "service/modules/storage/words.h"
#include "service/sdk/closed_machine.h"

// Self-tests that are stopped, stand still, or whose drive is lost.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using Result = SelfTestingDrive::Result;

// It is the bridge that says so, and nothing is known of the drive.
TEST(SelfTest, WhatAUsbBridgeMakesUpIsNoFaultOfTheDrive) {
  SelfTestBench bench(Language::kAta, {}, Transport::kUsb);
  bench.drive.meddle = [](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    const auto& ata = std::get<sdk::AtaCommand>(command.command);
    if (ata.command != 0xB0) return {};
    return Good(RawBytes(512, 0));
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestNotApplicable);
  EXPECT_EQ(verdict.message,
            words::SentenceKey("SMART READ DATA: the answer is nothing but zeros"));
  EXPECT_EQ(bench.drive.starts, 0);
}

class StoppedSelfTest : public EachLanguage {};
INSTANTIATE_TEST_SUITE_P(SelfTest, StoppedSelfTest, AllLanguages(), LanguageName);

TEST_P(StoppedSelfTest, IsEndedOnTheDriveWhoseLogShowsIt) {
  SelfTestBench bench(GetParam());
  bench.After(50s, [&] { bench.context.stop.request_stop(); });
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestCanceled);
  EXPECT_EQ(verdict.message, "");
  EXPECT_EQ(verdict.found, "short self-test: aborted by a command, at 4711 power-on hours");
  EXPECT_EQ(bench.drive.aborts, 1);
  EXPECT_FALSE(bench.drive.IsRunning());
  ASSERT_EQ(bench.drive.log.size(), 1U);
  EXPECT_EQ(bench.drive.log[0].result, Result::kAborted);
  EXPECT_LE(bench.took, 51s);
}

TEST_P(StoppedSelfTest, IsNotSaidToBeOverWhereNothingShowsIt) {
  SelfTestBench bench(GetParam(), {.ignoresAbort = true});
  bench.After(50s, [&] { bench.context.stop.request_stop(); });
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestCanceled);
  EXPECT_EQ(verdict.message,
            "|THE_DRIVE'S_LOG_DOES_NOT_SHOW_THE_END_OF_THE_SELF-TEST,_WHICH_MAY_STILL_BE_RUNNING");
  EXPECT_TRUE(bench.drive.IsRunning());
}

TEST_P(StoppedSelfTest, TellsTheFaultThatWasFoundUntilThen) {
  SelfTestBench bench(GetParam(), {.result = Result::kFailed, .failingLba = 99});
  bench.drive.meddle = [&](const sdk::DriveCommand&) -> std::optional<sdk::CommandAnswer> {
    if (bench.drive.starts == 1 && bench.drive.aborts == 0 &&
        !bench.context.stop.stop_requested()) {
      bench.machine.now += 2min;
      bench.context.stop.request_stop();
    }
    return {};
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestCanceled);
  EXPECT_EQ(verdict.where, "LBA 99");
}

// It is not known whether the start has reached the drive.
TEST_P(StoppedSelfTest, WhoseStartWasNotWaitedForIsEndedToo) {
  SelfTestBench bench(GetParam());
  bench.drive.meddle = [&](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    if (!IsOrder(command) || bench.context.stop.stop_requested()) return {};
    bench.context.stop.request_stop();
    bench.drive.Begin(1);
    return OutcomeOf(Outcome::kNotTried, ECANCELED);
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestCanceled);
  EXPECT_EQ(bench.drive.aborts, 1);
  EXPECT_FALSE(bench.drive.IsRunning());
}

TEST_P(StoppedSelfTest, ThatHasNotBegunSendsNothing) {
  SelfTestBench bench(GetParam());
  bench.context.stop.request_stop();
  EXPECT_EQ(bench.Run().status, kTestCanceled);
  EXPECT_TRUE(bench.machine.sent.empty());
}

// Where the end of a test hangs until nobody waits for it any more.
class HangingMachine final : public sdk::ClosedMachine {
 public:
  explicit HangingMachine(sdk::testing::FaultyMachine& inner) : inner_(inner) {}
  const sdk::MachineFiles& Files() const override { return inner_.Files(); }
  std::chrono::steady_clock::time_point Now() const override { return inner_.Now(); }
  void Pause(std::chrono::milliseconds time, std::stop_token stop) override {
    inner_.Pause(time, std::move(stop));
  }
  sdk::CommandAnswer Send(const sdk::DriveCommand& command, std::stop_token stop) override {
    orders += IsOrder(command) ? 1 : 0;
    if (orders < 2) return inner_.Send(command, std::move(stop));
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any().wait_for(lock, std::move(stop), 1min, [] { return false; });
    return OutcomeOf(Outcome::kNotTried, ECANCELED);
  }

  int orders = 0;

 private:
  sdk::testing::FaultyMachine& inner_;
};

TEST_P(StoppedSelfTest, WhoseEndHangsIsNotWaitedForLonger) {
  SelfTestBench bench(GetParam());
  HangingMachine machine(bench.machine);
  bench.After(50s, [&] { bench.context.stop.request_stop(); });
  const auto begin = std::chrono::steady_clock::now();
  const sdk::Verdict verdict =
      RunSelfTest(bench.context, {&machine, &bench.hung}, SelfTestKind::kShort);
  EXPECT_EQ(verdict.status, kTestCanceled);
  EXPECT_TRUE(verdict.message.starts_with("|THE_DRIVE'S_LOG_DOES_NOT_SHOW_THE_END"))
      << verdict.message;
  EXPECT_EQ(machine.orders, 2);
  // A second is promised; this machine may be a slow one.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
}

// The clock of the machine goes on only where somebody waits.
TEST_P(StoppedSelfTest, WhoseEndComesIntoTheLogALittleLaterIsWaitedFor) {
  SelfTestBench bench(GetParam(), {.stopsAt = 40, .logsAfter = 1s});
  EXPECT_TRUE(bench.Run().message.ends_with("._|IT_WAS_ENDED_ON_THE_DRIVE"));
}

TEST_P(StoppedSelfTest, ThatTheDriveDoesNotEndIsSaidWithItsReason) {
  SelfTestBench bench(GetParam(), {.stopsAt = 40});
  bench.drive.meddle = [&](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    if (bench.drive.starts == 0 || !IsOrder(command)) return {};
    return OutcomeOf(Outcome::kRefused, EBUSY);
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_NE(verdict.message.find("WHICH_MAY_STILL_BE_RUNNING"), std::string::npos);
  EXPECT_NE(verdict.message.find(words::TextKey("the drive is busy")), std::string::npos)
      << verdict.message;
}

class LostSelfTest : public EachLanguage {};
INSTANTIATE_TEST_SUITE_P(SelfTest, LostSelfTest, AllLanguages(), LanguageName);

TEST_P(LostSelfTest, ThatStandsStillIsAWarningAndEnded) {
  SelfTestBench bench(GetParam(), {.stopsAt = 40});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(
      verdict.message,
      std::string("|THE_SELF-TEST_STANDS_STILL_AT_") +
          (GetParam() == Language::kScsi ? "39" : "40") +
          "_PERCENT,_PAST_TWICE_THE_2_MINUTES_THAT_WERE_EXPECTED._|IT_WAS_ENDED_ON_THE_DRIVE");
  EXPECT_GE(bench.took, 4min);
  EXPECT_LE(bench.took, 4min + 5s);
  EXPECT_EQ(bench.drive.aborts, 1);
  EXPECT_EQ(bench.drive.log.at(0).result, Result::kAborted);
}

// An answer to the start that is none may come of a drive that began.
TEST_P(LostSelfTest, WhoseStartIsAnsweredWithNonsenseIsEnded) {
  SelfTestBench bench(GetParam());
  bench.drive.meddle = [&](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    if (!IsOrder(command) || bench.drive.IsRunning()) return {};
    bench.drive.Begin(1);
    if (GetParam() == Language::kAta) return WithRegisters(0x00, 0, 0);
    sdk::CommandAnswer answer = Completion(0x0500);
    answer.scsiStatus = 0x7F;
    return answer;
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestWarning) << verdict.message;
  EXPECT_EQ(bench.drive.aborts, 1);
  EXPECT_FALSE(bench.drive.IsRunning());
}

TEST_P(LostSelfTest, OfADriveThatLeftIsNotSaidToRun) {
  SelfTestBench bench(GetParam());
  bench.drive.meddle = [&](const sdk::DriveCommand&) -> std::optional<sdk::CommandAnswer> {
    if (bench.drive.starts == 0) return {};
    return OutcomeOf(Outcome::kGone, ENODEV);
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_TRUE(verdict.message.ends_with("THE_DRIVE_HAS_LEFT_THE_MACHINE")) << verdict.message;
  EXPECT_EQ(verdict.message.find("STILL_BE_RUNNING"), std::string::npos) << verdict.message;
}

TEST_P(LostSelfTest, ThatIsSlowButGoesOnIsWaitedFor) {
  SelfTestBench bench(GetParam(), {.takes = 15min});
  EXPECT_EQ(bench.Run().status, kTestPassed);
  EXPECT_GE(bench.took, 15min);
}

TEST_P(LostSelfTest, WhosePercentageGoesBackwardEndsAsItEnds) {
  SelfTestBench bench(GetParam(), {.told = [](int percent) { return 99 - percent; }});
  EXPECT_EQ(bench.Run().status, kTestPassed);
  EXPECT_TRUE(std::is_sorted(bench.context.percents.begin(), bench.context.percents.end()));
  bench.drive.habits.stopsAt = 40;
  EXPECT_EQ(bench.Run().status, kTestWarning);
  EXPECT_LE(bench.took, 5min);
}

TEST_P(LostSelfTest, WhosePercentageIsNonsenseEndsAsItEnds) {
  SelfTestBench bench(GetParam(), {.told = [](int) { return 120; }});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
  // The end is said by its end alone.
  EXPECT_EQ(std::count(bench.context.percents.begin(), bench.context.percents.end(), 100), 1);
  EXPECT_EQ(bench.context.percents.back(), 100);
}

TEST_P(LostSelfTest, WhosePercentageIsNonsenseIsNotEndedBeforeItsTime) {
  SelfTestBench bench(GetParam(), {.takes = 3min, .told = [](int) { return 120; }});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
  EXPECT_EQ(bench.drive.aborts, 0);
}

TEST_P(LostSelfTest, WithoutAnEstimateGetsTheTimeThatItsSizeNeeds) {
  SelfTestBench bench(GetParam(), {.extendedTime = 0min, .stopsAt = 40});
  const sdk::Verdict verdict = bench.Run(SelfTestKind::kExtended);
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(bench.context.messages,
            std::vector<std::string>{
                "|EXTENDED_SELF-TEST_STARTED,_THE_DRIVE_DOES_NOT_SAY_HOW_LONG_IT_TAKES"});
  EXPECT_GE(bench.took, 20min);
  EXPECT_LE(bench.took, 21min);
}

// Each command in turn and all behind it meet the same trouble.
TEST_P(LostSelfTest, IsNeverAPassWhateverFailsAndWhen) {
  struct Trouble {
    sdk::CommandAnswer answer;
    std::vector<TestStatus> verdicts;
  };
  const std::vector<Trouble> troubles = {
      {OutcomeOf(Outcome::kGone, ENODEV), {kTestFailed}},
      {OutcomeOf(Outcome::kTimedOut), {kTestWarning}},
      {OutcomeOf(Outcome::kRefused, EPERM), {kTestInvalid}},
      {OutcomeOf(Outcome::kRefused, EIO), {kTestInvalid}},
      {OutcomeOf(Outcome::kRefused, ENOTTY), {kTestNotApplicable, kTestWarning}},
      {Good(RawBytes(16, 0xFF)), {kTestWarning, kTestNotApplicable}},
      {Condition(0x04, 0x44, 0x00), {kTestWarning, kTestInvalid, kTestNotApplicable}},
  };
  SelfTestBench sound(GetParam());
  ASSERT_EQ(sound.Run().status, kTestPassed);
  const std::size_t commands = sound.machine.sent.size();
  for (std::size_t from = 0; from < commands; ++from) {
    for (const Trouble& trouble : troubles) {
      SelfTestBench bench(GetParam());
      std::size_t count = 0;
      bench.drive.meddle = [&](const sdk::DriveCommand&) -> std::optional<sdk::CommandAnswer> {
        return count++ < from ? std::nullopt : std::optional(trouble.answer);
      };
      const sdk::Verdict verdict = bench.Run();
      EXPECT_NE(std::find(trouble.verdicts.begin(), trouble.verdicts.end(), verdict.status),
                trouble.verdicts.end())
          << from << ' ' << verdict.status << ' ' << verdict.message;
      EXPECT_FALSE(verdict.message.empty());
      // A drive that is gone, or hangs, is not waited for.
      const bool isFinal =
          trouble.answer.outcome == Outcome::kGone || trouble.answer.outcome == Outcome::kTimedOut;
      EXPECT_LE(bench.took, isFinal ? 3min : 10min) << from;
    }
  }
}

TEST_P(LostSelfTest, IsWaitedForThroughAMinuteWithoutAnswers) {
  SelfTestBench bench(GetParam());
  const auto begin = bench.machine.now;
  bench.drive.meddle = [&](const sdk::DriveCommand&) -> std::optional<sdk::CommandAnswer> {
    const auto time = bench.machine.now - begin;
    if (time < 30s || time > 90s) return {};
    return OutcomeOf(Outcome::kRefused, EBUSY);
  };
  EXPECT_EQ(bench.Run().status, kTestPassed);
}

TEST_P(LostSelfTest, OfADriveThatHangsSendsNothingMore) {
  SelfTestBench bench(GetParam());
  std::size_t before = 0;
  bench.drive.meddle = [&](const sdk::DriveCommand&) -> std::optional<sdk::CommandAnswer> {
    if (bench.machine.now.time_since_epoch() < 60s) return {};
    if (before == 0) before = bench.machine.sent.size();
    return OutcomeOf(Outcome::kTimedOut);
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_NE(verdict.message.find("MAY_STILL_BE_RUNNING"), std::string::npos) << verdict.message;
  EXPECT_EQ(bench.machine.sent.size(), before);
}

}  // namespace
}  // namespace orvan::storage

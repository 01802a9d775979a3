#include "service/modules/storage/self_test/self_test_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "service/modules/storage/self_test/self_test_support.h"

// How self-tests end that nobody stops.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using Result = SelfTestingDrive::Result;
using Entry = SelfTestingDrive::Entry;

INSTANTIATE_TEST_SUITE_P(SelfTestRun, EachLanguage, AllLanguages(), LanguageName);

TEST_P(EachLanguage, ASoundDrivePasses) {
  SelfTestBench bench(GetParam());
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
  EXPECT_EQ(verdict.message, "");
  EXPECT_EQ(verdict.found, "short self-test: completed without error, at 4711 power-on hours");
  EXPECT_EQ(bench.drive.starts, 1);
  EXPECT_EQ(bench.drive.aborts, 0);
  ASSERT_EQ(bench.drive.log.size(), 1U);
  EXPECT_EQ(bench.drive.log[0].number, 1);
  EXPECT_GE(bench.took, 2min);
  EXPECT_LE(bench.took, 2min + 3s);
  EXPECT_TRUE(std::is_sorted(bench.context.percents.begin(), bench.context.percents.end()));
  EXPECT_GE(bench.context.percents.size(), 10U);
  EXPECT_EQ(bench.context.percents.back(), 100);
  EXPECT_EQ(
      bench.context.messages,
      std::vector<std::string>{"|SHORT_SELF-TEST_STARTED,_THE_DRIVE_EXPECTS_IT_TO_TAKE_2_MINUTES"});
}

TEST_P(EachLanguage, AnExtendedTestIsAskedForAsSuchAndNotPolledInHaste) {
  SelfTestBench bench(GetParam());
  const sdk::Verdict verdict = bench.Run(SelfTestKind::kExtended);
  EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
  ASSERT_EQ(bench.drive.log.size(), 1U);
  EXPECT_EQ(bench.drive.log[0].number, 2);
  EXPECT_EQ(bench.context.messages,
            std::vector<std::string>{
                "|EXTENDED_SELF-TEST_STARTED,_THE_DRIVE_EXPECTS_IT_TO_TAKE_60_MINUTES"});
  // A look in 30 seconds.
  EXPECT_LE(bench.machine.sent.size(), 130U);  // 120 looks, and what is asked before and after
}

TEST_P(EachLanguage, AFaultIsNamedWithItsSector) {
  SelfTestBench bench(GetParam(), {.result = Result::kFailed, .failingLba = 123456789});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_TRUE(verdict.message.starts_with("|THE_SHORT_SELF-TEST_FAILED:_")) << verdict.message;
  EXPECT_TRUE(verdict.message.ends_with(",_FIRST_AT_|L|B|A_123456789")) << verdict.message;
  EXPECT_EQ(verdict.where, "LBA 123456789");
}

TEST_P(EachLanguage, AFaultWithoutASectorIsAFaultToo) {
  SelfTestBench bench(GetParam(), {.result = Result::kFailed});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.where, "");
}

TEST_P(EachLanguage, WhatEndedOtherwiseIsNoWordAboutTheDrive) {
  const std::pair<Result, const char*> rows[] = {
      {Result::kAborted, "|SOMEBODY_ELSE_ABORTED_THE_SELF-TEST_ON_THE_DRIVE"},
      {Result::kBrokenOff, "|THE_SELF-TEST_DID_NOT_COME_TO_ITS_END:_"},
      {Result::kMeaningless, "|WHAT_THE_SELF-TEST_FOUND_IS_NOT_KNOWN:_"},
  };
  for (const auto& [result, words] : rows) {
    SelfTestBench bench(GetParam(), {.result = result});
    const sdk::Verdict verdict = bench.Run();
    EXPECT_EQ(verdict.status, kTestInvalid) << words;
    EXPECT_TRUE(verdict.message.starts_with(words)) << verdict.message;
  }
}

TEST_P(EachLanguage, ATestThatRunsAlreadyIsLeftAlone) {
  SelfTestBench bench(GetParam());
  bench.drive.Begin(2);
  bench.machine.now += 30min;
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestInvalid);
  EXPECT_EQ(verdict.message,
            "|A_SELF-TEST_THAT_WAS_NOT_BEGUN_HERE_RUNS_ON_THE_DRIVE_ALREADY,_50_PERCENT_OF_IT_ARE_"
            "DONE;_NONE_WAS_STARTED,_AND_THAT_ONE_GOES_ON");
  EXPECT_EQ(bench.drive.starts + bench.drive.aborts, 0);
  EXPECT_TRUE(bench.drive.IsRunning());
}

// Between the look and the start.
TEST_P(EachLanguage, SomebodyElseMayBeFaster) {
  SelfTestBench bench(GetParam());
  bench.drive.meddle = [&](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    if (!IsOrder(command)) return {};
    bench.drive.Begin(2);
    if (GetParam() == Language::kNvme) return {};  // it refuses the second one by itself
    return Condition(0x02, 0x04, 0x09);
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestInvalid);
  EXPECT_TRUE(verdict.message.starts_with("|A_SELF-TEST_THAT_WAS_NOT_BEGUN_HERE_RUNS"))
      << verdict.message;
  EXPECT_EQ(bench.drive.aborts, 0);
  EXPECT_TRUE(bench.drive.IsRunning());
}

TEST_P(EachLanguage, AStartThatLeavesNoTraceIsNoPass) {
  SelfTestBench bench(GetParam(), {.doesNothing = true});
  bench.drive.log.assign(3, Entry{1, Result::kPassed, 4711});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestInvalid);
  EXPECT_EQ(verdict.message,
            "|THE_DRIVE_TOOK_THE_START_OF_A_SELF-TEST,_AND_ITS_LOG_HAS_NO_TRACE_OF_ONE");
  EXPECT_EQ(bench.drive.starts, 1);
  EXPECT_LT(bench.took, 30s);
}

TEST_P(EachLanguage, ALogThatIsWrittenLateIsWaitedFor) {
  SelfTestBench bench(GetParam(), {.logsAfter = 10s});
  EXPECT_EQ(bench.Run().status, kTestPassed);
  SelfTestBench late(GetParam(), {.logsAfter = 60s});
  EXPECT_EQ(late.Run().status, kTestInvalid);
}

TEST_P(EachLanguage, ATestThatIsInTheLogFromItsBeginOnIsWaitedFor) {
  SelfTestBench bench(GetParam(), {.result = Result::kFailed, .logsRunning = true});
  EXPECT_EQ(bench.Run().status, kTestFailed);
  if (GetParam() == Language::kNvme) return;  // whose log has no running tests
  SelfTestBench silent(GetParam(), {.hidesRunning = true, .logsRunning = true});
  EXPECT_EQ(silent.Run().status, kTestPassed);
  EXPECT_GE(silent.took, 2min);  // what runs has not passed yet
}

// One of somebody else's, and no place for all.
TEST_P(EachLanguage, AnotherTestThatTookTheLastPlaceHidesOursFromNobody) {
  SelfTestBench bench(GetParam());
  bench.drive.log.assign(19, Entry{1, Result::kPassed, 17});
  bench.drive.meddle = [&](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    if (IsOrder(command)) bench.drive.log.push_front(Entry{2, Result::kPassed, 18});
    return {};
  };
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
  EXPECT_EQ(bench.drive.starts, 1);
}

// By its place a ring tells that the entry is a new one.
TEST_P(EachLanguage, ALogThatSomebodyClearedHasNoCertainTrace) {
  SelfTestBench bench(GetParam());
  bench.drive.log.assign(3, Entry{1, Result::kPassed, 17});
  bench.drive.meddle = [&](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    if (IsOrder(command)) bench.drive.log.clear();
    return {};
  };
  const bool isRing = GetParam() == Language::kAta;
  EXPECT_EQ(bench.Run().status, isRing ? kTestPassed : kTestInvalid);
}

// Whether a command reads the log of self-tests.
bool IsLog(const sdk::DriveCommand& command) {
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    return (ata->command == 0xB0 && ata->feature == 0xD5) ||
           (ata->command == 0x2F && (ata->lba & 0xFF) == 0x07);
  }
  if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command.command)) {
    return scsi->cdb[0] == 0x4D && (scsi->cdb[2] & 0x3F) == 0x10;
  }
  const auto& nvme = std::get<sdk::NvmeAdminCommand>(command.command);
  return nvme.opcode == 0x02 && (nvme.dwords[0] & 0xFF) == 0x06;
}

TEST_P(EachLanguage, WithoutItsLogNoneIsStarted) {
  const std::pair<sdk::CommandAnswer, TestStatus> rows[] = {
      {OutcomeOf(Outcome::kRefused, EPERM), kTestInvalid},
      {OutcomeOf(Outcome::kGone), kTestFailed},
      {OutcomeOf(Outcome::kTimedOut), kTestWarning},
  };
  for (const auto& [answer, status] : rows) {
    SelfTestBench bench(GetParam());
    bench.drive.meddle = [&answer = answer](const sdk::DriveCommand& command) {
      return IsLog(command) ? std::optional(answer) : std::nullopt;
    };
    EXPECT_EQ(bench.Run().status, status);
    EXPECT_EQ(bench.drive.starts, 0);
  }
  SelfTestBench bench(GetParam());
  bench.drive.meddle = [](const sdk::DriveCommand& command) {
    return IsLog(command) ? std::optional(Good(RawBytes(4096, 0xFF))) : std::nullopt;
  };
  EXPECT_EQ(bench.Run().status, kTestWarning);  // it cannot tell
  EXPECT_EQ(bench.drive.starts, 0);
}

TEST_P(EachLanguage, ALogThatIsBusyAtTheEndIsAskedAgain) {
  SelfTestBench bench(GetParam());
  int refusals = 25;  // for half a minute
  bench.drive.meddle = [&](const sdk::DriveCommand& command) -> std::optional<sdk::CommandAnswer> {
    const bool isAtTheEnd = bench.drive.starts > 0 && !bench.drive.IsRunning();
    if (!isAtTheEnd || !IsLog(command) || refusals == 0) return {};
    --refusals;
    return OutcomeOf(Outcome::kRefused, EBUSY);
  };
  EXPECT_EQ(bench.Run().status, kTestPassed);
  EXPECT_EQ(refusals, 0);
}

TEST(SelfTestRunTest, AScsiDriveThatLeavesWhenItIsAskedForItsTimeFails) {
  SelfTestBench bench(Language::kScsi);
  bench.drive.meddle = [](const sdk::DriveCommand& command) {
    const bool isControlPage = std::get<sdk::ScsiCommand>(command.command).cdb[0] == 0x5A;
    return isControlPage ? std::optional(OutcomeOf(Outcome::kGone)) : std::nullopt;
  };
  EXPECT_EQ(bench.Run(SelfTestKind::kExtended).status, kTestFailed);
  EXPECT_EQ(bench.drive.starts, 0);
}

// More often than any log has places, and all within one hour of the drive's.
TEST_P(EachLanguage, AFullLogShowsEachTestNevertheless) {
  SelfTestBench bench(GetParam());
  for (int i = 1; i <= 25; ++i) {
    const sdk::Verdict verdict = bench.Run();
    EXPECT_EQ(verdict.status, kTestPassed) << i << ' ' << verdict.message;
  }
  EXPECT_EQ(bench.drive.starts, 25);
  bench.drive.habits.result = Result::kFailed;
  EXPECT_EQ(bench.Run().status, kTestFailed);
  bench.drive.habits.doesNothing = true;
  EXPECT_EQ(bench.Run().status, kTestInvalid);
}

TEST_P(EachLanguage, OldEntriesAreNotTakenForTheNewOne) {
  SelfTestBench bench(GetParam());
  bench.drive.habits.result = Result::kFailed;
  EXPECT_EQ(bench.Run().status, kTestFailed);
  bench.drive.habits.result = Result::kPassed;
  EXPECT_EQ(bench.Run().status, kTestPassed);
  bench.drive.habits.doesNothing = true;
  EXPECT_EQ(bench.Run().status, kTestInvalid);
}

TEST_P(EachLanguage, ADriveWithoutSelfTestsIsToldOf) {
  SelfTestBench bench(GetParam(), {.hasSelfTests = false});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestNotApplicable);
  EXPECT_EQ(verdict.message, GetParam() == Language::kScsi
                                 ? "|THE_DRIVE_KEEPS_NO_RESULTS_OF_SELF-TESTS"
                                 : "|THE_DRIVE_HAS_NO_SELF-TESTS");
  EXPECT_EQ(bench.drive.starts, 0);
}

TEST_P(EachLanguage, ItNeedsTheRightToChangeTheDrive) {
  SelfTestBench bench(GetParam());
  bench.machine.GrantWriting(false);
  EXPECT_EQ(bench.Run().status, kTestInvalid);
  EXPECT_EQ(bench.drive.starts, 0);
}

TEST(SelfTestRunTest, SmartThatIsMissingOrTurnedOffIsToldOf) {
  SelfTestBench none(Language::kAta, {.hasSmart = false});
  EXPECT_EQ(none.Run().message, "|THE_DRIVE_HAS_NO_|S|M|A|R|T");
  SelfTestBench off(Language::kAta, {.isSmartEnabled = false});
  const sdk::Verdict verdict = off.Run();
  EXPECT_EQ(verdict.status, kTestNotApplicable);
  EXPECT_EQ(verdict.message, "|S|M|A|R|T_IS_SWITCHED_OFF_IN_THE_DRIVE,_AND_STAYS_OFF");
  EXPECT_EQ(off.machine.sent.size(), 1U);
}

// Emulated drives, and some old ones.
TEST(SelfTestRunTest, ADriveMayTellOfItsSelfTestsInItsSmartDataAlone) {
  SelfTestBench bench(Language::kAta, {.hasExtendedLog = false, .tellsInIdentify = false});
  EXPECT_EQ(bench.Run().status, kTestPassed);
}

TEST(SelfTestRunTest, ALargeLbaIsReadFromTheExtendedLog) {
  const std::uint64_t lba = 0x123456789A;
  SelfTestBench bench(Language::kAta, {.result = Result::kFailed, .failingLba = lba});
  EXPECT_EQ(bench.Run().where, "LBA " + std::to_string(lba));
}

TEST(SelfTestRunTest, ADriveThatContradictsItselfDoesNotPass) {
  SelfTestBench bench(Language::kAta, {.contradicts = true});
  const sdk::Verdict verdict = bench.Run();
  EXPECT_EQ(verdict.status, kTestInvalid);
  EXPECT_EQ(verdict.message,
            "|THE_DRIVE_CONTRADICTS_ITSELF:_ITS_LOG_SAYS_THAT_THE_SELF-TEST_COMPLETED,_ITS_STATUS_"
            "THE_READ_ELEMENT_OF_THE_TEST_FAILED");
}

TEST(SelfTestRunTest, ADiskThatTakesNoCommandsIsNotApplicable) {
  SelfTestBench bench(Language::kAta);
  DiskFacts facts = bench.disk.Facts();
  facts.transport = Transport::kLoop;
  const Disk loop("0", facts, true);
  sdk::testing::RememberingContext context(&loop);
  const sdk::Verdict verdict =
      RunSelfTest(context, {&bench.machine, &bench.hung}, SelfTestKind::kShort);
  EXPECT_EQ(verdict.status, kTestNotApplicable);
  EXPECT_EQ(verdict.message, "|A_FILE_ANSWERS_NO_COMMANDS_OF_A_DRIVE");
  EXPECT_TRUE(bench.machine.sent.empty());
}

}  // namespace
}  // namespace orvan::storage

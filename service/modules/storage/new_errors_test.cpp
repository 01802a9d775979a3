#include "service/modules/storage/new_errors.h"

#include <gtest/gtest.h>

#include "service/modules/storage/error_test_support.h"
#include "service/modules/storage/words.h"
#include "service/sdk/module_test_support.h"

namespace orvan::storage {
namespace {

using Names = std::vector<std::string>;

template <typename Bench>
struct Tried : Bench {
  sdk::Verdict Result() {
    const Disk disk("0", this->facts, true);
    context = std::make_unique<sdk::testing::RememberingContext>(&disk);
    return NewErrorsTest({&this->machine, &this->hung}).run(*context);
  }
  std::unique_ptr<sdk::testing::RememberingContext> context;
};

std::string Key(const std::string& text) {
  return words::TextKey(text);
}

constexpr char kNewest[] =
    "the newest: uncorrectable data (UNC) at LBA 4096, READ DMA, at power-on hour 300";

TEST(NewErrorsTest, AnEmptyLogPassesWithNothingToSay) {
  Tried<LoggingAta> bench;
  for (int run = 0; run < 2; ++run) {
    const sdk::Verdict verdict = bench.Result();
    EXPECT_EQ(verdict.status, kTestPassed);
    EXPECT_EQ(verdict.message, "");
    EXPECT_EQ(bench.context->percents, (std::vector<int>{0, 100}));
    EXPECT_EQ(bench.context->Measured("errors-log").value, 0);
  }
}

TEST(NewErrorsTest, WhatIsNewSinceTheLastRunWarnsOnce) {
  Tried<LoggingAta> bench;
  bench.Result();
  bench.Log({kUnreadable}, 1);
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(verdict.message, Key(std::string("1 new error in the drive's error log, ") + kNewest));
  EXPECT_EQ(bench.context->Measured("new-errors-log").value, 1);
  EXPECT_EQ(bench.Result().status, kTestPassed);
  EXPECT_EQ(bench.Result().message, "");
}

TEST(NewErrorsTest, AFirstRunWarnsOfAllThatIsThere) {
  Tried<LoggingAta> bench;
  bench.Log({kUnreadable}, 9);
  EXPECT_EQ(bench.Result().message,
            Key(std::string("9 errors in the drive's error log, which no earlier run has seen, ") +
                kNewest));
  EXPECT_EQ(bench.Result().status, kTestPassed);
}

TEST(NewErrorsTest, WhereTheDriveCountsNoFurtherThereMayBeMore) {
  Tried<LoggingAta> bench;
  bench.Log({kRefused}, 65530);
  bench.Result();
  bench.Log({kRefused, kUnreadable}, 65535);
  EXPECT_EQ(bench.Result().message,
            Key(std::string("At least 5 new errors in the drive's error log, ") + kNewest));
}

TEST(NewErrorsTest, WhatCouldNotBeReadIsInTheLogAndAStopIsNoEnd) {
  Tried<LoggingAta> bench;
  bench.HasExtendedLog(1);
  bench.extended[100] ^= 1;
  bench.Result();
  ASSERT_FALSE(bench.context->lines.empty());
  EXPECT_NE(bench.context->lines.back().find("READ LOG EXT"), std::string::npos)
      << bench.context->lines.back();
  bench.Answer("EC", OutcomeOf(Outcome::kNotTried, ECANCELED));
  EXPECT_EQ(bench.Result().status, kTestCanceled);
  EXPECT_EQ(bench.context->percents, std::vector<int>{0});
}

TEST(NewErrorsTest, WhatTheDriveRefusedIsNoFaultOfIt) {
  Tried<LoggingAta> bench;
  bench.Result();
  bench.Log({kRefused, kRefused}, 9);
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestPassed);
  EXPECT_EQ(verdict.message,
            Key("9 new errors in the drive's error log: none is a fault of the drive, the newest: "
                "command aborted (ABRT), SMART, at power-on hour 301; of 7 nothing is kept any "
                "more"));
  bench.Log({kUnreadable, kRefused, kRefused}, 10);
  EXPECT_EQ(bench.Result().status, kTestPassed);  // it is older than what is new
  bench.Log({kUnreadable, kRefused, kRefused}, 13);
  EXPECT_EQ(bench.Result().status, kTestWarning);
}

TEST(NewErrorsTest, ALogThatHasFewerErrorsThanBeforeIsLookedAtAnew) {
  Tried<LoggingAta> bench;
  bench.Log({kRefused, kUnreadable}, 9);
  bench.Result();
  bench.Log({kUnreadable}, 1);
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(verdict.message,
            Key(std::string("1 new error in the drive's error log, ") + kNewest +
                ". The errors in the drive's error log are fewer than at the last run or others, "
                "so all of them count as new"));
  bench.Log({}, 0);
  EXPECT_EQ(bench.Result().status, kTestPassed);
  EXPECT_EQ(bench.Result().message, "");
}

TEST(NewErrorsTest, ADamagedMemoryIsSaidAndBegunAnew) {
  Tried<LoggingAta> bench;
  bench.Log({kUnreadable}, 1);
  bench.Result();
  ASSERT_EQ(bench.machine.state.files.size(), 1U);
  bench.machine.state.files.begin()->second = "rubbish";
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_NE(verdict.message.find(Key("What was kept of the last run is damaged")),
            std::string::npos);
  EXPECT_EQ(bench.Result().message, "");
}

TEST(NewErrorsTest, ADriveThatIsNotKnownAgainIsLookedAtWhole) {
  Tried<LoggingAta> bench;
  bench.facts.serial.clear();
  bench.Log({kUnreadable}, 1);
  for (int run = 0; run < 2; ++run) {
    const sdk::Verdict verdict = bench.Result();
    EXPECT_EQ(verdict.status, kTestWarning);
    EXPECT_NE(verdict.message.find(Key("The drive has neither a world-wide name nor a serial")),
              std::string::npos);
  }
  EXPECT_TRUE(bench.machine.state.files.empty());
}

TEST(NewErrorsTest, ARunThatCannotBeKeptSaysSo) {
  Tried<LoggingAta> bench;
  bench.Result();
  const std::string file = bench.machine.state.files.begin()->first;
  bench.machine.state.errors[file] = EIO;
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestPassed);
  EXPECT_EQ(verdict.message,
            Key("What was kept of the last run cannot be read, error 5 (input/output error). What "
                "was found cannot be kept for the next run, error 5 (input/output error)"));
}

TEST(NewErrorsTest, NvmeAndScsiDrivesAreComparedLikewise) {
  Tried<LoggingNvme> nvme;
  EXPECT_EQ(nvme.Result().message,
            Key("42 errors in the drive's error log, which no earlier run has seen, the newest: "
                "unrecovered read error (281h) at LBA 5000000000, namespace 1"));
  EXPECT_EQ(nvme.Result().status, kTestPassed);

  Tried<LoggingScsi> scsi;
  EXPECT_EQ(scsi.Result().message,
            Key("2 errors of reads that the drive could not correct, which no earlier run has "
                "seen. 2 errors in the background scan, which no earlier run has seen, the "
                "newest: unrecovered read error at LBA 5000000000, to be reassigned by a write or "
                "a command, at power-on hour 45948"));
  EXPECT_EQ(scsi.Result().status, kTestPassed);
}

TEST(NewErrorsTest, IsNotApplicableToWhatKeepsNoLog) {
  Tried<LoggingScsi> bench;
  bench.Answer("4D/00", Condition(0x05, 0x20, 0x00));
  EXPECT_EQ(bench.Result().status, kTestNotApplicable);
  EXPECT_EQ(bench.Result().message,
            Key("LOG SENSE: illegal request: invalid command operation code (20h/00h)"));
  sdk::testing::RememberingContext context(nullptr);
  EXPECT_EQ(NewErrorsTest({&bench.machine, &bench.hung}).run(context).status, kTestNotApplicable);
}

struct Extended : LoggingAta {
  Extended() { HasExtendedLog(1); }
};
struct Sound : LoggingScsi {
  Sound() {
    RawBytes counters = FromHexFile("scsi/log_03_read_errors.hex");
    counters.back() = 0;
    Answer("4D/03", counters);
    Answer("4D/15", FromHex("15 00 00 10 00 00 03 0C 00*12"));
  }
};

// Each command in turn, and all that may become of it.
struct Trouble {
  const char* name;
  sdk::CommandAnswer answer;
  TestStatus status;
};
template <typename Bench>
void EachCommandInTurn() {
  const Trouble troubles[] = {
      {"gone", OutcomeOf(Outcome::kGone), kTestFailed},
      {"hangs", OutcomeOf(Outcome::kTimedOut), kTestWarning},
      {"no privilege", OutcomeOf(Outcome::kRefused, EPERM), kTestInvalid},
      {"canceled", OutcomeOf(Outcome::kNotTried, ECANCELED), kTestCanceled},
      {"short", Good(RawBytes(3, 1)), kTestWarning},
      {"ones", Good(RawBytes(512, 0xFF)), kTestWarning},
  };
  Tried<Bench> sound;
  sound.Result();
  const Names asked = sound.Sent();
  for (std::size_t i = 0; i < asked.size(); ++i) {
    for (const Trouble& trouble : troubles) {
      Tried<Bench> bench;
      bench.AnswerFrom(asked, i, trouble.answer);
      const sdk::Verdict verdict = bench.Result();
      EXPECT_EQ(verdict.status, trouble.status)
          << asked[i] << " number " << i << ' ' << trouble.name << ": " << verdict.message;
      EXPECT_EQ(verdict.message.empty(), trouble.status == kTestCanceled)
          << asked[i] << ' ' << trouble.name;
      if (trouble.status != kTestWarning) {
        EXPECT_TRUE(bench.machine.state.files.empty()) << asked[i] << ' ' << trouble.name;
      }
    }
  }
}

TEST(NewErrorsTest, EachCommandOfAnAtaDriveMayComeToABadEnd) {
  EachCommandInTurn<LoggingAta>();
  EachCommandInTurn<Extended>();
}
TEST(NewErrorsTest, EachCommandOfAnNvmeDriveMayComeToABadEnd) {
  EachCommandInTurn<LoggingNvme>();
}
TEST(NewErrorsTest, EachCommandOfAScsiDriveMayComeToABadEnd) {
  EachCommandInTurn<Sound>();
}

}  // namespace
}  // namespace orvan::storage

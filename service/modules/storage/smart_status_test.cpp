#include "service/modules/storage/smart_status.h"

#include <gtest/gtest.h>

#include "service/modules/storage/smart_test_support.h"
#include "service/modules/storage/words.h"
#include "service/sdk/module_test_support.h"

namespace orvan::storage {
namespace {

using Names = std::vector<std::string>;

constexpr std::uint64_t kGoodRegisters = 0xC24F00;
constexpr std::uint64_t kExceededRegisters = 0x2CF400;

sdk::CommandAnswer StatusOf(std::uint64_t registers) {
  return WithRegisters(0x50, 0, registers);
}

// SMART data with one attribute, which tells of a near failure; that of 5 has the threshold 36.
RawBytes DataWith(std::uint8_t id, std::uint8_t value, std::uint8_t raw) {
  ata::Pages pages;
  pages.Put(0, {0x10, 0}).Put(2, {id, 0x33, 0, value, value, raw, 0, 0, 0, 0, 0, 0});
  return BytesOf(pages.Seal());
}
struct SoundAta : AtaBench {
  explicit SoundAta(Transport transport = Transport::kSata) : AtaBench(transport) {
    Answer("B0/D0", DataWith(5, 100, 0));
    Answer("B0/DA", StatusOf(kGoodRegisters));
  }
};
struct SoundNvme : NvmeBench {
  SoundNvme() {
    RawBytes log(512, 0);
    log[3] = 100;
    log[4] = 10;
    Answer("NVMe 02/02", log);
  }
};
struct SoundScsi : ScsiBench {
  SoundScsi() { Answer("4D/00", FromHex("00 00 00 02 0D 2F")); }
};

template <typename Bench>
struct Tried : Bench {
  using Bench::Bench;
  sdk::Verdict Result() {
    const Disk disk("0", this->facts, true);
    context = std::make_unique<sdk::testing::RememberingContext>(&disk);
    context->stop = this->stop;
    return SmartStatusTest({&this->machine, &this->hung}).run(*context);
  }
  std::unique_ptr<sdk::testing::RememberingContext> context;
};

std::string Key(const std::string& text) {
  return words::TextKey(text);
}

TEST(SmartStatus, SoundDrivesPassWithNothingToSay) {
  Tried<SoundAta> ata;
  const sdk::Verdict verdict = ata.Result();
  EXPECT_EQ(verdict.status, kTestPassed);
  EXPECT_EQ(verdict.message, "");
  EXPECT_EQ(ata.Sent(), (Names{"EC", "B0/D0", "B0/D1", "B0/DA"}));
  EXPECT_EQ(ata.context->percents, (std::vector<int>{0, 100}));
  EXPECT_EQ(ata.context->Measured("reallocated-sectors").value, 0);
  EXPECT_EQ(ata.context->Measured("smart-5-reallocated-sectors-value").value, 100);

  Tried<SoundNvme> nvme;
  EXPECT_EQ(nvme.Result().status, kTestPassed);
  EXPECT_EQ(nvme.Result().message, "");
  Tried<SoundScsi> scsi;
  EXPECT_EQ(scsi.Result().status, kTestPassed);
  EXPECT_EQ(scsi.Result().message, "");
}

// Whatever has a limit is measured with it, and not a second time among the rest.
TEST(SmartStatus, MeasuresAllThatDrivesTellAndNothingTwice) {
  Tried<NvmeBench> nvme;
  nvme.Result();
  Tried<ScsiBench> scsi;
  scsi.Result();
  Tried<AtaBench> ata;
  ata.Result();
  for (const auto* context : {nvme.context.get(), scsi.context.get(), ata.context.get()}) {
    for (const sdk::Measurement& one : context->measurements) {
      EXPECT_NO_THROW(context->Measured(one.name)) << one.name;
    }
  }
  EXPECT_EQ(nvme.context->Measured("available-spare").limits.size(), 1U);
  EXPECT_EQ(nvme.context->Measured("power-on-hours").value, 10000);
  EXPECT_EQ(scsi.context->Measured("read-errors-not-corrected").limits.size(), 1U);
  EXPECT_EQ(scsi.context->Measured("temperature").value, 36);
  EXPECT_EQ(ata.context->Measured("temperature").value, 36);
}

TEST(SmartStatus, ADriveThatSaysThatAThresholdIsExceededFails) {
  Tried<SoundAta> bench;
  bench.Answer("B0/DA", StatusOf(kExceededRegisters));
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message, Key("SMART RETURN STATUS: a threshold is exceeded"));
  EXPECT_EQ(verdict.found, "SMART RETURN STATUS: a threshold is exceeded");
  EXPECT_EQ(verdict.expected, "the drive expects no failure, and no number is past its limit");
}

TEST(SmartStatus, AnAttributeAtItsThresholdFails) {
  Tried<SoundAta> bench;
  bench.Answer("B0/D0", DataWith(5, 36, 0));
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message, Key("Reallocated sectors: value 36 (threshold 36)"));
}

TEST(SmartStatus, ANumberPastItsLimitWarns) {
  Tried<SoundAta> bench;
  bench.Answer("B0/D0", DataWith(197, 100, 2));
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(verdict.message, Key("Pending sectors: 2 (limit 0)"));
}

TEST(SmartStatus, InterfaceErrorsThatRiseFromRunToRunWarnOnce) {
  Tried<SoundAta> bench;
  bench.Answer("B0/D0", DataWith(199, 100, 5));
  EXPECT_EQ(bench.Result().status, kTestPassed);
  EXPECT_EQ(bench.Result().status, kTestPassed);
  bench.Answer("B0/D0", DataWith(199, 100, 7));
  EXPECT_EQ(bench.Result().message, Key("Interface CRC errors: 7 (at the last run 5)"));
  EXPECT_EQ(bench.Result().status, kTestPassed);
}

TEST(SmartStatus, WhatWasKeptIsNotTrustedWhenItIsDamaged) {
  Tried<SoundAta> bench;
  bench.Answer("B0/D0", DataWith(199, 100, 5));
  bench.Result();
  ASSERT_EQ(bench.machine.state.files.size(), 1U);
  bench.machine.state.files.begin()->second += "x";
  bench.Answer("B0/D0", DataWith(199, 100, 7));
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestPassed);
  EXPECT_EQ(verdict.message, Key("What was kept of the last run is damaged"));
  EXPECT_EQ(bench.Result().message, "");
  bench.machine.state.errors[bench.machine.state.files.begin()->first] = EROFS;
  EXPECT_NE(bench.Result().found.find("cannot be kept for the next run"), std::string::npos);
}

// What has the logs 03h and 04h with a page each, which names no more, and of the statistics the
// pages of general and of error counts.
RawBytes LogsOfDrive() {
  ata::Pages pages;
  return BytesOf(pages.PutWord(0, 1).PutWord(3, 1).PutWord(4, 1));
}
RawBytes IdentityWithLogs() {
  ata::Pages pages = HealthyIdentity();
  pages.PutWord(84, 0x4023).PutWord(87, 0x4023);
  return BytesOf(pages);
}
struct AtaWithStatistics : SoundAta {
  AtaWithStatistics() {
    Answer("EC", IdentityWithLogs());
    // By its first page: the log directory, or the list of statistics.
    machine.commands.insert(
        machine.commands.begin(),
        {[](const sdk::DriveCommand& command) { return NameOf(command) == "2F"; },
         {},
         -1,
         [this](const sdk::DriveCommand& command) { return Log(command); }});
  }
  sdk::CommandAnswer Log(const sdk::DriveCommand& command) const {
    const auto& ata = std::get<sdk::AtaCommand>(command.command);
    if ((ata.lba & 0xFF) == 0) return Good(LogsOfDrive());
    const int page = static_cast<int>(ata.lba >> 8 & 0xFF);
    ata::Pages pages;
    pages.Put(0, {1, 0, page});
    if (page == 0) pages.Put(8, {3, 0, 1, 4});
    if (page == 1) pages.Put(0x40, {pending, 0, 0, 0, 0, 0, 0, 0xC0});
    return Good(BytesOf(pages));
  }
  int pending = 0;
};

TEST(SmartStatus, AsksADriveThatHasThemForItsStatistics) {
  Tried<AtaWithStatistics> bench;
  EXPECT_EQ(bench.Result().status, kTestPassed);
  EXPECT_EQ(bench.Sent(), (Names{"EC", "B0/D0", "B0/D1", "B0/DA", "2F", "2F", "2F", "2F"}));
  bench.pending = 4;
  EXPECT_EQ(bench.Result().message, Key("Pending sectors: 4 (limit 0)"));
}

TEST(SmartStatus, WhatADriveDoesNotTellIsInTheLog) {
  Tried<SoundAta> bench;
  bench.Answer("B0/D1", Good(RawBytes(512, 0)));
  bench.Result();
  ASSERT_EQ(bench.context->lines.size(), 1U);
  EXPECT_TRUE(bench.context->lines[0].starts_with("SMART READ ATTRIBUTE THRESHOLDS: "));
}

TEST(SmartStatus, ACriticalWarningOfNvmeFailsInItsWords) {
  Tried<SoundNvme> bench;
  RawBytes log(512, 0);
  log[0] = 0x04;
  log[3] = 100;
  bench.Answer("NVMe 02/02", log);
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message, Key("Critical warning: its reliability is degraded by errors"));
}

TEST(SmartStatus, AnExceptionOfScsiFails) {
  Tried<SoundScsi> bench;
  bench.Answer("4D/2F", FromHex("2F 00 00 08 00 00 03 04 5D 00 24 00"));
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message,
            Key("Pending exception: failure prediction threshold exceeded (5Dh/00h)"));
}

// Its registers may be those that it was sent, so alone they count for nothing.
TEST(SmartStatus, WhatAUsbBridgeMakesUpIsNoWordOfTheDrive) {
  Tried<SoundAta> bench(Transport::kUsb);
  bench.Answer("B0/D0", RawBytes(512, 0));
  EXPECT_EQ(bench.Result().status, kTestNotApplicable);
  EXPECT_EQ(bench.Result().message, Key("SMART READ DATA: the answer is nothing but zeros"));
  bench.Answer("B0/D0", DataWith(5, 100, 0));
  RawBytes thresholds = HealthyThresholds();
  thresholds[100] ^= 1;
  bench.Answer("B0/D1", thresholds);
  EXPECT_EQ(bench.Result().status, kTestPassed);
  EXPECT_EQ(bench.Result().message,
            Key("Not all could be looked at: SMART READ ATTRIBUTE THRESHOLDS: the checksum of the "
                "SMART thresholds is wrong"));
}

TEST(SmartStatus, IsNotApplicableToWhatHasNoWordForIt) {
  Tried<SoundScsi> without;
  without.Answer("4D/00", FromHex("00 00 00 01 0D"));
  EXPECT_EQ(without.Result().status, kTestNotApplicable);
  EXPECT_EQ(without.Result().message,
            Key("Nothing that the drive tells says whether it expects to fail"));

  Tried<SoundScsi> unlogged;
  unlogged.Answer("4D/00", Condition(0x05, 0x20, 0x00));
  EXPECT_EQ(unlogged.Result().status, kTestNotApplicable);
  EXPECT_EQ(unlogged.Result().message,
            Key("LOG SENSE: illegal request: invalid command operation code (20h/00h)"));

  Tried<SoundAta> old;
  ata::Pages identity = HealthyIdentity();
  old.Answer("EC", BytesOf(identity.PutWord(82, 0)));
  EXPECT_EQ(old.Result().status, kTestNotApplicable);
  EXPECT_EQ(old.Result().message, Key("The drive has no SMART"));
  EXPECT_EQ(old.Sent(), (Names{"EC", "EC"}));

  Tried<SoundAta> off;
  off.Answer("EC", BytesOf(HealthyIdentity().PutWord(85, 0)));
  EXPECT_EQ(off.Result().status, kTestNotApplicable);
  EXPECT_EQ(off.Result().message, Key("SMART is switched off in the drive, and stays off"));
}

TEST(SmartStatus, RegistersThatSayNeitherAreNoPass) {
  Tried<SoundAta> bench;
  bench.Answer("B0/DA", StatusOf(0x123400));
  const sdk::Verdict verdict = bench.Result();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(verdict.message.find(Key("The drive cannot tell: SMART RETURN STATUS: ")), 0U)
      << verdict.message;
}

// Whether a bridge brings no registers, or a drive's thresholds are lost: what is left decides.
TEST(SmartStatus, OneWordOfTheStandardIsEnough) {
  Tried<SoundAta> unregistered;
  unregistered.Answer("B0/DA", Condition(0x05, 0x24, 0x00));
  EXPECT_EQ(unregistered.Result().status, kTestPassed);
  EXPECT_NE(unregistered.Result().message.find(Key("Not all could be looked at: SMART RETURN")),
            std::string::npos);

  Tried<SoundAta> unlimited;
  unlimited.Answer("B0/D1", Condition(0x05, 0x24, 0x00));
  EXPECT_EQ(unlimited.Result().status, kTestPassed);

  Tried<SoundAta> neither;
  neither.Answer("B0/DA", Condition(0x05, 0x24, 0x00));
  neither.Answer("B0/D1", Condition(0x05, 0x24, 0x00));
  EXPECT_EQ(neither.Result().status, kTestNotApplicable);
}

TEST(SmartStatus, ADriveWithoutAttributesMayStillSayThatItFails) {
  Tried<SoundAta> bench;
  RawBytes wrong = DataWith(5, 100, 0);
  wrong[100] ^= 1;
  bench.Answer("B0/D0", wrong);
  EXPECT_EQ(bench.Result().status, kTestWarning);
  EXPECT_EQ(bench.Result().message,
            Key("The drive cannot tell: SMART READ DATA: the checksum of the SMART data is "
                "wrong"));
  bench.Answer("B0/DA", StatusOf(kExceededRegisters));
  EXPECT_EQ(bench.Result().status, kTestFailed);
}

TEST(SmartStatus, IsNotApplicableToTheSystemAsAWhole) {
  SoundAta bench;
  sdk::testing::RememberingContext context(nullptr);
  EXPECT_EQ(SmartStatusTest({&bench.machine, &bench.hung}).run(context).status, kTestNotApplicable);
  EXPECT_TRUE(bench.machine.sent.empty());
}

// Each command of a look in turn, and all that may become of it. None is a pass without a word.
struct Trouble {
  const char* name;
  sdk::CommandAnswer answer;
  TestStatus status;
  bool endsIt = false;  // nothing is asked after it
};
template <typename Bench>
void EachCommandInTurn(const std::vector<Trouble>& troubles) {
  Tried<Bench> sound;
  sound.Result();
  const Names asked = sound.Sent();
  for (std::size_t i = 0; i < asked.size(); ++i) {
    for (const Trouble& trouble : troubles) {
      Tried<Bench> bench;
      bench.AnswerFrom(asked, i, trouble.answer);
      // One that answers in registers alone, which do not come back then.
      const bool hasNoData = asked[i] == "B0/DA" && !trouble.answer.data.empty();
      const sdk::Verdict verdict = bench.Result();
      EXPECT_EQ(verdict.status, hasNoData ? kTestPassed : trouble.status)
          << asked[i] << " number " << i << ' ' << trouble.name << ": " << verdict.message;
      EXPECT_EQ(verdict.message.empty(), trouble.status == kTestCanceled)
          << asked[i] << ' ' << trouble.name;
      if (trouble.endsIt) {
        EXPECT_EQ(bench.Sent().size(), i + 1) << asked[i] << ' ' << trouble.name;
      }
    }
  }
}

std::vector<Trouble> TroublesOfAll() {
  return {{"gone", OutcomeOf(Outcome::kGone), kTestFailed, true},
          {"hangs", OutcomeOf(Outcome::kTimedOut), kTestWarning, true},
          {"no privilege", OutcomeOf(Outcome::kRefused, EPERM), kTestInvalid, true},
          {"broken off", OutcomeOf(Outcome::kRefused, EIO), kTestInvalid},
          {"busy", OutcomeOf(Outcome::kRefused, EBUSY), kTestInvalid},
          {"canceled", OutcomeOf(Outcome::kNotTried, ECANCELED), kTestCanceled, true},
          {"short", Good(RawBytes(3, 1)), kTestWarning},
          {"ones", Good(RawBytes(512, 0xFF)), kTestWarning}};
}

TEST(SmartStatus, EachCommandOfAnAtaDriveMayComeToABadEnd) {
  EachCommandInTurn<AtaWithStatistics>(TroublesOfAll());
}
TEST(SmartStatus, EachCommandOfAnNvmeDriveMayComeToABadEnd) {
  EachCommandInTurn<SoundNvme>(TroublesOfAll());
}
TEST(SmartStatus, EachCommandOfAScsiDriveMayComeToABadEnd) {
  EachCommandInTurn<SoundScsi>(TroublesOfAll());
}

}  // namespace
}  // namespace orvan::storage

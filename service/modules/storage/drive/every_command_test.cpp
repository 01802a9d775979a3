#include <gtest/gtest.h>

#include <array>
#include <cctype>

#include "service/modules/storage/drive/drive_test_support.h"

// Each command of the table against each thing that can become of it.
namespace orvan::storage {
namespace {

using R = DriveRequest;

// What differs from command to command: what it means that the drive does not know it, that it has
// half the answer, and that what speaks for the drive says GOOD and nothing else.
struct Case {
  R request;
  Kind unknown;
  Kind half;
  Kind bare;
};
constexpr Kind kN = Kind::kNotSupported;
constexpr Kind kF = Kind::kFailed;
constexpr Kind kG = Kind::kGarbage;
constexpr Kind kD = Kind::kDone;
constexpr std::array kCases = {
    Case{R::kAtaIdentify, kF, kG, kG},
    Case{R::kSmartData, kN, kG, kG},
    Case{R::kSmartThresholds, kN, kG, kG},
    Case{R::kSmartReturnStatus, kN, kN, kN},
    Case{R::kAtaErrorLog, kN, kG, kG},
    Case{R::kAtaSelfTestLog, kN, kG, kG},
    Case{R::kAtaLogDirectory, kN, kG, kG},
    Case{R::kAtaExtErrorLog, kN, kG, kG},
    Case{R::kAtaDeviceStatistics, kN, kG, kG},
    Case{R::kAtaExtSelfTestLog, kN, kG, kG},
    Case{R::kAtaShortSelfTest, kN, kD, kD},
    Case{R::kAtaExtendedSelfTest, kN, kD, kD},
    Case{R::kAtaAbortSelfTest, kN, kD, kD},
    Case{R::kScsiTestUnitReady, kF, kD, kD},
    Case{R::kScsiInquiry, kF, kG, kG},
    Case{R::kScsiVpdPage, kN, kD, kG},   // pages are as long as they say
    Case{R::kScsiLogSense, kN, kD, kG},  // the same
    Case{R::kScsiRequestSense, kF, kD, kG},
    Case{R::kScsiReadCapacity16, kN, kD, kG},  // 12 bytes tell the size
    Case{R::kScsiControlPage, kN, kD, kG},     // as long as it says
    Case{R::kScsiShortSelfTest, kN, kD, kD},
    Case{R::kScsiExtendedSelfTest, kN, kD, kD},
    Case{R::kScsiAbortSelfTest, kN, kD, kD},
    Case{R::kNvmeIdentifyController, kF, kG, kG},
    Case{R::kNvmeIdentifyNamespace, kF, kG, kG},
    Case{R::kNvmeErrorLog, kF, kG, kG},
    Case{R::kNvmeSmartLog, kF, kG, kG},
    Case{R::kNvmeSelfTestLog, kN, kG, kG},
    Case{R::kNvmeShortSelfTest, kN, kD, kD},
    Case{R::kNvmeExtendedSelfTest, kN, kD, kD},
    Case{R::kNvmeAbortSelfTest, kN, kD, kD},
};

constexpr bool HasEachCase() {
  if (kCases.size() != kDriveRequests) return false;
  for (std::size_t i = 0; i < kCases.size(); ++i) {
    if (kCases[i].request != static_cast<R>(i)) return false;
  }
  return true;
}
static_assert(HasEachCase(), "each command needs its case");

// "1SMARTREADDATA", for the names of tests.
std::string NameOf(const testing::TestParamInfo<Case>& info) {
  std::string name = std::to_string(static_cast<int>(info.param.request));
  for (const char letter : std::string(RowOf(info.param.request).name)) {
    if (std::isalnum(static_cast<unsigned char>(letter)) != 0) name += letter;
  }
  return name;
}

const char* NameOf(Kind kind) {
  static constexpr std::array kNames = {"done",      "not supported", "not now", "failed",
                                        "garbage",   "timed out",     "gone",    "no privilege",
                                        "not tried", "canceled"};
  return kNames.at(static_cast<std::size_t>(kind));
}

class EveryCommand : public testing::TestWithParam<Case> {
 protected:
  const DriveCommandRow& Row() const { return RowOf(GetParam().request); }
  bool IsNvme() const { return Row().Protocol() == DriveProtocol::kNvme; }
  bool IsAta() const { return Row().Protocol() == DriveProtocol::kAta; }

  // What the command comes to when the drive answers so.
  DriveAnswer On(DriveBench& bench, sdk::CommandAnswer answer) {
    ScriptOpening(bench);
    bench.Script(std::move(answer));
    DriveLink link = bench.Link();
    EXPECT_TRUE(link.Opening().IsDone()) << link.Opening().reason;
    return link.Send(GetParam().request);
  }
  void Expect(Kind kind, sdk::CommandAnswer answer) {
    DriveBench bench(TransportFor(Row()));
    const DriveAnswer got = On(bench, std::move(answer));
    EXPECT_STREQ(NameOf(got.kind), NameOf(kind)) << got.reason;
    EXPECT_EQ(got.reason.empty(), got.IsDone());
    EXPECT_EQ(got.data.empty(), !got.IsDone() || Row().bytes == 0);
    EXPECT_TRUE(got.IsDone() || got.reason.starts_with(Row().name)) << got.reason;
  }
  // The same behind a USB bridge, which is not asked again when `isClosed`.
  void ExpectBehindUsb(Kind kind, sdk::CommandAnswer answer, bool isClosed) {
    DriveBench bench(Transport::kUsb);
    ScriptOpening(bench);
    bench.Script(std::move(answer));
    DriveLink link = bench.Link();
    const DriveAnswer got = link.Send(GetParam().request);
    EXPECT_STREQ(NameOf(got.kind), NameOf(kind)) << got.reason;
    const std::size_t sent = bench.machine.sent.size();
    link.Send(GetParam().request);
    EXPECT_EQ(bench.machine.sent.size() == sent, isClosed) << got.reason;
  }
  RawBytes Full() const { return RawBytes(Row().bytes, 0x11); }
  RawBytes Half() const { return RawBytes(Row().bytes / 2, 0x11); }
};

INSTANTIATE_TEST_SUITE_P(All, EveryCommand, testing::ValuesIn(kCases),
                         [](const auto& info) { return NameOf(info); });

TEST_P(EveryCommand, IsDoneByADriveThatAnswers) {
  DriveBench bench(TransportFor(Row()));
  sdk::CommandAnswer answer = IsAta() ? WithRegisters(0x50, 0, 0xC24F00, Full()) : Good(Full());
  EXPECT_STREQ(NameOf(On(bench, answer).kind), "done");
}

TEST_P(EveryCommand, IsRefusedByTheKernel) {
  Expect(Kind::kNoPrivilege, OutcomeOf(Outcome::kRefused, EPERM));
  Expect(Kind::kNoPrivilege, OutcomeOf(Outcome::kRefused, EACCES));
  Expect(Kind::kNotSupported, OutcomeOf(Outcome::kRefused, ENOTTY));
  Expect(Kind::kNotSupported, OutcomeOf(Outcome::kRefused, EOPNOTSUPP));
  Expect(Kind::kNotNow, OutcomeOf(Outcome::kRefused, EBUSY));
  Expect(Kind::kNotNow, OutcomeOf(Outcome::kRefused, EIO));
}

TEST_P(EveryCommand, TimesOutAndIsTheLastOneThatTheDriveGets) {
  DriveBench bench(TransportFor(Row()));
  const DriveAnswer got = On(bench, OutcomeOf(Outcome::kTimedOut));
  EXPECT_STREQ(NameOf(got.kind), "timed out");
  EXPECT_EQ(got.reason, std::string(Row().name) + ": the drive did not answer within " +
                            std::to_string(Row().timeLimit.count()) + " seconds");
  const std::size_t sent = bench.machine.sent.size();
  DriveLink another = bench.Link();
  EXPECT_STREQ(NameOf(another.Opening().kind), "timed out");
  EXPECT_STREQ(NameOf(another.Send(GetParam().request).kind), "timed out");
  EXPECT_EQ(bench.machine.sent.size(), sent);
}

TEST_P(EveryCommand, ComesToNothingWhenTheDriveIsGone) {
  Expect(Kind::kGone, OutcomeOf(Outcome::kGone, ENODEV));
}

TEST_P(EveryCommand, CouldNotBeSent) {
  Expect(Kind::kNotTried, OutcomeOf(Outcome::kNotTried, ENOMEM));
  Expect(Kind::kCanceled, OutcomeOf(Outcome::kNotTried, ECANCELED));
  Expect(Kind::kNotTried, OutcomeOf(Outcome::kNotGranted));
}

TEST_P(EveryCommand, HasHalfAnAnswer) {
  sdk::CommandAnswer answer = Good(Half());
  Expect(GetParam().half, answer);
}

TEST_P(EveryCommand, HasABareGood) {
  Expect(GetParam().bare, Good());
}

TEST_P(EveryCommand, HasAnAnswerThatIsNone) {
  sdk::CommandAnswer answer = Good(Full());
  if (IsNvme()) {
    Expect(Kind::kGarbage, Completion(0x0455, Full()));  // there is no type 4
    return;
  }
  answer.scsiStatus = 0x99;
  Expect(Kind::kGarbage, answer);
  if (!IsAta()) return;
  Expect(Kind::kGarbage, WithRegisters(0x00, 0, 0xC24F00, Full()));
  Expect(Kind::kGarbage, WithRegisters(0x80, 0, 0xC24F00, Full()));
  Expect(Kind::kGarbage, WithRegisters(0x51, 0, 0xC24F00, Full()));  // an error without a name
}

TEST_P(EveryCommand, IsRefusedWithoutSense) {
  if (IsNvme()) return Expect(Kind::kNotNow, Completion(0x0007));  // aborted, and no more
  Expect(Kind::kGarbage, ConditionWithoutSense());
  Expect(Kind::kGarbage, Condition(0, 0, 0));
  sdk::CommandAnswer nonsense = ConditionWithoutSense();
  nonsense.sense = RawBytes(18, 0x55);
  Expect(Kind::kGarbage, nonsense);
}

TEST_P(EveryCommand, IsNotKnownToTheDrive) {
  if (IsNvme()) {
    Expect(GetParam().unknown, Completion(0x4001));  // with Do Not Retry
    Expect(GetParam().unknown, Completion(0x0002));
    return;
  }
  if (!IsAta()) {
    Expect(GetParam().unknown, Condition(0x05, 0x20, 0x00));
    Expect(GetParam().unknown, Condition(0x05, 0x24, 0x00));
    return;
  }
  Expect(GetParam().unknown, WithRegisters(0x51, 0x04, 0));
  Expect(GetParam().unknown, Condition(0x0B, 0x00, 0x00));
  // Said by what speaks for the drive, which may well have the command.
  Expect(Kind::kNotSupported, Condition(0x05, 0x20, 0x00));
  Expect(Kind::kNotSupported, Condition(0x05, 0x24, 0x00));
}

TEST_P(EveryCommand, FailsInTheDrive) {
  if (IsNvme()) return Expect(Kind::kFailed, Completion(0x0006));
  Expect(Kind::kFailed, Condition(0x04, 0x44, 0x00));
  if (!IsAta()) return;
  Expect(Kind::kFailed, WithRegisters(0x71, 0x04, 0));  // device fault
  Expect(Kind::kFailed, WithRegisters(0x51, 0x40, 0));  // uncorrectable
  Expect(Kind::kFailed, WithRegisters(0x51, 0x84, 0));  // damaged on the cable
}

TEST_P(EveryCommand, MeetsADriveThatIsNotFree) {
  if (IsNvme()) return Expect(Kind::kNotNow, Completion(0x0084));
  for (const int status : {0x08, 0x18, 0x28, 0x30, 0x40}) {
    sdk::CommandAnswer answer = Good(Full());
    answer.scsiStatus = static_cast<std::uint8_t>(status);
    Expect(Kind::kNotNow, answer);
  }
  Expect(Kind::kNotNow, Condition(0x02, 0x04, 0x01));
}

TEST_P(EveryCommand, EndsAtAStopBeforeItIsSent) {
  DriveBench bench(TransportFor(Row()));
  ScriptOpening(bench);
  bench.Script(Good(Full()));
  DriveLink link = bench.Link();
  bench.stop.request_stop();
  const std::size_t sent = bench.machine.sent.size();
  const DriveAnswer got = link.Send(GetParam().request);
  EXPECT_STREQ(NameOf(got.kind), Row().isSentAfterStop ? "done" : "canceled");
  EXPECT_EQ(bench.machine.sent.size() - sent, Row().isSentAfterStop ? 1U : 0U);
}

class EveryAtaCommand : public EveryCommand {};

std::vector<Case> AtaCases() {
  std::vector<Case> cases;
  for (const Case& one : kCases) {
    if (RowOf(one.request).Protocol() == DriveProtocol::kAta) cases.push_back(one);
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Ata, EveryAtaCommand, testing::ValuesIn(AtaCases()),
                         [](const auto& info) { return NameOf(info); });

TEST_P(EveryAtaCommand, IsNotAskedAgainOfABridgeThatCannotSayNo) {
  ExpectBehindUsb(Kind::kNotSupported, ConditionWithoutSense(), true);
  ExpectBehindUsb(Kind::kNotSupported, OutcomeOf(Outcome::kRefused, EIO), true);
  if (Row().bytes != 0) ExpectBehindUsb(Kind::kNotSupported, Good(Half()), true);
  // What it does say politely, or what it cannot help, leaves the rest as it was.
  ExpectBehindUsb(Kind::kNotSupported, Condition(0x05, 0x20, 0x00), false);
  ExpectBehindUsb(Kind::kNotSupported, WithRegisters(0x00, 0, 0, Full()), false);
  ExpectBehindUsb(Kind::kNotNow, Condition(0x02, 0x04, 0x01), false);
  ExpectBehindUsb(Kind::kNotNow, OutcomeOf(Outcome::kRefused, EBUSY), false);
  ExpectBehindUsb(Kind::kTimedOut, OutcomeOf(Outcome::kTimedOut), true);
  ExpectBehindUsb(Kind::kGone, OutcomeOf(Outcome::kGone, ENODEV), false);
}

}  // namespace
}  // namespace orvan::storage

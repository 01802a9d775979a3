#include "service/modules/storage/drive/drive_link.h"

#include <gtest/gtest.h>

#include "service/modules/storage/drive/drive_test_support.h"

namespace orvan::storage {
namespace {

using R = DriveRequest;
using std::string_literals::operator""s;

RawBytes Without(RawBytes data, std::size_t at, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) data[at + i] = 0;
  return data;
}

// A drive's identity without a checksum.
RawBytes OldIdentity() {
  return Without(IdentityOfDrive(), 510, 2);
}

// Without a serial number, and with the checksum that belongs to that.
RawBytes WithoutSerial(RawBytes data) {
  data[511] = static_cast<std::uint8_t>(data[511] + 'S' + 'N' + 18 * ' ');
  return Without(std::move(data), 20, 20);
}

RawBytes WrongIdentity() {
  RawBytes data = IdentityOfDrive();
  data[100] ^= 1;
  return data;
}

std::string FormsSent(const DriveBench& bench) {
  std::string forms;
  for (const sdk::DriveCommand& command : bench.machine.sent) {
    forms += IsIdentify(command) ? (IsShortForm(command) ? "short " : "long ") : "other ";
  }
  return forms;
}

TEST(DriveLinkTest, ASataDriveIsAskedOnceWhoItIs) {
  DriveBench bench(Transport::kSata);
  bench.Script(Good(IdentityOfDrive()));
  const DriveLink link = bench.Link();
  EXPECT_EQ(link.Protocol(), DriveProtocol::kAta);
  EXPECT_EQ(link.Opening().data, IdentityOfDrive());
  EXPECT_EQ(FormsSent(bench), "long ");
}

TEST(DriveLinkTest, ASataDriveIsOneWhateverItSays) {
  DriveBench bench(Transport::kSata);
  bench.Script(Good(WrongIdentity()));
  DriveLink link = bench.Link();
  EXPECT_EQ(link.Protocol(), DriveProtocol::kAta);
  EXPECT_EQ(link.Opening().kind, Kind::kGarbage);
  EXPECT_EQ(link.Opening().reason, "IDENTIFY DEVICE: the checksum of the IDENTIFY data is wrong");
  EXPECT_TRUE(link.Opening().data.empty());
  EXPECT_EQ(link.Send(R::kSmartData).kind, Kind::kDone);
}

TEST(DriveLinkTest, NvmeIsAskedForNothing) {
  DriveBench bench(Transport::kNvme);
  bench.Script(Good(RawBytes(4096)));
  DriveLink link = bench.Link();
  EXPECT_TRUE(link.Opening().IsDone());
  EXPECT_EQ(link.Protocol(), DriveProtocol::kNvme);
  EXPECT_TRUE(bench.machine.sent.empty());
  EXPECT_TRUE(link.Send(R::kNvmeIdentifyNamespace).IsDone());
  EXPECT_EQ(std::get<sdk::NvmeAdminCommand>(bench.machine.sent.front().command).namespaceId, 3U);
}

TEST(DriveLinkTest, ANamespaceWithoutItsNumberIsNotAskedFor) {
  for (const char* number : {"", "0", "4294967295", "4294967297", "x"}) {
    DriveBench bench(Transport::kNvme, "f /sys/x/nsid "s + number + "\n");
    bench.Script(Good(RawBytes(4096)));
    DriveLink link = bench.Link();
    EXPECT_EQ(link.Send(R::kNvmeIdentifyNamespace).kind, Kind::kNotTried) << number;
    EXPECT_TRUE(link.Send(R::kNvmeIdentifyController).IsDone()) << number;
  }
}

TEST(DriveLinkTest, WhatIsNoDriveIsAskedForNothingAndSaysWhy) {
  for (const Transport transport : {Transport::kVirtio, Transport::kXen, Transport::kLoop,
                                    Transport::kMmc, Transport::kUnknown}) {
    DriveBench bench(transport);
    bench.Script(Good(IdentityOfDrive()));
    DriveLink link = bench.Link();
    EXPECT_EQ(link.Protocol(), DriveProtocol::kNone);
    EXPECT_EQ(link.Opening().kind, Kind::kNotSupported);
    EXPECT_FALSE(link.Opening().reason.empty());
    EXPECT_EQ(link.Send(R::kSmartData).kind, Kind::kNotSupported);
    EXPECT_TRUE(bench.machine.sent.empty());
  }
}

TEST(DriveLinkTest, ACommandOfAnotherProtocolIsOurOwnFault) {
  DriveBench bench(Transport::kSata);
  bench.Script(Good(IdentityOfDrive()));
  DriveLink link = bench.Link();
  EXPECT_EQ(link.Send(R::kScsiInquiry).kind, Kind::kNotTried);
  EXPECT_EQ(bench.machine.sent.size(), 1U);
}

TEST(DriveLinkTest, AScsiDriveIsAskedWhoItIsOnlyWhereItSaysThatItIsOfAta) {
  for (const Transport transport : {Transport::kScsi, Transport::kSas}) {
    DriveBench own(transport, "f /sys/x/device/vendor MAKER\n");
    EXPECT_EQ(own.Link().Protocol(), DriveProtocol::kScsi);
    EXPECT_TRUE(own.machine.sent.empty());

    DriveBench ata(transport, kAtaFiles);
    ata.Script(Good(IdentityOfDrive()));
    EXPECT_EQ(ata.Link().Protocol(), DriveProtocol::kAta);
    EXPECT_EQ(FormsSent(ata), "long ");

    DriveBench refused(transport, kAtaFiles);
    refused.Script(Condition(0x05, 0x20, 0x00));
    const DriveLink link = refused.Link();
    EXPECT_EQ(link.Protocol(), DriveProtocol::kScsi);
    EXPECT_TRUE(link.Opening().IsDone());
    EXPECT_EQ(link.WhyNotAta(),
              "IDENTIFY DEVICE: illegal request: invalid command operation code (20h/00h)");
    EXPECT_EQ(FormsSent(refused), "long ");
  }
}

TEST(DriveLinkTest, ABridgeIsAskedInTheLongFormFirst) {
  DriveBench bench(Transport::kUsb);
  bench.Script(Good(IdentityOfDrive()));
  DriveLink link = bench.Link();
  EXPECT_EQ(link.Protocol(), DriveProtocol::kAta);
  EXPECT_TRUE(link.WhyNotAta().empty());
  link.Send(R::kSmartData);
  EXPECT_EQ(FormsSent(bench), "long other ");
  EXPECT_FALSE(IsShortForm(bench.machine.sent.back()));
}

// What makes a bridge be asked in the short form, too: it said no, or what came is no identity.
TEST(DriveLinkTest, ABridgeThatKnowsTheShortFormAloneIsAskedInThat) {
  RawBytes noise(512, 0x7F);
  noise[0] = 0;
  const std::vector<sdk::CommandAnswer> answers = {Condition(0x05, 0x20, 0x00),
                                                   Condition(0x05, 0x24, 0x00),
                                                   Condition(0x04, 0x00, 0x00),
                                                   Good(RawBytes(512, 0)),
                                                   Good(RawBytes(512, 0xFF)),
                                                   Good(WrongIdentity()),
                                                   Good(noise),
                                                   Good(Without(OldIdentity(), 20, 20)),
                                                   Good(Without(OldIdentity(), 54, 40))};
  for (const sdk::CommandAnswer& answer : answers) {
    DriveBench bench(Transport::kUsb);
    bench.Script(answer, 1);
    bench.Script(Good(IdentityOfDrive()));
    DriveLink link = bench.Link();
    EXPECT_EQ(link.Protocol(), DriveProtocol::kAta);
    EXPECT_EQ(FormsSent(bench), "long short ");
    EXPECT_TRUE(link.Send(R::kSmartData).IsDone());
    EXPECT_TRUE(IsShortForm(bench.machine.sent.back()));
    const DriveAnswer log = link.Send(R::kAtaDeviceStatistics);
    EXPECT_EQ(log.kind, Kind::kNotSupported);
    EXPECT_EQ(log.reason, "READ LOG EXT 04h: the USB bridge passes no such commands on");
    EXPECT_EQ(FormsSent(bench), "long short other ");
  }
}

// Where nothing but the bridge says that there is an ATA drive.
TEST(DriveLinkTest, AnIdentityIsTakenForItsChecksumOrForItsSerialNumber) {
  for (const RawBytes& identity : {OldIdentity(), WithoutSerial(IdentityOfDrive())}) {
    DriveBench bench(Transport::kUsb);
    bench.Script(Good(identity));
    EXPECT_EQ(bench.Link().Protocol(), DriveProtocol::kAta);
    EXPECT_EQ(FormsSent(bench), "long ");
  }
}

TEST(DriveLinkTest, ASataDriveMayHaveNeither) {
  DriveBench bench(Transport::kSata);
  bench.Script(Good(Without(OldIdentity(), 20, 20)));
  EXPECT_TRUE(bench.Link().Opening().IsDone());
}

TEST(DriveLinkTest, EachCommandIsForTheDiskOfTheScan) {
  DriveBench bench(Transport::kSata);
  bench.Script(Good(IdentityOfDrive()));
  bench.Link();
  ASSERT_EQ(bench.machine.sent.size(), 1U);
  EXPECT_EQ(bench.machine.sent[0].device, "/dev/sdx");
  EXPECT_EQ(bench.machine.sent[0].expectedDevice, sdk::DeviceNumber(8, 16));
  EXPECT_EQ(bench.machine.sent[0].diskSequence, 29U);
}

TEST(DriveLinkTest, WhatPassesNeitherFormOnIsPlainScsi) {
  DriveBench bench(Transport::kUsb);
  bench.Script(Condition(0x05, 0x20, 0x00), -1, IsIdentify);
  bench.Script(Good(RawBytes(36)));
  DriveLink link = bench.Link();
  EXPECT_EQ(FormsSent(bench), "long short ");
  EXPECT_EQ(link.Protocol(), DriveProtocol::kScsi);
  EXPECT_TRUE(link.Opening().IsDone());
  EXPECT_FALSE(link.WhyNotAta().empty());
  EXPECT_TRUE(link.Send(R::kScsiInquiry).IsDone());
}

TEST(DriveLinkTest, AStickIsNotAskedWhetherItIsABridge) {
  for (const char* files : {"f /sys/x/removable 1\n", "", "e /sys/x/removable 5\n"}) {
    DriveBench bench(Transport::kUsb, files);
    bench.Script(Good(IdentityOfDrive()));
    const DriveLink link = bench.Link();
    EXPECT_EQ(link.Protocol(), DriveProtocol::kScsi);
    EXPECT_FALSE(link.WhyNotAta().empty());
    EXPECT_TRUE(bench.machine.sent.empty());
  }
}

TEST(DriveLinkTest, ABridgeThatCannotSayNoIsNotAskedASecondTime) {
  for (const sdk::CommandAnswer& answer :
       {ConditionWithoutSense(), Good(RawBytes(36)), OutcomeOf(Outcome::kRefused, EIO)}) {
    DriveBench bench(Transport::kUsb);
    bench.Script(answer);
    DriveLink link = bench.Link();
    EXPECT_EQ(link.Protocol(), DriveProtocol::kNone);
    EXPECT_EQ(link.Opening().kind, Kind::kNotSupported);
    EXPECT_NE(link.Opening().reason.find("the USB bridge is asked no further"), std::string::npos);
    EXPECT_EQ(link.Send(R::kScsiInquiry).kind, Kind::kNotSupported);
    EXPECT_EQ(FormsSent(bench), "long ");
  }
}

// What says nothing about the bridge ends the opening as what it is.
TEST(DriveLinkTest, WhatEndsTheOpeningIsToldAsWhatItIs) {
  struct Row {
    sdk::CommandAnswer answer;
    Kind kind;
  };
  sdk::CommandAnswer busy = Good();
  busy.scsiStatus = 0x08;
  const std::vector<Row> rows = {
      {OutcomeOf(Outcome::kTimedOut), Kind::kTimedOut},
      {OutcomeOf(Outcome::kGone, ENODEV), Kind::kGone},
      {OutcomeOf(Outcome::kRefused, EPERM), Kind::kNoPrivilege},
      {OutcomeOf(Outcome::kNotTried, ENOMEM), Kind::kNotTried},
      {OutcomeOf(Outcome::kNotTried, ECANCELED), Kind::kCanceled},
      {busy, Kind::kNotNow},
  };
  for (const Row& row : rows) {
    DriveBench bench(Transport::kUsb);
    bench.Script(row.answer);
    DriveLink link = bench.Link();
    EXPECT_EQ(link.Protocol(), DriveProtocol::kNone);
    EXPECT_EQ(link.Opening().kind, row.kind);
    EXPECT_EQ(link.Send(R::kScsiInquiry).kind, row.kind);
    EXPECT_EQ(FormsSent(bench), "long ");
  }
}

TEST(DriveLinkTest, AStopBeforeTheOpeningSendsNothing) {
  DriveBench bench(Transport::kSata);
  bench.Script(Good(IdentityOfDrive()));
  bench.stop.request_stop();
  EXPECT_EQ(bench.Link().Opening().kind, Kind::kCanceled);
  EXPECT_TRUE(bench.machine.sent.empty());
}

TEST(DriveLinkTest, ADriveThatWasResetIsAskedASecondTime) {
  sdk::CommandAnswer deferred = Condition(0x04, 0x44, 0x00);
  deferred.sense[0] = 0x71;
  for (const sdk::CommandAnswer& answer : {Condition(0x06, 0x29, 0x00), deferred}) {
    DriveBench bench(Transport::kScsi, "");
    bench.Script(answer, 1);
    bench.Script(Good(RawBytes(252, 1)));
    EXPECT_TRUE(bench.Link().Send(R::kScsiLogSense).IsDone());
    EXPECT_EQ(bench.machine.sent.size(), 2U);

    DriveBench stubborn(Transport::kScsi, "");
    stubborn.Script(answer);
    EXPECT_EQ(stubborn.Link().Send(R::kScsiLogSense).kind, Kind::kNotNow);
    EXPECT_EQ(stubborn.machine.sent.size(), 2U);
  }
}

TEST(DriveLinkTest, AStopIsNotRepeatedInto) {
  DriveBench bench(Transport::kScsi, "");
  bench.machine.commands.push_back({{}, {}, -1, [&bench](const sdk::DriveCommand&) {
                                      bench.stop.request_stop();
                                      return Condition(0x06, 0x29, 0x00);
                                    }});
  EXPECT_EQ(bench.Link().Send(R::kScsiLogSense).kind, Kind::kCanceled);
  EXPECT_EQ(bench.machine.sent.size(), 1U);
}

TEST(DriveLinkTest, ADriveThatIsNotFreeIsNotAskedASecondTime) {
  DriveBench bench(Transport::kScsi, "");
  bench.Script(Condition(0x02, 0x04, 0x09));
  EXPECT_EQ(bench.Link().Send(R::kScsiLogSense).kind, Kind::kNotNow);
  EXPECT_EQ(bench.machine.sent.size(), 1U);
}

TEST(DriveLinkTest, OnlyTheDriveThatHungIsLeftAlone) {
  DriveBench bench(Transport::kSata);
  bench.Script(OutcomeOf(Outcome::kTimedOut), 1);
  bench.Script(Good(IdentityOfDrive()));
  EXPECT_EQ(bench.Link().Opening().kind, Kind::kTimedOut);
  EXPECT_EQ(bench.Link().Opening().reason,
            "IDENTIFY DEVICE: the drive did not answer within 10 seconds, and is left alone since");
  // The same drive under another name, and a reset's new sequence.
  bench.facts.devicePath = "/dev/sdy";
  bench.facts.deviceNumber = sdk::DeviceNumber(8, 32);
  ++bench.facts.diskSequence;
  EXPECT_EQ(bench.Link().Opening().kind, Kind::kTimedOut);
  EXPECT_EQ(bench.machine.sent.size(), 1U);
  // Its twin in another place, and another drive in its place.
  DriveBench twin(Transport::kSata);
  bench.facts.busPath += "0";
  EXPECT_TRUE(bench.Link().Opening().IsDone());
  bench.facts = twin.facts;
  bench.facts.serial = "ANOTHER";
  EXPECT_TRUE(bench.Link().Opening().IsDone());
}

// A bridge that brings no registers back gets nothing in their place.
TEST(DriveLinkTest, HealthIsNotGuessedWithoutRegisters) {
  struct Row {
    Transport transport;
    sdk::CommandAnswer answer;
    Kind kind;
  };
  const std::vector<Row> rows = {
      {Transport::kUsb, Good(), Kind::kNotSupported},
      {Transport::kSas, Good(), Kind::kNotSupported},
      {Transport::kUsb, WithRegisters(0x50, 0, 0), Kind::kNotSupported},
      {Transport::kUsb, WithRegisters(0x50, 0, 0xC2F400), Kind::kNotSupported},
      {Transport::kSata, WithRegisters(0x50, 0, 0), Kind::kGarbage},
      {Transport::kSata, WithRegisters(0x50, 0, 0xC2F400), Kind::kGarbage},
      {Transport::kSata, Condition(0x01, 0x00, 0x1D), Kind::kNotSupported},
      {Transport::kSata, WithRegisters(0x50, 0, 0xC24F00), Kind::kDone},
      {Transport::kSata, WithRegisters(0x50, 0, 0x2CF400), Kind::kDone},
  };
  for (const Row& row : rows) {
    DriveBench bench(row.transport, kAtaFiles);
    bench.Script(Good(IdentityOfDrive()), 1);
    bench.Script(row.answer);
    DriveLink link = bench.Link();
    const DriveAnswer answer = link.Send(R::kSmartReturnStatus);
    EXPECT_EQ(answer.kind, row.kind) << answer.reason;
    EXPECT_EQ(bench.machine.sent.size(), 2U);
    if (!answer.IsDone()) continue;
    ASSERT_TRUE(answer.registers);
    EXPECT_EQ(SmartStatusIn(*answer.registers), row.answer.registers.lba == 0xC24F00
                                                    ? SmartStatus::kGood
                                                    : SmartStatus::kThresholdExceeded);
  }
}

TEST(DriveLinkTest, ASelfTestNeedsTheRightToChange) {
  DriveBench bench(Transport::kSata);
  bench.machine.GrantWriting(false);
  bench.Script(Good(IdentityOfDrive()));
  DriveLink link = bench.Link();
  EXPECT_TRUE(link.Send(R::kSmartData).IsDone());
  EXPECT_EQ(link.Send(R::kAtaShortSelfTest).kind, Kind::kNotTried);
}

}  // namespace
}  // namespace orvan::storage

#include "service/modules/storage/drive/drive_link.h"

#include <gtest/gtest.h>

#include "service/modules/storage/drive/drive_test_support.h"

namespace orvan::storage {
namespace {

using R = DriveRequest;
using std::string_literals::operator""s;

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

// What makes a bridge be asked in the short form, too: it said no, or what came is no identity.
// Where nothing but the bridge says that there is an ATA drive.
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

// What says nothing about the bridge ends the opening as what it is.
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

#include <gtest/gtest.h>

#include "service/modules/storage/drive/drive_link.h"
#include "service/modules/storage/drive/drive_test_support.h"

// Drives behind what speaks for them.
namespace orvan::storage {
namespace {

using R = DriveRequest;

TEST(UsbBridgeTest, ABridgeIsAskedInTheLongFormFirst) {
  DriveBench bench(Transport::kUsb);
  bench.Script(Good(IdentityOfDrive()));
  DriveLink link = bench.Link();
  EXPECT_EQ(link.Protocol(), DriveProtocol::kAta);
  EXPECT_TRUE(link.WhyNotAta().empty());
  link.Send(R::kSmartData);
  EXPECT_EQ(FormsSent(bench), "long other ");
  EXPECT_FALSE(IsShortForm(bench.machine.sent.back()));
}

TEST(UsbBridgeTest, ABridgeThatKnowsTheShortFormAloneIsAskedInThat) {
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

TEST(UsbBridgeTest, AnIdentityIsTakenForItsChecksumOrForItsSerialNumber) {
  for (const RawBytes& identity : {OldIdentity(), WithoutSerial(IdentityOfDrive())}) {
    DriveBench bench(Transport::kUsb);
    bench.Script(Good(identity));
    EXPECT_EQ(bench.Link().Protocol(), DriveProtocol::kAta);
    EXPECT_EQ(FormsSent(bench), "long ");
  }
}

TEST(UsbBridgeTest, WhatPassesNeitherFormOnIsPlainScsi) {
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

TEST(UsbBridgeTest, AStickIsNotAskedWhetherItIsABridge) {
  for (const char* files : {"f /sys/x/removable 1\n", "", "e /sys/x/removable 5\n"}) {
    DriveBench bench(Transport::kUsb, files);
    bench.Script(Good(IdentityOfDrive()));
    const DriveLink link = bench.Link();
    EXPECT_EQ(link.Protocol(), DriveProtocol::kScsi);
    EXPECT_FALSE(link.WhyNotAta().empty());
    EXPECT_TRUE(bench.machine.sent.empty());
  }
}

TEST(UsbBridgeTest, ABridgeThatCannotSayNoIsNotAskedASecondTime) {
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

TEST(UsbBridgeTest, WhatEndsTheOpeningIsToldAsWhatItIs) {
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

TEST(UsbBridgeTest, HealthIsNotGuessedWithoutRegisters) {
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

}  // namespace
}  // namespace orvan::storage

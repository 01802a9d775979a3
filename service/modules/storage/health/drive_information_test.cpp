#include "service/modules/storage/health/drive_information.h"

#include <gtest/gtest.h>

#include <memory>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage {
namespace {

using std::string_literals::operator""s;

TEST(DriveInformationTest, TheKernelTellsWhatADiskIs) {
  DiskFacts facts;
  facts.model = "MODEL";
  facts.serial = "SN";
  facts.firmware = "FW";
  facts.sizeBytes = 256060514304;
  facts.transport = Transport::kSata;
  EXPECT_EQ(InformationOf(facts), (DriveInformation{{"Model", "MODEL"},
                                                    {"Serial number", "SN"},
                                                    {"Firmware", "FW"},
                                                    {"Size", "256.0 GB"},
                                                    {"Transport", "SATA"}}));
  EXPECT_EQ(InformationOf(DiskFacts()), (DriveInformation{{"Transport", "Unknown"}}));
}

TEST(DriveInformationTest, TheListingTellsOfDrivesThatSayLess) {
  DiskFacts facts;
  facts.features = {{"WORLD_WIDE_NAME", "eui.0025385b71b0a1b2"},
                    {"INTERFACE_SPEED", "8.0 GT/s x2"},
                    {"MAXIMUM_INTERFACE_SPEED", "16.0 GT/s x4"},
                    {"ROTATION_RATE", "10000 rpm"},
                    {"FORM_FACTOR", "2.5 inches"},
                    {"QUEUE_DEPTH", "254"},
                    {"TRIM", "Supported"}};
  EXPECT_EQ(ListedInformation(facts), (DriveInformation{{"World-wide name", "eui.0025385b71b0a1b2"},
                                                        {"Rotation", "10000 rpm"},
                                                        {"Form factor", "2.5 inches"},
                                                        {"Interface, now", "8.0 GT/s x2"},
                                                        {"Interface, at most", "16.0 GT/s x4"},
                                                        {"Queue depth", "254"}}));
  EXPECT_EQ(ListedInformation(DiskFacts()), DriveInformation());
}

TEST(DriveInformationTest, AnAtaDriveTellsWhatItCan) {
  const auto health = std::make_unique<AtaHealth>();
  ata::Identify& drive = health->identity;
  drive.worldWideName = 0x5000C500A1B2C3D4;
  drive.isRotating = true;
  drive.rotationsPerMinute = std::uint16_t{5400};
  drive.formFactor = "3.5 inches";
  drive.mostSpeed = std::uint16_t{60};
  drive.speedNow = std::uint16_t{30};
  drive.queueDepth = std::uint8_t{32};
  drive.security.isSupported = true;
  drive.hasSelfTests = true;
  EXPECT_EQ(InformationOf(*health), (DriveInformation{{"World-wide name", "0x5000c500a1b2c3d4"},
                                                      {"Rotation", "5400 rpm"},
                                                      {"Form factor", "3.5 inches"},
                                                      {"Interface", "6.0 Gb/s, now 3.0 Gb/s"},
                                                      {"Queue depth", "32"},
                                                      {"TRIM", "no"},
                                                      {"Security", "no password set"},
                                                      {"Self-tests", "yes"},
                                                      {"Error log", "no"}}));
}

TEST(DriveInformationTest, WhatAnAtaDriveLeavesOutIsNotShown) {
  EXPECT_EQ(InformationOf(AtaHealth()),
            (DriveInformation{
                {"TRIM", "no"}, {"Security", "none"}, {"Self-tests", "no"}, {"Error log", "no"}}));
  AtaHealth health;
  ata::Identify& drive = health.identity;
  drive.isRotating = false;
  drive.mostSpeed = std::uint16_t{15};
  const DriveInformation shown = InformationOf(health);
  EXPECT_EQ(shown.at(0).second, "solid state");
  EXPECT_EQ(shown.at(1).second, "1.5 Gb/s");
}

// IDENTIFY need not tell of them.
TEST(DriveInformationTest, SmartDataTellsOfSelfTestsAndErrorLogToo) {
  AtaHealth health;
  health.data.hasSelfTests = true;
  EXPECT_EQ(InformationOf(health).at(2), std::pair("Self-tests"s, "yes"s));
  EXPECT_EQ(InformationOf(health).at(3), std::pair("Error log"s, "no"s));
  health.data.hasErrorLog = true;
  EXPECT_EQ(InformationOf(health).at(3), std::pair("Error log"s, "yes"s));
}

TEST(DriveInformationTest, SecurityIsToldAsItIs) {
  const auto text = [](ata::Security security) {
    AtaHealth health;
    ata::Identify& drive = health.identity;
    drive.security = security;
    return InformationOf(health).at(1).second;
  };
  EXPECT_EQ(text({true, true, true, false, false}), "locked");
  EXPECT_EQ(text({true, true, true, false, true}), "locked, too many wrong passwords");
  EXPECT_EQ(text({true, true, false, true, false}), "password set, not locked, frozen");
  EXPECT_EQ(text({true, false, false, true, false}), "no password set, frozen");
}

TEST(DriveInformationTest, AnNvmeControllerTellsWhatItCan) {
  const auto controller = nvme::DecodeController(FromHexFile("nvme/identify_controller.hex"));
  ASSERT_TRUE(controller.value);
  EXPECT_EQ(InformationOf(*controller.value),
            (DriveInformation{{"NVMe version", "1.3"},
                              {"Total capacity", "1.0 TB"},
                              {"Warning temperature", "85 C (358 K)"},
                              {"Critical temperature", "86 C (359 K)"},
                              {"TRIM", "yes"},
                              {"Self-tests", "yes"},
                              {"Extended self-test", "35 minutes"}}));
}

TEST(DriveInformationTest, ACapacityBeyond64BitsIsInBytes) {
  nvme::Controller controller;
  controller.totalBytes = nvme::WideCount{1, 0};
  EXPECT_EQ(InformationOf(controller).at(0).second, "18446744073709551616 bytes");
}

TEST(DriveInformationTest, AScsiDriveTellsWhenItWasMade) {
  ScsiHealth health;
  EXPECT_TRUE(InformationOf(health).empty());
  health.starts.emplace();
  EXPECT_TRUE(InformationOf(health).empty());
  health.starts->yearMade = "2014";
  health.starts->weekMade = "34";
  EXPECT_EQ(InformationOf(health), (DriveInformation{{"Made in", "week 34 of 2014"}}));
}

}  // namespace
}  // namespace orvan::storage

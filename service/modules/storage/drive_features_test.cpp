#include "service/modules/storage/drive_features.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "service/modules/storage/ata/ata_test_support.h"
#include "service/modules/storage/scan_test_support.h"

namespace orvan::storage {
namespace {

using Rows = std::map<std::string, std::string>;

// A binary file as a line of a capture.
std::string BinaryLine(const std::string& path, Bytes head, Bytes rest) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string line = "f " + path + ' ';
  for (const Bytes part : {head, rest}) {
    for (const std::uint8_t byte : part) {
      line += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return line + '\n';
}

constexpr char kSata[] = "/sys/devices/pci0000:00/0000:00:1f.2/ata7/host6/target6:0:0/6:0:0:0";

// A whole disk of that name whose SCSI device has this folder.
std::string DiskAt(const std::string& device, const std::string& name = "sda") {
  const std::string block = device + "/block/" + name;
  return "l /sys/block/" + name + ' ' + block + "\nl " + block + "/device " + device + "\nf " +
         block + "/size 8\nf " + block + "/dev 8:0\n";
}

// A SATA drive at the first port of its controller.
std::string SataDisk() {
  return DiskAt(kSata) +
         "f /sys/devices/pci0000:00/0000:00:1f.2/ata7/ata_port/ata7/port_no 1\\x0a\n";
}

// The page 89h around IDENTIFY data.
std::string IdentifyFile(const std::string& device, Bytes identify, std::uint8_t page = 0x89) {
  std::array<std::uint8_t, 60> head{};
  head[1] = page;
  head[2] = 0x02;
  head[3] = 0x38;  // 568 bytes follow
  return BinaryLine(device + "/vpd_pg89", head, identify);
}

// A drive that rotates at 7200, of 3.5 inches, with 32 commands, 6.0 Gb/s of which 3.0 are used, no
// TRIM, and a password.
ata::Pages Identity() {
  ata::Pages pages;
  pages.PutWord(0, 0x0040).PutText(10, 10, "SN1").PutText(23, 4, "FW1").PutText(27, 20, "MODEL");
  pages.PutWord(217, 7200).PutWord(168, 2).PutWord(75, 31).PutWord(76, 0x010E).PutWord(77, 2 << 1);
  pages.PutWord(128, 0x0003);
  return pages;
}

// The rows beyond those that every disk has.
Rows FeaturesOf(const std::string& capture) {
  const Disks disks = ScanOf(capture);
  EXPECT_EQ(disks.size(), 1U);
  if (disks.size() != 1) return {};
  EXPECT_EQ(disks[0]->WhyUntestable(), std::nullopt);
  const DiskRows& rows = disks[0]->Facts().features;
  Rows shown = Entries(*disks[0]);
  for (const auto& [label, text] : rows) EXPECT_EQ(shown[label], text);
  return {rows.begin(), rows.end()};
}

TEST(DriveFeatures, OfASataDriveComeFromItsIdentifyDataWithoutACommand) {
  EXPECT_EQ(FeaturesOf(SataDisk() + IdentifyFile(kSata, Identity())),
            (Rows{{"INTERFACE_SPEED", "3.0 Gb/s"},
                  {"MAXIMUM_INTERFACE_SPEED", "6.0 Gb/s"},
                  {"ROTATION_RATE", "7200 rpm"},
                  {"FORM_FACTOR", "3.5 inches"},
                  {"QUEUE_DEPTH", "32"},
                  {"TRIM", "Not supported"},
                  {"SECURITY", "Password set, not locked"}}));
}

TEST(DriveFeatures, WhatAWrongPageSaysIsNoDrivesWord) {
  EXPECT_EQ(FeaturesOf(SataDisk() + IdentifyFile(kSata, Identity(), 0x80)), Rows());
  EXPECT_EQ(FeaturesOf(SataDisk() + IdentifyFile(kSata, Identity().Cut(511))), Rows());
  // A checksum that is wrong.
  EXPECT_EQ(FeaturesOf(SataDisk() + IdentifyFile(kSata, Identity().Put(510, {0xA5, 1}))), Rows());
}

TEST(DriveFeatures, TheSpeedOfTheLinkIsTheOneOfNow) {
  const auto speed = [](const std::string& line) {
    return FeaturesOf(SataDisk() + IdentifyFile(kSata, Identity()) + line)["INTERFACE_SPEED"];
  };
  const std::string port = "f /sys/devices/pci0000:00/0000:00:1f.2/ata7/";
  EXPECT_EQ(speed(port + "link7/ata_link/link7/sata_spd 1.5 Gbps\\x0a\n"), "1.5 Gb/s");
  EXPECT_EQ(speed(port + "link7/ata_link/link7/sata_spd <unknown>\\x0a\n"), "3.0 Gb/s");
  EXPECT_EQ(speed(port + "link8/ata_link/link8/sata_spd 1.5 Gbps\\x0a\n"), "3.0 Gb/s");
  // The link of the port goes to the multiplier, and that of channel 0 to the drive.
  EXPECT_EQ(speed(port + "link7/ata_link/link7/sata_spd 6.0 Gbps\\x0a\n" + port +
                  "link7.0/ata_link/link7.0/sata_spd 1.5 Gbps\\x0a\n"),
            "1.5 Gb/s");
}

TEST(DriveFeatures, TheKernelMayUseLessOfADriveThanItHas) {
  const std::string queue = "f " + std::string(kSata) + "/queue_depth ";
  const std::string discard = "f " + std::string(kSata) + "/block/sda/queue/discard_max_bytes ";
  const std::string disk = SataDisk() + IdentifyFile(kSata, Identity().PutWord(169, 1));
  EXPECT_EQ(FeaturesOf(disk + queue + "1\n")["QUEUE_DEPTH"], "1 of 32");
  EXPECT_EQ(FeaturesOf(disk + queue + "32\n")["QUEUE_DEPTH"], "32");
  EXPECT_EQ(FeaturesOf(disk)["TRIM"], "Supported");
  EXPECT_EQ(FeaturesOf(disk + discard + "2147450880\n")["TRIM"], "Supported");
  EXPECT_EQ(FeaturesOf(disk + discard + "0\n")["TRIM"], "Supported, but not used by the system");
}

TEST(DriveFeatures, ALockedDriveSaysSo) {
  const auto security = [](std::uint16_t word) {
    return FeaturesOf(SataDisk() + IdentifyFile(kSata, Identity().PutWord(128, word)))["SECURITY"];
  };
  EXPECT_EQ(security(0x0000), "Not supported");
  EXPECT_EQ(security(0x0001), "No password set");
  EXPECT_EQ(security(0x0009), "No password set, frozen");
  EXPECT_EQ(security(0x0007), "Locked");
  EXPECT_EQ(security(0x0017), "Locked, too many wrong passwords");
}

// Block device characteristics: 10000 rpm (2710h), 2.5 inches (3).
constexpr std::array<std::uint8_t, 4> kHead = {0x00, 0xB1, 0x00, 0x3C};

std::array<std::uint8_t, 60> Characteristics() {
  std::array<std::uint8_t, 60> body{};
  body[0] = 0x27;
  body[1] = 0x10;
  body[3] = 0x03;
  return body;
}

constexpr char kSas[] =
    "/sys/devices/pci0000:3a/0000:3a:00.0/host9/port-9:11/end_device-9:11/target9:0:1/9:0:1:0";

TEST(DriveFeatures, OfASasDriveComeFromItsPagesAndThePhysOfItsPort) {
  const std::string port = "/sys/devices/pci0000:3a/0000:3a:00.0/host9/port-9:11/";
  const std::string rate = "/negotiated_linkrate ";
  EXPECT_EQ(
      FeaturesOf(DiskAt(kSas) + "f " + kSas + "/wwid naa.5000c500a1b2c3d4\\x0a\n" + "f " + kSas +
                 "/queue_depth 254\nf " + kSas + "/block/sda/queue/discard_max_bytes 0\n" +
                 BinaryLine(std::string(kSas) + "/vpd_pgb1", kHead, Characteristics()) + "f " +
                 port + "phy-9:10/sas_phy/phy-9:10" + rate + "Unknown\\x0a\n" + "f " + port +
                 "phy-9:11/sas_phy/phy-9:11" + rate + "12.0 Gbit\\x0a\n"),
      (Rows{{"WORLD_WIDE_NAME", "naa.5000c500a1b2c3d4"},
            {"INTERFACE_SPEED", "12.0 Gb/s"},
            {"ROTATION_RATE", "10000 rpm"},
            {"FORM_FACTOR", "2.5 inches"},
            {"QUEUE_DEPTH", "254"},
            {"TRIM", "Not supported"}}));
}

TEST(DriveFeatures, WhatIdentifyDataDoesNotTellThePageTells) {
  const std::string page = BinaryLine(std::string(kSata) + "/vpd_pgb1", kHead, Characteristics());
  const std::string disk = SataDisk() + page;
  Rows rows = FeaturesOf(disk + IdentifyFile(kSata, Identity().PutWord(168, 0).PutWord(217, 0)));
  EXPECT_EQ(rows["ROTATION_RATE"], "10000 rpm");
  EXPECT_EQ(rows["FORM_FACTOR"], "2.5 inches");
  EXPECT_EQ(FeaturesOf(disk + IdentifyFile(kSata, Identity().PutWord(168, 0)))["ROTATION_RATE"],
            "7200 rpm");
}

TEST(DriveFeatures, OfAnNvmeDriveComeFromItsPciLinkAndItsController) {
  const std::string function = "/sys/devices/pci0000:00/0000:00:1d.0/0000:01:00.0";
  const std::string block = function + "/nvme/nvme0/nvme0n1";
  const std::string disk =
      "l /sys/block/nvme0n1 " + block + "\nf " + block + "/size 8\nf " + block + "/dev 259:0\nf " +
      block + "/nsid 1\nf " + block + "/wwid eui.0025385b71b0a1b2\\x0a\nf " + block +
      "/queue/discard_max_bytes 2199023255040\nf " + function + "/nvme/nvme0/sqsize 1023\n";
  const std::string link = "f " + function + '/';
  EXPECT_EQ(FeaturesOf(disk + link + "current_link_speed 8.0 GT/s PCIe\\x0a\n" + link +
                       "current_link_width 2\n" + link + "max_link_speed 16.0 GT/s PCIe\\x0a\n" +
                       link + "max_link_width 4\n"),
            (Rows{{"WORLD_WIDE_NAME", "eui.0025385b71b0a1b2"},
                  {"INTERFACE_SPEED", "8.0 GT/s x2"},
                  {"MAXIMUM_INTERFACE_SPEED", "16.0 GT/s x4"},
                  {"QUEUE_DEPTH", "1023"},
                  {"TRIM", "Supported"}}));
  // A link that is down, and a function that is on none.
  EXPECT_EQ(FeaturesOf(disk + link + "current_link_speed 2.5 GT/s PCIe\\x0a\n" + link +
                       "current_link_width 0\n")["INTERFACE_SPEED"],
            "2.5 GT/s");
  Rows unlinked = FeaturesOf(disk + link + "current_link_speed Unknown\\x0a\n" + link +
                             "current_link_width 0\n" + link + "max_link_speed Unknown\\x0a\n" +
                             link + "max_link_width 255\n");
  EXPECT_FALSE(unlinked.contains("INTERFACE_SPEED"));
  EXPECT_FALSE(unlinked.contains("MAXIMUM_INTERFACE_SPEED"));
}

TEST(DriveFeatures, OfAUsbDriveTheBusTellsTheSpeedAndNothingSaysThatItHasNoTrim) {
  const std::string hub = "/sys/devices/pci0000:00/0000:00:14.0/usb2";
  const std::string device = hub + "/2-4/2-4:1.0/host6/target6:0:0/6:0:0:0";
  const std::string disk = DiskAt(device) + "f " + hub + "/speed 10000\nf " + device +
                           "/block/sda/queue/discard_max_bytes 0\nf " + hub + "/2-4/speed ";
  EXPECT_EQ(FeaturesOf(disk + "5000\\x0a\n"), (Rows{{"INTERFACE_SPEED", "5.0 Gb/s"}}));
  EXPECT_EQ(FeaturesOf(disk + "480\\x0a\n"), (Rows{{"INTERFACE_SPEED", "480 Mb/s"}}));
  EXPECT_EQ(FeaturesOf(disk + "1.5\\x0a\n"), (Rows{{"INTERFACE_SPEED", "1.5 Mb/s"}}));
  EXPECT_EQ(FeaturesOf(disk + "fast\\x0a\n"), Rows());
}

TEST(DriveFeatures, ANameOfModelAndSerialNumberIsNoWorldWideOne) {
  const auto name = [](const std::string& wwid) {
    return FeaturesOf(DiskAt(kSas) + "f " + kSas + "/wwid " + wwid + "\n")["WORLD_WIDE_NAME"];
  };
  EXPECT_EQ(name("t10.ATA MODEL SN"), "");
  EXPECT_EQ(name("naa.3000c500a1b2c3d4"), "");
  EXPECT_EQ(name("naa.5000c500a1b2c3d4"), "naa.5000c500a1b2c3d4");
}

TEST(DriveFeatures, WhatCannotBeReadHasNoRowAndKeepsNobodyFromTesting) {
  const std::string block = std::string(kSata) + "/block/sda";
  EXPECT_EQ(FeaturesOf(SataDisk() + "e " + block + "/queue/discard_max_bytes 5\ne " + kSata +
                       "/queue_depth 5\ne " + kSata + "/vpd_pgb1 5\n"),
            Rows());
}

TEST(DriveFeatures, ALoopDeviceHasNone) {
  const std::string block = "/sys/devices/virtual/block/loop3";
  EXPECT_EQ(FeaturesOf("l /sys/block/loop3 " + block + "\nf " + block + "/size 8\nf " + block +
                       "/dev 7:3\nf " + block + "/loop/backing_file /srv/x\nf " + block +
                       "/queue/discard_max_bytes 4096\n"),
            Rows());
}

}  // namespace
}  // namespace orvan::storage

#include "service/recording/text_secrets.h"

#include <gtest/gtest.h>

#include <string>

namespace orvan::recording {
namespace {

// The text with each secret in brackets.
std::string Marked(std::string text, const Places& places) {
  for (auto place = places.rbegin(); place != places.rend(); ++place) {
    text.insert(place->at + place->size, "]");
    text.insert(place->at, "[");
  }
  return text;
}

std::string Unmarked(std::string text) {
  std::erase(text, '[');
  std::erase(text, ']');
  return text;
}

TEST(TextSecretsTest, AreFoundByHowTheyLook) {
  for (const std::string expected : {
           "[123e4567-e89b-12d3-a456-426614174000]",
           "UUID=[123E4567-E89B-12D3-A456-426614174000] /",
           "/dev/mapper/luks-[123e4567-e89b-12d3-a456-426614174000]",
           "LVM-[Jr0mZW-6LzB-fhC5-Aq3E-wuzP-0gKV-Xv1x2y]",
           "id [0123456789abcdef0123456789abcdef].",
           "link/ether [52:54:00:12:34:56] brd ff:ff:ff:ff:ff:ff",
           "[52-54-00-12-34-56]",
           "hid-[aa:bb:cc:dd:ee:f0]-battery",
           "[50:01:43:80:12:34:56:78]",
           "naa.[5000c500a1b2c3d4]",
           "wwn-0x[5000c500a1b2c3d4]-part1",
           "nvme-eui.[0025385b71b0a1e2]",
           "scsi-3[600508b1001c16be]",
           "nvme.1b36-[535f4e5f31]-51454d55-00000001",
           "t10.ATA     QEMU HARDDISK                           [QM00001]             ",
           "t10.VENDOR  [anything at all 123]",
           "../../disk/by-uuid/[1A2B-3C4D] x",
           "/dev/disk/by-id/ata-WDC_WD40EFRX-68N32N0_[WD-WCC7K0123456]-part1",
           "S:disk/by-id/nvme-Samsung_SSD_970_[S466NX0K123456]_1\nE:x",
           "disk/by-id/usb-SanDisk_Ultra_[4C530001230908112345]-0:0",
           "disk/by-id/virtio-[root-disk]",
           "E:ID_SERIAL_SHORT=[S466NX0K123456]\nE:ID_MODEL=Samsung_SSD",
           "E:ID_SERIAL=QEMU_HARDDISK_[QM00001]\n",
           "E:ID_WWN=0x[5000c500a1b2c3d4]\n",
           "E:ID_PART_ENTRY_UUID=[12345678-01]\n",
           "HID_UNIQ=[aa:bb:cc:dd:ee:f0]\nMODALIAS=hid:b0003",
           "root=PARTUUID=[12345678-02] ro quiet",
       }) {
    const std::string text = Unmarked(expected);
    EXPECT_EQ(Marked(text, SecretsIn(text)), expected);
  }
}

TEST(TextSecretsTest, AreNotSeenInWhatIsNone) {
  for (const std::string text : {
           "",
           "976773168\n",
           "../devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda",
           "0x00000000febf0000 0x00000000febf0fff 0x0000000000040200\n",
           "00:00:00:00:00:00",
           "12:34:56",
           "Samsung SSD 970 EVO 500GB",
           "PARTN=1\nDEVNAME=sda1\nDISKSEQ=9",
           "123e4567-e89b-12d3-a456-42661417400",
           "0123456789abcdef0123456789abcdef01",
           "123e4567-e89b-12d3-a456-426614174000x",
           "=",
           "UUID",
       }) {
    EXPECT_EQ(SecretsIn(text), Places()) << text;
  }
}

TEST(TextSecretsTest, AreWholeFilesWhereTheNameSaysSo) {
  const auto marked = [](const char* path, const std::string& content) {
    return Marked(content, SecretsInFile(path, content));
  };
  EXPECT_EQ(marked("/sys/block/vda/serial", " root disk \n"), " [root disk] \n");
  EXPECT_EQ(marked("/etc/hostname", "pc\n"), "[pc]\n");
  EXPECT_EQ(marked("/sys/block/sda/device/wwid", "naa.5000c500a1b2c3d4\n"),
            "naa.[5000c500a1b2c3d4]\n");
  EXPECT_EQ(marked("/sys/block/nvme0n1/wwid", "uuid.whatever\n"), "uuid.[whatever]\n");
  EXPECT_EQ(marked("/sys/class/sas_phy/a/sas_address", "0x5000c500a1b2c3d4\n"),
            "0x[5000c500a1b2c3d4]\n");
  EXPECT_EQ(marked("/sys/block/sda/size", "12345678\n"), "12345678\n");
  EXPECT_EQ(marked("/sys/block/vda/serial", "\n"), "\n");
}

TEST(TextSecretsTest, AreTheHostsOfMounts) {
  const std::string mounts =
      "36 35 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "37 35 0:50 / /mnt rw - nfs4 nas.example:/export rw,addr=10.0.0.1\n"
      "38 35 0:51 / /cifs rw - cifs //files/share rw\n";
  EXPECT_EQ(Marked(mounts, SecretsInFile("/proc/self/mountinfo", mounts)),
            "36 35 8:1 / / rw - ext4 /dev/sda1 rw\n"
            "37 35 0:50 / /mnt rw - nfs4 [nas.example]:/export rw,addr=10.0.0.1\n"
            "38 35 0:51 / /cifs rw - cifs //[files]/share rw\n");
}

TEST(TextSecretsTest, AreNamesBelowFoldersOfIds) {
  const auto marked = [](const char* folder, const std::string& name) {
    return Marked(name, SecretsInName(folder, name));
  };
  EXPECT_EQ(marked("/dev/disk/by-id", "ata-QEMU_HARDDISK_QM00001-part2"),
            "ata-QEMU_HARDDISK_[QM00001]-part2");
  EXPECT_EQ(marked("/dev/disk/by-uuid", "1A2B-3C4D"), "[1A2B-3C4D]");
  EXPECT_EQ(marked("/dev/disk/by-label", "root"), "root");
}

}  // namespace
}  // namespace orvan::recording

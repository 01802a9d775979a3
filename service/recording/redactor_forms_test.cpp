#include <gtest/gtest.h>

#include "service/recording/redactor.h"
#include "tests/support/captured_files.h"
#include "tests/support/recording_test_support.h"

namespace orvan::recording {
namespace {

using sdk::testing::CapturedFiles;

// A machine whose host has this name, as a redactor knows it that looked around.
std::unique_ptr<Redactor> RedactorOf(const std::string& host) {
  auto redactor = std::make_unique<Redactor>(KeyOf(1));
  redactor->LookAround(
      CapturedFiles("f /proc/sys/kernel/hostname " + host +
                    "\\x0a\n"
                    "f /sys/block/sda/device/vpd_pg80 \\x00\\x80\\x00\\x144C53 0001 12309876  \n"
                    "f /sys/block/vda/serial backup_disk_alpha7\\x0a\n"
                    "f /sys/class/net/eth0/address 00:1a:2b:3c:4d:5e\\x0a\n"
                    "f /sys/class/dmi/id/product_uuid 4c4c4544-0051-3510-8052-b4c04f564231\\x0a\n"
                    "f /sys/class/dmi/id/product_serial 7Q5RVB1X\\x0a\n"));
  return redactor;
}

struct Case {
  const char* path;  // of a file with this content; "": another text
  const char* text;
  const char* secret;  // what of it must not be shown
};

void ExpectHidden(Redactor& redactor, const Case& one) {
  const std::string path = one.path, text = one.text;
  const std::string shown =
      path.empty() ? redactor.Text(text) : redactor.FileContent(path, text).value_or("-");
  EXPECT_EQ(shown.find(one.secret), std::string::npos) << text << " -> " << shown;
  EXPECT_EQ(shown.size(), text.size()) << shown;
}

constexpr char kUdev[] = "/run/udev/data/b8:16";

TEST(RedactorFormsTest, KnownSecretsAreFoundInAnyForm) {
  const auto redactor = RedactorOf("office-pc");
  static constexpr Case kCases[] = {
      {kUdev, "E:ID_SERIAL=SanDisk_Ultra_4C53_0001_12309876\n", "4C53_0001"},
      {kUdev, "E:ID_SERIAL=SanDisk_Ultra_4C53_0001_12309876\n", "12309876"},
      {kUdev, "E:ID_SERIAL_ENC=4C53\\x200001\\x2012309876\n", "4C53"},
      {"", "usb 4c53-0001-12309876", "12309876"},
      {"", "USB adapter 001A2B3C4D5E", "001A2B3C4D5E"},
      {"", "enx001a2b3c4d5e", "001a2b3c4d5e"},
      {"", "00-1A-2B-3C-4D-5E", "1A-2B"},
      {"", "id=4C4C4544005135108052B4C04F564231x", "4C4C4544005135108052B4C04F564231"},
      {"", "7q5rvb1x", "7q5rvb1x"},
      {"", "7q5RvB1x", "7q5RvB1x"},
      {"", "Office-PC", "Office-PC"},
      {"/proc/self/mountinfo", "22 1 254:0 / / rw - ext4 /dev/mapper/office--pc--vg-root rw\n",
       "office--pc"},
  };
  for (const Case& one : kCases) ExpectHidden(*redactor, one);
  for (const char* name :
       {"virtio-backup_disk_alpha7", "usb-SanDisk_Ultra_4C53_0001_12309876-0:0"}) {
    const std::string shown = redactor->Names("/dev/disk/by-id", {name})[0];
    EXPECT_EQ(shown.find("backup"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("4C53"), std::string::npos) << shown;
    EXPECT_EQ(redactor->RevealedPath("/dev/disk/by-id/" + shown),
              std::string("/dev/disk/by-id/") + name);
  }
}

TEST(RedactorFormsTest, SecretsAreFoundByWhatTheyStandBeside) {
  const auto redactor = RedactorOf("office-pc");
  static constexpr Case kCases[] = {
      {kUdev, "E:ID_PATH=pci-0000:03:00.0-fc-0x50060e8005123456-lun-0\n", "50060e8005123456"},
      {"", "pci-0000:03:00.0-sas-exp0x500605b0000272bf-phy0-lun-0", "500605b0000272bf"},
      {"", "address 0x5000c500a1b2c3d4", "5000c500a1b2c3d4"},
      {"/proc/self/mounts", "filer42:/export /mnt nfs4 rw 0 0\n", "filer42"},
      {"/proc/self/mountinfo", "36 35 0:50 / /m rw - fuse https://cloud.acme.example/dav rw\n",
       "cloud.acme"},
      {"/proc/self/mountinfo", "36 35 0:50 / /m rw - ceph mon1.acme,mon2.acme:6789:/ rw\n",
       "mon1.acme"},
      {"/proc/self/mountinfo", "36 35 0:50 / /m rw - ceph mon1.acme,mon2.acme:6789:/ rw\n",
       "mon2.acme"},
      {"/proc/self/mountinfo", "36 35 0:50 / /m rw - fuse.sshfs me@shed.example:/a rw\n", "shed"},
      {"/proc/cmdline", "rd.md.uuid=1a2b3c4d:5e6f7a8b:9c0d1e2f:3a4b5c6d ro", "1a2b3c4d:5e6f7a8b"},
      {"/sys/class/power_supply/BAT0/uevent", "POWER_SUPPLY_SERIAL_NUMBER= LGC41506X\n",
       "LGC41506X"},
      {"/sys/x/uevent", "A=1\nHID_SERIAL=AB 12345678 Q\nB=2\n", "12345678"},
      {"/sys/firmware/devicetree/base/serial-number", "10000000abcdef01", "10000000abcdef01"},
      {"", "nqn.2019-08.com.vendor:nvme.SERIAL77 x", "SERIAL77"},
      {"", "nqn.2014-08.org.nvmexpress:uuid:aabbccdd-1122-3344-5566-77889900aabb", "aabbccdd-1122"},
      {"", "ip-10.0.0.1:3260-iscsi-iqn.2004-04.com.box:ts-459.target-lun-1", "ts-459"},
  };
  for (const Case& one : kCases) ExpectHidden(*redactor, one);
  const std::string link = "../../devices/pci/0000:03/sas-0x5000c500a1b2c3d4";
  EXPECT_EQ(redactor->LinkTarget(link).find("5000c500a1b2c3d4"), std::string::npos);
  EXPECT_EQ(redactor->RevealedPath(redactor->LinkTarget(link)), link);
  // Keys, addresses and what stands behind a value stay.
  EXPECT_EQ(redactor->FileContent("/sys/x/uevent", "HID_SERIAL=AB 12 Q\nDRIVER=hid\n")->substr(19),
            "DRIVER=hid\n");
  EXPECT_EQ(redactor->Text("UUID=1a2b3c4d-01 / ext4").substr(16), " / ext4");
}

TEST(RedactorFormsTest, NamesOfHostsAreFoundByTheirPlaceHoweverShort) {
  const Case kQualified{"", "volume group workshop7-vg", "workshop7"};
  ExpectHidden(*RedactorOf("workshop7.acme.example"), kQualified);
  const auto four = RedactorOf("nas1");
  ExpectHidden(*four, {"", "//nas1/share", "nas1"});
  EXPECT_EQ(four->Text("xnas1 nas12"), "xnas1 nas12");
  const auto two = RedactorOf("pc");
  for (const Case& one : {Case{"/proc/self/mountinfo",
                               "22 1 254:0 / / rw - ext4 /dev/mapper/pc--vg-root rw\n", "pc--vg"},
                          Case{kUdev, "E:DM_NAME=pc--vg-root\nE:DM_VG_NAME=pc-vg\n", "=pc"}}) {
    ExpectHidden(*two, one);
  }
  const std::string shown = two->Names("/dev/mapper", {"pc--vg-root"})[0];
  EXPECT_EQ(shown.find("pc"), std::string::npos) << shown;
  EXPECT_EQ(two->RevealedPath("/dev/mapper/" + shown), "/dev/mapper/pc--vg-root");
  EXPECT_EQ(two->Text("/dev/mapper/pcie"), "/dev/mapper/pcie");
  // A common word is one everywhere else.
  EXPECT_EQ(RedactorOf("root")->Text("/dev/root rw"), "/dev/root rw");
}

}  // namespace
}  // namespace orvan::recording

#include "service/modules/storage/disk_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "service/modules/storage/identity.h"
#include "service/modules/storage/scan_test_support.h"
#include "service/sdk/block_reader.h"

namespace orvan::storage {
namespace {

std::vector<std::string> KernelNames(const sdk::MachineFiles& files, bool includeLoop = false) {
  ListedProbe probe;
  std::vector<std::string> names;
  for (const auto& disk : ScanDisks(files, probe, includeLoop)) {
    EXPECT_EQ(disk->Id(), std::to_string(names.size()));
    names.push_back(disk->Facts().kernelName);
  }
  return names;
}

std::unique_ptr<Disk> Find(const std::string& capture, const std::string& name) {
  ListedProbe probe;
  for (auto& disk : ScanDisks(Capture(capture), probe, true)) {
    if (disk->Facts().kernelName == name) return std::move(disk);
  }
  ADD_FAILURE() << name << " was not found";
  return nullptr;
}

using Names = std::vector<std::string>;

TEST(DiskScan, TakesHardwareDisksInTheOrderOfTheirBusAddress) {
  // PCI 14.0 (USB) before 1d.0 (NVMe behind a bridge) before 1f.2 (SATA ports 1 and 2). No CD
  // drive, no loop, zram, dm, md or RAM disk.
  EXPECT_EQ(KernelNames(Capture("desktop")), (Names{"sdc", "nvme0n1", "sda", "sdb"}));
}

TEST(DiskScan, LoopDevicesWithABackingFileComeLastWhenAskedFor) {
  EXPECT_EQ(KernelNames(Capture("desktop"), true),
            (Names{"sdc", "nvme0n1", "sda", "sdb", "loop2", "loop10"}));
}

TEST(DiskScan, ComparesSlotsAndLunsAsNumbers) {
  // Slot 04.0 LUN 2, LUN 10, then slots 05.0 and 0a.0, whatever the kernel names.
  EXPECT_EQ(KernelNames(Capture("virtual_machine")), (Names{"sdb", "sda", "vdb", "vda"}));
}

TEST(DiskScan, AnIdStaysWithItsDiskWhenKernelNamesSwap) {
  ListedProbe probe;
  const auto first = ScanDisks(Capture("two_controllers_boot_1"), probe, false);
  const auto second = ScanDisks(Capture("two_controllers_boot_2"), probe, false);
  ASSERT_EQ(first.size(), 2U);
  ASSERT_EQ(second.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(first[i]->Facts().model, second[i]->Facts().model);
    EXPECT_NE(first[i]->Facts().kernelName, second[i]->Facts().kernelName);
    EXPECT_EQ(first[i]->UniqueId(), second[i]->UniqueId());
  }
  EXPECT_EQ(first[0]->Facts().model, "DISK LOW");
}

TEST(DiskScan, MultipathNvmeIsOneDiskPerNamespaceAtItsControllersPlace) {
  // PCI domain order: 3b:00.0 (SAS ports 2 and 11), 81:00.0 (namespaces 2 and 10), then the card.
  // Neither hidden paths, nor the card's boot area, nor the enclosure.
  EXPECT_EQ(KernelNames(Capture("server")),
            (Names{"sdr", "sdq", "nvme0n2", "nvme0n10", "mmcblk0"}));
}

TEST(DiskScan, BusPathsNameNoNumberThatFollowsTheOrderOfDetection) {
  EXPECT_EQ(Find("desktop", "sdb")->Facts().busPath, "pci-0000:00:1f.2/ata-2/scsi-0:0:0");
  EXPECT_EQ(Find("desktop", "nvme0n1")->Facts().busPath,
            "pci-0000:00:1d.0/pci-0000:01:00.0/namespace-1");
  EXPECT_EQ(Find("desktop", "sdc")->Facts().busPath,
            "pci-0000:00:14.0/usb3/port-4/port-4:1.0/scsi-0:0:0");
  EXPECT_EQ(Find("desktop", "loop2")->Facts().busPath, "loop2");
  EXPECT_EQ(Find("server", "nvme0n10")->Facts().busPath,
            "pci-0000:80:01.0/pci-0000:81:00.0/namespace-10");
  EXPECT_EQ(Find("server", "sdq")->Facts().busPath,
            "pci-0000:3a:00.0/pci-0000:3b:00.0/port-11/end_device-11/scsi-0:1:0");
  EXPECT_EQ(Find("virtual_machine", "vda")->Facts().busPath, "pci-0000:00:0a.0");
  EXPECT_EQ(Find("server", "mmcblk0")->Facts().busPath, "platform/soc/fe340000.mmc");
}

TEST(DiskScan, AUsbBusIsNamedByTheSpeedOfItsRootHub) {
  const auto path = [](const std::string& speed) {
    const std::string hub = "/sys/devices/pci0000:00/0000:00:14.0/usb7";
    const std::string disk = hub + "/7-4/7-4:1.0/host6/target6:0:0/6:0:0:0/block/sdc";
    const sdk::testing::CapturedFiles files("l /sys/block/sdc " + disk + "\nf " + disk +
                                            "/size 8\nf " + hub + "/speed " + speed + '\n');
    ListedProbe probe;
    return ScanDisks(files, probe, false).at(0)->Facts().busPath;
  };
  EXPECT_EQ(path("20000"), "pci-0000:00:14.0/usb3/port-4/port-4:1.0/scsi-0:0:0");
  EXPECT_EQ(path("480"), "pci-0000:00:14.0/usb2/port-4/port-4:1.0/scsi-0:0:0");
  EXPECT_EQ(path("12"), "pci-0000:00:14.0/usb1/port-4/port-4:1.0/scsi-0:0:0");
  EXPECT_EQ(path(""), "pci-0000:00:14.0/port-4/port-4:1.0/scsi-0:0:0");
}

TEST(DiskScan, AMachineWithoutDisksHasNone) {
  EXPECT_TRUE(KernelNames(sdk::testing::CapturedFiles("d /sys/block\n")).empty());
}

TEST(DiskInformation, OfASataDiskComesWholeFromItsIdentifyData) {
  const auto disk = Find("desktop", "sdb");
  EXPECT_EQ(disk->Information().name, "WDC WD10EZEX-08WN4A0 (sdb)");
  EXPECT_EQ(Entries(*disk), (std::map<std::string, std::string>{
                                {"MODEL", "WDC WD10EZEX-08WN4A0"},
                                {"SERIAL_NUMBER", "WD-WCC6Y0ABCDEF"},
                                {"FIRMWARE", "01.01A01"},
                                {"SIZE", "1000204886016 bytes (1.0 TB)"},
                                {"LOGICAL_SECTOR_SIZE", "512 bytes"},
                                {"PHYSICAL_SECTOR_SIZE", "4096 bytes"},
                                {"TRANSPORT", "SATA"},
                                {"MEDIA_TYPE", "Rotating"},
                                {"WORLD_WIDE_NAME", "naa.50014ee2b1234567"},
                                {"TRIM", "Not supported"},
                                {"SECURITY", "Not supported"},
                                {"KERNEL_NAME", "sdb"},
                                {"BUS_PATH", "pci-0000:00:1f.2/ata-2/scsi-0:0:0"}}));
  EXPECT_EQ(disk->Information().properties.at("NonRotatingMedia"), "F");
  EXPECT_EQ(disk->UniqueId(), "naa.50014ee2b1234567");
  EXPECT_EQ(disk->Facts().deviceNumber, sdk::DeviceNumber(8, 16));
}

TEST(DiskInformation, TheSequenceNumberIsKnownWhereTheKernelTellsIt) {
  EXPECT_EQ(Find("desktop", "sdb")->Facts().diskSequence, 2U);
  EXPECT_EQ(Find("desktop", "sda")->Facts().diskSequence, 0U);
}

TEST(DiskInformation, OfASataDiskWithoutThatPageComesFromTheInquiry) {
  const auto disk = Find("desktop", "sda");
  EXPECT_EQ(disk->Facts().model, "Samsung SSD 860");
  EXPECT_EQ(disk->Facts().firmware, "3B6Q");
  EXPECT_EQ(disk->Facts().serial, "S3Z9NB0K123456X");
  EXPECT_EQ(disk->UniqueId(), "Samsung SSD 860_S3Z9NB0K123456X");
  EXPECT_EQ(disk->Information().properties.at("NonRotatingMedia"), "T");
  EXPECT_EQ(Entries(*disk)["MEDIA_TYPE"], "Solid state");
}

TEST(DiskInformation, OfOtherTransports) {
  EXPECT_EQ(Find("desktop", "nvme0n1")->Information().name, "Samsung SSD 970 EVO 500GB (nvme0n1)");
  EXPECT_EQ(Find("desktop", "nvme0n1")->Facts().firmware, "2B2QEXE7");
  EXPECT_EQ(Find("desktop", "nvme0n1")->UniqueId(), "eui.0025385b71b0a1b2");
  EXPECT_EQ(Entries(*Find("desktop", "sdc"))["TRANSPORT"], "USB");
  EXPECT_EQ(Find("desktop", "sdc")->Facts().model, "Kingston DataTraveler 3.0");
  EXPECT_EQ(Find("desktop", "sdc")->Facts().serial, "60A44C4138E8E311D96A0F4D");
  EXPECT_EQ(Find("virtual_machine", "vda")->Information().name, "virtio disk (vda)");
  EXPECT_EQ(Find("virtual_machine", "vda")->UniqueId(), "root-disk");
  EXPECT_EQ(Find("virtual_machine", "sda")->Facts().logicalSectorBytes, 4096U);
  EXPECT_EQ(Entries(*Find("virtual_machine", "sda"))["TRANSPORT"], "SCSI");
  EXPECT_EQ(Entries(*Find("server", "sdq"))["TRANSPORT"], "SAS");
  EXPECT_EQ(Find("server", "sdq")->Facts().model, "SEAGATE ST4000NM0025");
  EXPECT_EQ(Find("server", "nvme0n2")->Facts().model, "DC P5510");
  EXPECT_EQ(Find("server", "mmcblk0")->Facts().model, "BJTD4R");
  EXPECT_EQ(Entries(*Find("server", "mmcblk0"))["TRANSPORT"], "MMC");
  EXPECT_EQ(Entries(*Find("desktop", "loop2"))["BACKING_FILE"], "/srv/two.img");
}

TEST(DiskInformation, DisksThatShareAnIdentityAreToldApartByTheirPath) {
  EXPECT_EQ(Find("virtual_machine", "sda")->UniqueId(),
            "QEMU QEMU HARDDISK_same@pci-0000:00:04.0/scsi-0:0:10");
  EXPECT_EQ(Find("virtual_machine", "vdb")->UniqueId(), "pci-0000:00:05.0");
}

TEST(DiskInformation, UniqueIdsOfAMachineAllDifferAndNameNoIndexOfTheKernels) {
  for (const char* capture : {"desktop", "server", "virtual_machine", "two_controllers_boot_1"}) {
    std::set<std::string> ids;
    ListedProbe probe;
    const auto disks = ScanDisks(Capture(capture), probe, true);
    for (const auto& disk : disks) {
      ids.insert(disk->UniqueId());
      EXPECT_FALSE(disk->UniqueId().empty()) << capture;
      EXPECT_EQ(disk->UniqueId().find(disk->Facts().kernelName), std::string::npos)
          << disk->UniqueId();
    }
    EXPECT_EQ(ids.size(), disks.size()) << capture;
  }
}

TEST(DiskInformation, TwoDisksWithTheSameBadSerialNumberDiffer) {
  const std::string hub = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-";
  std::string text = "f /sys/devices/pci0000:00/0000:00:14.0/usb1/speed 480\n";
  for (const auto& [name, port] : {std::pair{"sda", "3"}, std::pair{"sdb", "4"}}) {
    const std::string usb = hub + port;
    const std::string block = usb + "/1-" + port + ":1.0/host6/target6:0:0/6:0:0:0/block/" + name;
    text += "l /sys/block/" + std::string(name) + ' ' + block + "\nf " + block + "/size 8\nf " +
            usb + "/idVendor 0951\nf " + usb + "/serial 000000000000\nf " + usb +
            "/product Stick\n";
  }
  ListedProbe probe;
  const auto disks = ScanDisks(sdk::testing::CapturedFiles(text), probe, false);
  ASSERT_EQ(disks.size(), 2U);
  EXPECT_EQ(disks[0]->UniqueId(),
            "Stick_000000000000@pci-0000:00:14.0/usb2/port-3/port-3:1.0/scsi-0:0:0");
  EXPECT_EQ(disks[1]->UniqueId(),
            "Stick_000000000000@pci-0000:00:14.0/usb2/port-4/port-4:1.0/scsi-0:0:0");
}

TEST(DiskInformation, ALoopDeviceIsKnownByItsFile) {
  EXPECT_EQ(Find("desktop", "loop2")->UniqueId(), "file:/srv/two.img");
}

TEST(DiskInformation, SizesAreCutToOneDigit) {
  const auto size = [](std::uint64_t bytes) {
    DiskFacts facts;
    facts.sizeBytes = bytes;
    return Entries(Disk("0", facts, true))["SIZE"];
  };
  EXPECT_EQ(size(0), "0 bytes");
  EXPECT_EQ(size(999), "999 bytes");
  EXPECT_EQ(size(1000), "1000 bytes (1.0 kB)");
  EXPECT_EQ(size(999999), "999999 bytes (999.9 kB)");
  EXPECT_EQ(size(1000000), "1000000 bytes (1.0 MB)");
  EXPECT_EQ(size(18446744073709551615ULL), "18446744073709551615 bytes (18446.7 PB)");
}

// A listing takes a value that begins with "_" for a key, and would show this as "my |disk".
TEST(DiskInformation, ATextOfTheDiskThatLooksLikeAKeyKeepsAllItsCharacters) {
  DiskFacts facts;
  facts.model = facts.serial = facts.firmware = facts.backingFile = "_MY_|Disk";
  facts.kernelName = "sd_a";
  Partition part;
  part.label = "_ROOT";
  part.fileSystem = "ext4";
  part.mountPoint = "/_mnt";
  const Disk disk("0", facts, true,
                  [part](ContentLook, std::stop_token) { return std::vector{part}; });
  std::map<std::string, std::string> entries = Entries(disk);
  for (const char* label : {"MODEL", "SERIAL_NUMBER", "FIRMWARE", "BACKING_FILE"}) {
    EXPECT_EQ(entries[label], " _MY_|Disk") << label;
  }
  EXPECT_EQ(entries["KERNEL_NAME"], "sd_a");
  const auto pairs = disk.Resources({}).at(0).pairs;
  const std::map<std::string, std::string> partition(pairs.begin(), pairs.end());
  EXPECT_EQ(partition.at("LABEL"), " _ROOT");
  EXPECT_EQ(partition.at("FILE_SYSTEM"), "ext4");
  EXPECT_EQ(partition.at("MOUNT_POINT"), "/_mnt");
  EXPECT_EQ(disk.UniqueId(), "file:_MY_|Disk");
}

TEST(Trimmed, CutsBlanksLineEndsAndZeroBytesAtTheEndsOnly) {
  EXPECT_EQ(Trimmed(std::string(" \t my disk\r\n\0", 13)), "my disk");
  EXPECT_EQ(Trimmed(" \t"), "");
  EXPECT_EQ(Trimmed("evil\x1b[2J\xc2\x9b"), "evil\x1b[2J\xc2\x9b");
}

}  // namespace
}  // namespace orvan::storage

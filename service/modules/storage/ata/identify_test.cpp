#include "service/modules/storage/ata/identify.h"

#include <gtest/gtest.h>

#include "service/modules/storage/ata/ata_test_support.h"
#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::ata {
namespace {

// A disk of 4,000,787,030,016 bytes, filled in after the table of IDENTIFY DEVICE data.
Pages RotatingDisk() {
  Pages page;
  page.PutWord(0, 0x0040)
      .PutText(10, 10, "  TVX-00012345")
      .PutText(23, 4, "A1.0")
      .PutText(27, 20, "TARVEX DISK 4000")
      .PutWord(60, 0xFFFF)
      .PutWord(61, 0x0FFF)  // as much as 28 bits can say
      .PutWord(69, 0x0000)
      .PutWord(75, 0x001F)  // 32 commands
      .PutWord(76, 0x010E)  // queuing, 1.5, 3.0 and 6.0 Gb/s
      .PutWord(77, 0x0004)  // 3.0 Gb/s now
      .PutWord(82, 0x0001)
      .PutWord(83, 0x4400)
      .PutWord(84, 0x4123)
      .PutWord(85, 0x0001)
      .PutWord(87, 0x4123)
      .PutWord(100, 0xBEB0)
      .PutWord(101, 0xD1C0)
      .PutWord(102, 0x0001)
      .PutWord(106, 0x6003)  // 8 logical sectors in a physical one
      .PutWord(108, 0x5000)
      .PutWord(109, 0xC500)
      .PutWord(110, 0x1234)
      .PutWord(111, 0xABCD)
      .PutWord(128, 0x0021)
      .PutWord(168, 0x0002)
      .PutWord(209, 0x4001)
      .PutWord(217, 5425)
      .Put(510, {0xA5});
  return page.Seal();
}

Identify Read(const Pages& page) {
  const Decoded<Identify> decoded = DecodeIdentify(page);
  EXPECT_EQ(decoded.trouble, "");
  return decoded.value.value_or(Identify{});
}

TEST(AtaIdentifyTest, ReadsARotatingDisk) {
  const Identify disk = Read(RotatingDisk());
  EXPECT_EQ(disk.serial, "TVX-00012345");
  EXPECT_EQ(disk.firmware, "A1.0");
  EXPECT_EQ(disk.model, "TARVEX DISK 4000");
  EXPECT_EQ(disk.worldWideName, 0x5000C5001234ABCDU);
  EXPECT_EQ(disk.sectors, 0x1D1C0BEB0U);
  EXPECT_TRUE(disk.has48BitCommands);
  EXPECT_EQ(disk.logicalSectorBytes, 512U);
  EXPECT_EQ(disk.physicalSectorBytes, 4096U);
  EXPECT_EQ(disk.alignment, 1);
  EXPECT_EQ(disk.isRotating, true);
  EXPECT_EQ(disk.rotationsPerMinute, 5425);
  EXPECT_EQ(disk.formFactor, "3.5 inches");
  EXPECT_EQ(disk.queueDepth, 32);
  EXPECT_FALSE(disk.hasTrim);
  EXPECT_EQ(disk.mostSpeed, 60);
  EXPECT_EQ(disk.speedNow, 30);
  EXPECT_TRUE(disk.hasSmart && disk.isSmartEnabled);
  EXPECT_TRUE(disk.hasErrorLog && disk.hasSelfTests && disk.hasLogs);
  EXPECT_TRUE(disk.security.isSupported);
  EXPECT_FALSE(disk.security.isEnabled || disk.security.isLocked || disk.security.isFrozen);
  EXPECT_TRUE(disk.isChecked);
}

TEST(AtaIdentifyTest, ReadsASolidStateDriveOf4096ByteSectorsThatIsLocked) {
  Pages page = RotatingDisk();
  page.PutWord(69, 0x4028)  // zeros after TRIM, and sectors in 64 bits
      .PutWord(106, 0x5000)
      .PutWord(117, 0x0800)
      .PutWord(118, 0)
      .PutWord(128, 0x0007)
      .PutWord(168, 0x0007)
      .PutWord(169, 0x0001)
      .PutWord(217, 1)
      .PutWord(230, 0x5678)
      .PutWord(231, 0x1234)
      .Seal();
  const Identify drive = Read(page);
  EXPECT_EQ(drive.sectors, 0x12345678U);
  EXPECT_EQ(drive.logicalSectorBytes, 4096U);
  EXPECT_EQ(drive.physicalSectorBytes, 4096U);
  EXPECT_EQ(drive.isRotating, false);
  EXPECT_EQ(drive.rotationsPerMinute, std::nullopt);
  EXPECT_EQ(drive.formFactor, "M.2");
  EXPECT_TRUE(drive.hasTrim && drive.readsZerosAfterTrim);
  EXPECT_TRUE(drive.security.isEnabled && drive.security.isLocked);
  EXPECT_FALSE(drive.security.isFrozen);
}

TEST(AtaIdentifyTest, ReadsTheEmulatorsDrive) {
  const Decoded<Identify> decoded = DecodeIdentify(FromHexFile("ata/emulator_identify.hex"));
  ASSERT_TRUE(decoded.value);
  EXPECT_EQ(decoded.trouble, "");
  EXPECT_EQ(decoded.value->serial, "ahci");
  EXPECT_EQ(decoded.value->firmware, "2.5+");
  EXPECT_EQ(decoded.value->model, "QEMU HARDDISK");
  EXPECT_EQ(decoded.value->worldWideName, std::nullopt);
  EXPECT_EQ(decoded.value->sectors, 16384U);
  EXPECT_EQ(decoded.value->physicalSectorBytes, 4096U);
  EXPECT_EQ(decoded.value->isRotating, std::nullopt);
  EXPECT_EQ(decoded.value->mostSpeed, std::nullopt);
  EXPECT_EQ(decoded.value->formFactor, std::nullopt);
  EXPECT_TRUE(decoded.value->isSmartEnabled);
  EXPECT_FALSE(decoded.value->hasLogs);
  EXPECT_FALSE(decoded.value->security.isSupported);
  EXPECT_FALSE(decoded.value->isChecked);
}

TEST(AtaIdentifyTest, TakesNothingFromWordsThatHoldNoData) {
  // What some drives leave in words that they do not know.
  for (const std::uint16_t unset : {std::uint16_t{0x0000}, std::uint16_t{0xFFFF}}) {
    Pages page = RotatingDisk();
    for (const std::size_t word :
         {69U, 76U, 77U, 83U, 84U, 87U, 106U, 128U, 168U, 169U, 209U, 217U}) {
      page.PutWord(word, unset);
    }
    const Identify disk = Read(page.Seal());
    EXPECT_FALSE(disk.hasSmart || disk.isSmartEnabled || disk.has48BitCommands);
    EXPECT_FALSE(disk.hasErrorLog || disk.hasSelfTests || disk.hasLogs || disk.hasTrim);
    EXPECT_EQ(disk.sectors, 0x0FFFFFFFU);
    EXPECT_EQ(disk.worldWideName, std::nullopt);
    EXPECT_EQ(disk.mostSpeed, std::nullopt);
    EXPECT_EQ(disk.speedNow, std::nullopt);
    EXPECT_EQ(disk.queueDepth, std::nullopt);
    EXPECT_EQ(disk.formFactor, std::nullopt);
    EXPECT_EQ(disk.isRotating, std::nullopt);
    EXPECT_EQ(disk.alignment, std::nullopt);
    EXPECT_EQ(disk.physicalSectorBytes, 512U);
    EXPECT_FALSE(disk.security.isSupported);
  }
}

TEST(AtaIdentifyTest, TakesNoValueThatTheStandardDoesNotHave) {
  Pages page = RotatingDisk();
  page.PutWord(77, 0x000E)  // generation 7
      .PutWord(106, 0x5000)
      .PutWord(117, 0x0010)  // sectors of 32 bytes
      .PutWord(118, 0)
      .PutWord(168, 0x000A)
      .PutWord(217, 0x0400)
      .Seal();
  const Identify disk = Read(page);
  EXPECT_EQ(disk.speedNow, std::nullopt);
  EXPECT_EQ(disk.mostSpeed, 60);
  EXPECT_EQ(disk.logicalSectorBytes, 512U);
  EXPECT_EQ(disk.formFactor, std::nullopt);
  EXPECT_EQ(disk.isRotating, std::nullopt);
}

TEST(AtaIdentifyTest, SaysThatAnAnswerIsIncomplete) {
  const Decoded<Identify> decoded = DecodeIdentify(RotatingDisk().PutWord(0, 0x0044).Seal());
  EXPECT_TRUE(decoded.value);
  EXPECT_EQ(decoded.trouble, "the drive says its IDENTIFY data is incomplete");
}

TEST(AtaIdentifyTest, DistrustsWhatIsNoDisksAnswer) {
  const auto trouble = [](const Pages& page) {
    const Decoded<Identify> decoded = DecodeIdentify(page);
    EXPECT_FALSE(decoded.value);
    return decoded.trouble;
  };
  EXPECT_EQ(trouble(RotatingDisk().Cut(511)), "the answer has 511 of 512 bytes");
  EXPECT_EQ(trouble(Pages(0)), "the answer has 0 of 512 bytes");
  EXPECT_EQ(trouble(Pages()), "the answer is nothing but zeros");
  EXPECT_EQ(trouble(RotatingDisk().PutWord(77, 2)), "the checksum of the IDENTIFY data is wrong");
  EXPECT_EQ(trouble(RotatingDisk().PutWord(0, 0x8580).Seal()),
            "the IDENTIFY data is not that of an ATA disk");
  Pages ones;
  for (std::size_t word = 0; word < 256; ++word) ones.PutWord(word, 0xFFFF);
  EXPECT_EQ(trouble(ones), "the answer is nothing but ones");
}

TEST(AtaIdentifyTest, WritesSpeedsAsTheyAreSpoken) {
  EXPECT_EQ(SpeedText(15), "1.5 Gb/s");
  EXPECT_EQ(SpeedText(60), "6.0 Gb/s");
}

}  // namespace
}  // namespace orvan::storage::ata

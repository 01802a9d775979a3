#include "service/modules/storage/scsi/vital_pages.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

TEST(VitalPages, AreListedInAscendingOrder) {
  const auto found = DecodeSupportedVitalPages(FromHex("00 00 00 05 00 80 83 B0 B1"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(*found.value, (std::vector<std::uint8_t>{0x00, 0x80, 0x83, 0xB0, 0xB1}));
  EXPECT_EQ(found.trouble, "");
}

// A bridge without vital data answers its standard data: byte 1 is 00h as this page's number is,
// and version and format pass for a length, here 0002h and 0602h.
TEST(VitalPages, AreNotListedByStandardData) {
  const auto oldOne =
      DecodeSupportedVitalPages(FromHex("00 00 00 02 1F 00 00 00 'JMicron ' 20*20"));
  EXPECT_FALSE(oldOne.value);
  EXPECT_EQ(oldOne.trouble, "the list of pages is none: not in ascending order from 00h on");
  const auto newOne =
      DecodeSupportedVitalPages(FromHex("00 00 06 02 1F 00 00 00 'JMicron ' 20*20"));
  EXPECT_FALSE(newOne.value);
  EXPECT_EQ(newOne.trouble, "the answer has 36 of 1542 bytes");
}

TEST(VitalPages, AreNoListWhenAPageComesTwiceOrNoneDoes) {
  EXPECT_FALSE(DecodeSupportedVitalPages(FromHex("00 00 00 03 00 80 80")).value);
  EXPECT_FALSE(DecodeSupportedVitalPages(FromHex("00 00 00 02 80 83")).value);
  EXPECT_FALSE(DecodeSupportedVitalPages(FromHex("00 00 00 00")).value);
}

TEST(VitalPages, MustBeThoseThatWereAskedFor) {
  EXPECT_EQ(DecodeUnitSerial(FromHex("00 83 00 04 'ABCD'")).trouble,
            "the page is 83h, 80h was asked for");
  EXPECT_EQ(DecodeBlockLimits(FromHex("00 B1 00 3C 00*60")).trouble,
            "the page is B1h, B0h was asked for");
  EXPECT_EQ(DecodeProvisioning(FromHex("00 B2")).trouble, "the answer has 2 of 4 bytes");
}

TEST(UnitSerial, IsATextWithoutBlanksAtItsEnds) {
  const auto found = DecodeUnitSerial(FromHex("00 80 00 08 '  Z1Z5D '"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(*found.value, "Z1Z5D");
  EXPECT_EQ(*DecodeUnitSerial(FromHex("00 80 00 04 '    '")).value, "");
  EXPECT_EQ(*DecodeUnitSerial(FromHex("00 80 00 00")).value, "");
}

TEST(UnitSerial, IsNotTakenFromAPageThatWasCut) {
  const auto found = DecodeUnitSerial(FromHex("00 80 00 14 'Z1Z5D'"));
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.trouble, "the answer has 9 of 24 bytes");
}

// Standard data of a stick: 80h says that it is removable, and 0002h passes for a length.
TEST(UnitSerial, IsNotTakenFromStandardData) {
  const auto found = DecodeUnitSerial(FromHex("00 80 00 02 1F 00 00 00 'Generic ' 20*20"));
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.trouble, "the serial number is no text");
}

TEST(BlockLimits, AreNoneWhereNothingIsTold) {
  const auto found =
      DecodeBlockLimits(FromHex("00 B0 00 3C 00 00 00 08 00 00 FF FF 00 00 04 00 00 00 00 00 "
                                "00 3F FF C0 00 00 00 01 00 00 00 10 80 00 00 00 00*28"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->transferGranularity, 8);
  EXPECT_EQ(found.value->mostTransfer, 65535U);
  EXPECT_EQ(found.value->bestTransfer, 1024U);
  EXPECT_EQ(found.value->mostUnmapped, 4194240U);
  EXPECT_EQ(found.value->mostUnmapRanges, 1U);
  EXPECT_EQ(found.value->unmapGranularity, 16U);
  EXPECT_EQ(found.value->unmapAlignment, 0U);
  const auto silent = DecodeBlockLimits(FromHex("00 B0 00 3C 00*60"));
  ASSERT_TRUE(silent.value);
  EXPECT_FALSE(silent.value->mostTransfer);
  EXPECT_FALSE(silent.value->unmapAlignment);
}

TEST(BlockLimits, OfAnAtaDriveBehindATranslation) {
  const auto found = DecodeBlockLimits(FromHexFile("scsi/lab_vital_b0_libata.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->transferGranularity, 1);
  EXPECT_EQ(found.value->unmapGranularity, 1U);
  EXPECT_FALSE(found.value->mostTransfer);
  EXPECT_FALSE(found.value->mostUnmapped);
}

TEST(BlockLimits, OfAnOlderAndShorterPageEndWhereItEnds) {
  const auto found = DecodeBlockLimits(FromHex("00 B0 00 0C 00 00 00 01 00 00 10 00 00 00 00 40"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->bestTransfer, 64U);
  EXPECT_FALSE(found.value->mostUnmapped);
}

// What stands behind the end that a page tells is none of it.
TEST(BlockLimits, DoNotReadPastTheLengthOfThePage) {
  const auto found =
      DecodeBlockLimits(FromHex("00 B0 00 0C 00 00 00 01 00 00 10 00 00 00 00 40 FF*48"));
  ASSERT_TRUE(found.value);
  EXPECT_FALSE(found.value->mostUnmapped);
  EXPECT_FALSE(found.value->unmapAlignment);
}

TEST(BlockCharacteristics, TellRotationFormAndZones) {
  const auto disk = DecodeBlockCharacteristics(FromHex("00 B1 00 3C 1C 20 00 02 10 00*55"));
  ASSERT_TRUE(disk.value);
  EXPECT_FALSE(disk.value->isSolidState);
  EXPECT_EQ(disk.value->rotationsPerMinute, 7200);
  EXPECT_EQ(disk.value->formFactor, FormFactor::k3Inch5);
  EXPECT_TRUE(disk.value->isHostAware);
  EXPECT_FALSE(disk.value->isDeviceManaged);
  const auto flash = DecodeBlockCharacteristics(FromHex("00 B1 00 3C 00 01 00 F5 20 00*55"));
  ASSERT_TRUE(flash.value);
  EXPECT_TRUE(flash.value->isSolidState);
  EXPECT_FALSE(flash.value->rotationsPerMinute);
  EXPECT_EQ(flash.value->formFactor, FormFactor::kLess);
  EXPECT_TRUE(flash.value->isDeviceManaged);
}

// 0000h is not reported; 0002h to 0400h, FFFFh and the forms from 6h on are reserved.
TEST(BlockCharacteristics, TakeNoReservedValue) {
  for (const char* rate : {"00 00", "00 02", "04 00", "FF FF"}) {
    const auto found =
        DecodeBlockCharacteristics(FromHex(std::string("00 B1 00 3C ") + rate + " 00 06 00*56"));
    ASSERT_TRUE(found.value);
    EXPECT_FALSE(found.value->isSolidState) << rate;
    EXPECT_FALSE(found.value->rotationsPerMinute) << rate;
    EXPECT_FALSE(found.value->formFactor) << rate;
  }
}

TEST(BlockCharacteristics, NeedAPageThatReachesThem) {
  EXPECT_EQ(DecodeBlockCharacteristics(FromHex("00 B1 00 00")).trouble,
            "the page B1h has 4 bytes, 8 are the least");
  EXPECT_EQ(DecodeBlockCharacteristics(FromHex("00 B1 00 3C 1C 20")).trouble,
            "the answer has 6 of 64 bytes");
  const auto cut = DecodeBlockCharacteristics(FromHex("00 B1 00 3C 1C 20 00 02"));
  ASSERT_TRUE(cut.value);
  EXPECT_EQ(cut.value->rotationsPerMinute, 7200);
  EXPECT_EQ(cut.trouble, "the answer has 8 of 64 bytes");
}

TEST(BlockProvisioning, TellsHowBlocksAreGivenBack) {
  const auto thin = DecodeProvisioning(FromHex("00 B2 00 04 00 E4 02 00"));
  ASSERT_TRUE(thin.value);
  EXPECT_TRUE(thin.value->hasUnmap);
  EXPECT_TRUE(thin.value->hasWriteSame16);
  EXPECT_TRUE(thin.value->hasWriteSame10);
  EXPECT_TRUE(thin.value->readsZeros);
  EXPECT_EQ(thin.value->type, Provisioning::kThin);
  const auto full = DecodeProvisioning(FromHex("00 B2 00 04 00 08 00 00"));
  ASSERT_TRUE(full.value);
  EXPECT_FALSE(full.value->hasUnmap);
  EXPECT_FALSE(full.value->readsZeros);
  EXPECT_EQ(full.value->type, Provisioning::kFull);
  EXPECT_FALSE(DecodeProvisioning(FromHex("00 B2 00 04 00 00 07 00")).value->type);
  EXPECT_EQ(DecodeProvisioning(FromHex("00 B2 00 03 00 E4 02")).trouble,
            "the page B2h has 7 bytes, 8 are the least");
}

}  // namespace
}  // namespace orvan::storage::scsi

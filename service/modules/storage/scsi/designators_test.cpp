#include "service/modules/storage/scsi/designators.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

using Type = Designator::Type;
using Of = Designator::Of;

std::string NameIn(const std::string& hex) {
  const auto found = DecodeDesignators(FromHex(hex));
  return found.value ? WorldWideName(*found.value) : "none: " + found.trouble;
}

TEST(Designators, AreThoseOfTheDiskAndItsPorts) {
  const auto found = DecodeDesignators(FromHexFile("scsi/vital_83_sas_disk.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  ASSERT_EQ(found.value->size(), 5U);
  EXPECT_EQ((*found.value)[0].type, Type::kNaa);
  EXPECT_EQ((*found.value)[0].of, Of::kLogicalUnit);
  EXPECT_FALSE((*found.value)[0].isText);
  EXPECT_EQ((*found.value)[0].value, FromHex("50 00 C5 00 62 49 B6 13"));
  EXPECT_EQ((*found.value)[1].of, Of::kTargetPort);
  EXPECT_EQ((*found.value)[3].of, Of::kTargetDevice);
  EXPECT_EQ((*found.value)[4].type, Type::kName);
  EXPECT_TRUE((*found.value)[4].isText);
  EXPECT_EQ(WorldWideName(*found.value), "naa.5000c5006249b613");
}

TEST(Designators, OfAnAtaDriveWithoutAWorldwideNameAreTexts) {
  const auto found = DecodeDesignators(FromHexFile("scsi/lab_vital_83_libata.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  ASSERT_EQ(found.value->size(), 2U);
  EXPECT_EQ((*found.value)[0].type, Type::kVendor);
  EXPECT_EQ((*found.value)[1].type, Type::kT10Vendor);
  EXPECT_TRUE((*found.value)[1].isText);
  EXPECT_EQ((*found.value)[1].value.size(), 68U);
  EXPECT_EQ(WorldWideName(*found.value), "");
}

TEST(Designators, OfTheKernelsOwnDriveNameTheDiskAndNotItsPorts) {
  const auto found = DecodeDesignators(FromHexFile("scsi/lab_vital_83_scsi_debug.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->size(), 7U);
  EXPECT_EQ(WorldWideName(*found.value), "naa.3333333000007530");
}

TEST(Designators, OfLengthNothingGoOn) {
  const auto found = DecodeDesignators(FromHex("00 83 00 0C 01 03 00 00 01 03 00 00 01 03 00 00"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->size(), 3U);
  EXPECT_EQ(WorldWideName(*found.value), "");
}

TEST(Designators, ThatReachPastTheirPageAreNotTrusted) {
  const auto found =
      DecodeDesignators(FromHex("00 83 00 10 01 03 00 08 50 00 C5 00 62 49 B6 13 02 01 00 40"));
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.trouble, "the name at byte 16 reaches past the end of the page");
  EXPECT_EQ(DecodeDesignators(FromHex("00 83 00 02 01 03")).trouble,
            "the name at byte 4 reaches past the end of the page");
}

TEST(Designators, OfAPageThatWasCutAreThoseThatCameWhole) {
  auto answer = FromHexFile("scsi/vital_83_sas_disk.hex");
  answer.resize(30);
  const auto found = DecodeDesignators(answer);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->size(), 2U);
  EXPECT_EQ(found.trouble, "the answer has 30 of 76 bytes");
}

TEST(WorldWideName, IsTheLongestOfTheBestKind) {
  EXPECT_EQ(NameIn("00 83 00 20 01 03 00 08 50 00 00 00 00 00 00 01 "
                   "01 03 00 10 60 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02"),
            "naa.60000000000000000000000000000002");
  EXPECT_EQ(NameIn("00 83 00 18 01 02 00 08 00 25 38 5B 71 B0 CA FE "
                   "01 03 00 08 30 00 00 00 00 00 00 01"),
            "naa.3000000000000001");
  EXPECT_EQ(NameIn("00 83 00 0C 01 02 00 08 00 25 38 5B 71 B0 CA FE"), "eui.0025385b71b0cafe");
  EXPECT_EQ(NameIn("00 83 00 10 01 02 00 0C 00 25 38 5B 71 B0 CA FE 01 02 03 04"),
            "eui.0025385b71b0cafe01020304");
  EXPECT_EQ(NameIn("00 83 00 18 03 08 00 14 'naa.5000C5006249B613'"), "naa.5000c5006249b613");
}

// A number of the wrong length, one that is written as a text, a name of a port, a name with
// something else in it and one that stands for none.
TEST(WorldWideName, IsNoneThatIsIllFormed) {
  EXPECT_EQ(NameIn("00 83 00 08 01 03 00 04 50 00 C5 00"), "");
  EXPECT_EQ(NameIn("00 83 00 0C 01 03 00 08 60 00 C5 00 62 49 B6 13"), "");
  EXPECT_EQ(NameIn("00 83 00 0C 01 03 00 08 00 00 00 00 00 00 00 00"), "");
  EXPECT_EQ(NameIn("00 83 00 0C 02 03 00 08 50 00 C5 00 62 49 B6 13"), "");
  EXPECT_EQ(NameIn("00 83 00 0C 01 13 00 08 50 00 C5 00 62 49 B6 13"), "");
  EXPECT_EQ(NameIn("00 83 00 0C 03 08 00 08 'naa.5x00'"), "");
  EXPECT_EQ(NameIn("00 83 00 08 03 08 00 04 'eui.'"), "");
  EXPECT_EQ(NameIn("00 83 00 0C 01 02 00 08 00*8"), "");
  EXPECT_EQ(NameIn("00 83 00 0C 01 02 00 08 FF*8"), "");
}

}  // namespace
}  // namespace orvan::storage::scsi

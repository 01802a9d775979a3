#include "service/modules/storage/scsi/condition_pages.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

constexpr char kNothingTells[] = "the page has no parameter that tells it";

TEST(TemperaturePage, TellsBothInDegrees) {
  const auto found = DecodeTemperatures(FromHex("0D 00 00 0C 00 00 01 02 00 1B 00 01 01 02 00 44"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->now, 27);
  EXPECT_EQ(found.value->reference, 68);
}

TEST(TemperaturePage, TakesFFhForNotTold) {
  const auto found = DecodeTemperatures(FromHex("0D 00 00 06 00 00 01 02 00 FF"));
  ASSERT_TRUE(found.value);
  EXPECT_FALSE(found.value->now);
  EXPECT_FALSE(found.value->reference);
  EXPECT_FALSE(DecodeTemperatures(FromHex("0D 00 00 05 00 00 01 01 1B")).value->now);
  EXPECT_EQ(DecodeTemperatures(FromHex("2F 00 00 00")).trouble,
            "the page is 2Fh, 0Dh was asked for");
}

TEST(StartStopPage, TellsDateAndCounts) {
  const auto found = DecodeStartStopCounts(FromHexFile("scsi/log_0e_start_stop.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->yearMade, "2014");
  EXPECT_EQ(found.value->weekMade, "34");
  EXPECT_EQ(found.value->startsExpected, 10000U);
  EXPECT_EQ(found.value->starts, 171U);
  EXPECT_EQ(found.value->loadsExpected, 300000U);
  EXPECT_EQ(found.value->loads, 2060U);
}

TEST(StartStopPage, LeavesOutWhatIsNotTold) {
  const auto blanks = DecodeStartStopCounts(FromHex("0E 00 00 0A 00 01 40 06 '      '"));
  EXPECT_EQ(blanks.value->yearMade, "");
  EXPECT_EQ(blanks.value->weekMade, "");
  EXPECT_FALSE(blanks.value->starts);
  const auto zeros = DecodeStartStopCounts(FromHex("0E 00 00 0A 00 01 40 06 '000000'"));
  EXPECT_EQ(zeros.value->yearMade, "");
  const auto noDigits = DecodeStartStopCounts(FromHex("0E 00 00 0A 00 01 40 06 '20:43/'"));
  EXPECT_EQ(noDigits.value->yearMade, "");
  const auto noWeek = DecodeStartStopCounts(FromHex("0E 00 00 0A 00 01 40 06 '20193/'"));
  EXPECT_EQ(noWeek.value->yearMade, "2019");
  EXPECT_EQ(noWeek.value->weekMade, "");
  const auto rest =
      DecodeStartStopCounts(FromHex("0E 00 00 0F 00 01 40 04 '2014' 00 04 43 03 00 00 AB"));
  EXPECT_EQ(rest.value->yearMade, "2014");
  EXPECT_EQ(rest.value->weekMade, "");
  EXPECT_FALSE(rest.value->starts);
}

TEST(SolidStatePage, TellsThePercentageThatIsUsed) {
  const auto found = DecodePercentageUsed(FromHex("11 00 00 08 00 01 03 04 00 00 00 68"));
  EXPECT_EQ(found.value, 104);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(DecodePercentageUsed(FromHex("11 00 00 00")).trouble, kNothingTells);
  EXPECT_FALSE(DecodePercentageUsed(FromHex("11 00 00 07 00 01 03 03 00 00 68")).value);
}

TEST(ExceptionsPage, TellsWhatIsPendingAndTheTemperature) {
  const auto failing =
      DecodeInformationalExceptions(FromHex("2F 00 00 08 00 00 03 04 5D 14 1B 44"));
  ASSERT_TRUE(failing.value);
  EXPECT_EQ(failing.trouble, "");
  EXPECT_EQ(failing.value->code, 0x5D);
  EXPECT_EQ(failing.value->qualifier, 0x14);
  EXPECT_EQ(failing.value->temperature, 27);
  const auto sound = DecodeInformationalExceptions(FromHex("2F 00 00 08 00 00 03 04 00 77 FF 00"));
  ASSERT_TRUE(sound.value);
  EXPECT_EQ(sound.value->code, 0);
  EXPECT_EQ(sound.value->qualifier, 0);
  EXPECT_FALSE(sound.value->temperature);
}

// The kernel's scsi_debug drive, whose parameter is a byte shorter than the standard has it.
TEST(ExceptionsPage, OfTheKernelsOwnDriveIsKnown) {
  const auto found = DecodeInformationalExceptions(FromHex("2F 00 00 07 00 00 03 03 00 00 26"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->code, 0);
  EXPECT_EQ(found.value->temperature, 38);
}

// Nothing pending is said by a parameter, and not by its lack.
TEST(ExceptionsPage, IsNoneWithoutItsParameter) {
  for (const char* page :
       {"2F 00 00 00", "2F 00 00 05 00 00 03 01 00", "2F 00 00 08 00 01 03 04 00 00 1B 00"}) {
    const auto found = DecodeInformationalExceptions(FromHex(page));
    EXPECT_FALSE(found.value) << page;
    EXPECT_EQ(found.trouble, kNothingTells) << page;
  }
  EXPECT_FALSE(DecodeInformationalExceptions(FromHex("0D 00 00 06 00 00 01 02 00 1B")).value);
}

}  // namespace
}  // namespace orvan::storage::scsi

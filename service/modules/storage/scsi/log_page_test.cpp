#include "service/modules/storage/scsi/log_page.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

TEST(LogPage, HasItsParametersInTheDrivesOrder) {
  const auto answer = FromHex("03 00 00 0B 00 06 03 02 01 02 00 01 03 01 09 FF FF FF");
  const auto found = DecodeLogPage(answer, kReadErrorsPage);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  ASSERT_EQ(found.value->size(), 2U);
  EXPECT_EQ((*found.value)[0].code, 6);
  EXPECT_EQ((*found.value)[0].value.size(), 2U);
  EXPECT_EQ((*found.value)[1].code, 1);
  EXPECT_EQ((*found.value)[1].value[0], 9);
}

// Saved pages have bit 7 set, and bit 6 says that byte 1 is a subpage.
TEST(LogPage, IsToldByItsLowBitsAndItsSubpage) {
  EXPECT_TRUE(DecodeLogPage(FromHex("83 00 00 00"), kReadErrorsPage).value);
  EXPECT_TRUE(DecodeLogPage(FromHex("4D 01 00 00"), kTemperaturePage, 1).value);
  EXPECT_TRUE(DecodeLogPage(FromHex("0D 01 00 00"), kTemperaturePage).value);
  EXPECT_EQ(DecodeLogPage(FromHex("4D 01 00 00"), kTemperaturePage).trouble,
            "the subpage is 01h, 00h was asked for");
  EXPECT_EQ(DecodeLogPage(FromHex("0D 00 00 00"), kExceptionsPage).trouble,
            "the page is 0Dh, 2Fh was asked for");
  EXPECT_EQ(DecodeLogPage(FromHex("0D 00 00"), kTemperaturePage).trouble,
            "the answer has 3 of 4 bytes");
}

TEST(LogPage, EndsWithParametersOfLengthNothing) {
  const auto found = DecodeLogPage(FromHex("10 00 01 90 00*400"), kSelfTestResultsPage);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->size(), 100U);
  EXPECT_EQ(found.trouble, "");
}

TEST(LogPage, IsSpoiledByAParameterThatReachesPastIt) {
  const auto found =
      DecodeLogPage(FromHex("03 00 00 0D 00 00 03 04 00 00 00 01 00 06 03 C8 07"), kReadErrorsPage);
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.trouble, "the parameter 0006h has 200 bytes, its page has 1 left");
}

TEST(LogPage, ThatWasCutHasWhatCameWhole) {
  const auto found =
      DecodeLogPage(FromHex("03 00 00 3C 00 00 03 04 00 00 00 01 00 01 03 04 00"), kReadErrorsPage);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->size(), 1U);
  EXPECT_EQ(found.trouble, "the answer has 17 of 64 bytes");
}

TEST(LogPage, ThatEndsWithinAHeadSaysSo) {
  const auto found =
      DecodeLogPage(FromHex("03 00 00 0A 00 00 03 04 00 00 00 01 00 01"), kReadErrorsPage);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->size(), 1U);
  EXPECT_EQ(found.trouble, "the page ends within the head of a parameter");
}

TEST(LogCounter, HasAnyLengthUpTo64Bits) {
  EXPECT_EQ(CounterOf(FromHex("07")), 7U);
  EXPECT_EQ(CounterOf(FromHex("01 00 00")), 65536U);
  EXPECT_EQ(CounterOf(FromHex("FF*8")), 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(CounterOf(FromHex("00 00 00 00 01 02")), 258U);
  EXPECT_EQ(CounterOf(FromHex("00*8 05")), 5U);
  EXPECT_FALSE(CounterOf(FromHex("01 00*8")));
  EXPECT_FALSE(CounterOf({}));
}

TEST(SupportedLogPages, AreListedWithAndWithoutSubpages) {
  const auto pages = DecodeSupportedLogPages(FromHex("00 00 00 03 00 03 2F"));
  ASSERT_TRUE(pages.value);
  EXPECT_EQ(*pages.value, (std::vector<LogPageName>{{0, 0}, {3, 0}, {0x2F, 0}}));
  const auto all = DecodeSupportedLogPages(FromHex("40 FF 00 06 00 00 0D 01 00 FF"), kAllSubpages);
  ASSERT_TRUE(all.value);
  EXPECT_EQ(*all.value, (std::vector<LogPageName>{{0, 0}, {0x0D, 1}, {0, 0xFF}}));
}

TEST(SupportedLogPages, OfTheKernelsOwnDriveAreKnown) {
  const auto found = DecodeSupportedLogPages(
      FromHex("40 FF 00 0E 00 00 00 FF 0D 00 0D 01 0D FF 2F 00 2F FF"), kAllSubpages);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->size(), 7U);
  EXPECT_EQ(found.value->back(), (LogPageName{0x2F, 0xFF}));
}

// A drive without subpages ignores the field and lists its pages.
TEST(SupportedLogPages, OfTheOtherKindAreNotTakenForPairs) {
  const auto found = DecodeSupportedLogPages(FromHex("00 00 00 03 00 03 2F"), kAllSubpages);
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.trouble, "the subpage is 00h, FFh was asked for");
  const auto odd = DecodeSupportedLogPages(FromHex("40 FF 00 03 00 00 0D"), kAllSubpages);
  ASSERT_TRUE(odd.value);
  EXPECT_EQ(odd.value->size(), 1U);
  EXPECT_EQ(odd.trouble, "the list ends within a page's name");
  const auto cut = DecodeSupportedLogPages(FromHex("00 00 00 09 00 03"));
  ASSERT_TRUE(cut.value);
  EXPECT_EQ(cut.value->size(), 2U);
  EXPECT_EQ(cut.trouble, "the answer has 6 of 13 bytes");
}

}  // namespace
}  // namespace orvan::storage::scsi

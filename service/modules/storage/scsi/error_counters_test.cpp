#include "service/modules/storage/scsi/error_counters.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"
#include "service/modules/storage/scsi/log_page.h"

namespace orvan::storage::scsi {
namespace {

TEST(ErrorCounters, AreThoseOfThePage) {
  const auto found =
      DecodeErrorCounters(FromHexFile("scsi/log_03_read_errors.hex"), kReadErrorsPage);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->correctedAtOnce, 523124044U);
  EXPECT_EQ(found.value->correctedDelayed, 7U);
  EXPECT_EQ(found.value->repeated, 0U);
  EXPECT_EQ(found.value->corrected, 523124051U);
  EXPECT_EQ(found.value->correctionRuns, 523124051U);
  EXPECT_EQ(found.value->bytesProcessed, 112394521950U);
  EXPECT_EQ(found.value->uncorrected, 2U);
}

TEST(ErrorCounters, OfAnotherPageAreNotTaken) {
  const auto answer = FromHexFile("scsi/log_03_read_errors.hex");
  EXPECT_EQ(DecodeErrorCounters(answer, kWriteErrorsPage).trouble,
            "the page is 03h, 02h was asked for");
  EXPECT_EQ(DecodeErrorCounters(answer, kVerifyErrorsPage).trouble,
            "the page is 03h, 05h was asked for");
}

TEST(ErrorCounters, ThatTheDriveDoesNotCountAreNone) {
  const auto found = DecodeErrorCounters(
      FromHex("05 00 00 10 00 06 03 04 00 00 00 00 80 00 03 04 FF FF FF FF"), kVerifyErrorsPage);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->uncorrected, 0U);
  EXPECT_FALSE(found.value->corrected);
  const auto empty = DecodeErrorCounters(FromHex("02 00 00 00"), kWriteErrorsPage);
  ASSERT_TRUE(empty.value);
  EXPECT_FALSE(empty.value->uncorrected);
  EXPECT_EQ(empty.trouble, "the page has no counters");
}

TEST(ErrorCounters, WithoutBytesOrWithTooManyAreSaid) {
  const auto none = DecodeErrorCounters(FromHex("03 00 00 04 00 06 03 00"), kReadErrorsPage);
  EXPECT_FALSE(none.value->uncorrected);
  EXPECT_EQ(none.trouble, "a counter has 0 bytes");
  const auto wide =
      DecodeErrorCounters(FromHex("03 00 00 0D 00 06 03 09 01 00*8"), kReadErrorsPage);
  EXPECT_FALSE(wide.value->uncorrected);
  EXPECT_EQ(wide.trouble, "a counter has 9 bytes");
}

TEST(NonMediumErrors, AreTheFirstParameter) {
  const auto found = DecodeNonMediumErrors(FromHex("06 00 00 08 00 00 03 04 00 00 01 02"));
  EXPECT_EQ(found.value, 258U);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(DecodeNonMediumErrors(FromHex("06 00 00 00")).trouble, "the page has no counters");
  EXPECT_FALSE(DecodeNonMediumErrors(FromHex("06 00 00 00")).value);
}

}  // namespace
}  // namespace orvan::storage::scsi

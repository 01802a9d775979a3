#include "service/modules/storage/scsi/background_scan.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

TEST(BackgroundScan, TellsItsStatusAndTheBlocksItMet) {
  const auto found = DecodeBackgroundScan(FromHexFile("scsi/log_15_background_scan.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->powerOnMinutes, 2487312U);
  EXPECT_EQ(found.value->status, 8);
  EXPECT_EQ(found.value->scans, 179);
  EXPECT_EQ(found.value->progress, 0);
  EXPECT_EQ(found.value->mediumScans, 177);
  ASSERT_EQ(found.value->blocks.size(), 2U);
  const ScannedBlock& first = found.value->blocks[0];
  EXPECT_EQ(first.lba, 0x37100C19U);
  EXPECT_EQ(first.powerOnMinutes, 2741087U);
  EXPECT_EQ(first.reassignStatus, 5);
  EXPECT_EQ(first.senseKey, 3);
  EXPECT_EQ(first.senseCode, 0x17);
  EXPECT_EQ(first.senseQualifier, 1);
  EXPECT_EQ(found.value->blocks[1].lba, 5000000000U);
  EXPECT_EQ(found.value->blocks[1].reassignStatus, 1);
}

TEST(BackgroundScan, IsNoneWithoutItsStatus) {
  EXPECT_EQ(DecodeBackgroundScan(FromHex("15 00 00 00")).trouble,
            "the page has no status of the scan");
  EXPECT_FALSE(DecodeBackgroundScan(FromHex("15 00 00 0C 00 00 03 08 00*8")).value);
  EXPECT_EQ(DecodeBackgroundScan(FromHex("15 00 00 10 00 00 03 0C 00")).trouble,
            "the answer has 9 of 20 bytes");
}

TEST(BackgroundScan, LeavesOutEntriesOfAnotherLengthAndSaysSo) {
  const auto found =
      DecodeBackgroundScan(FromHex("15 00 00 18 00 00 03 0C 00*5 01 00*6 00 01 03 04 00 00 00 01"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->status, 1);
  EXPECT_TRUE(found.value->blocks.empty());
  EXPECT_EQ(found.trouble, "an entry has 4 bytes, 20 are right");
}

TEST(BackgroundScan, SaysItsStatesInWords) {
  EXPECT_EQ(ScanStatusWords(0), "no scan is active");
  EXPECT_EQ(ScanStatusWords(8), "the scan of the medium waits for its next time");
  EXPECT_EQ(ScanStatusWords(9), "status 09h, which has no meaning");
  EXPECT_EQ(ReassignStatusWords(5), "rewritten in place");
  EXPECT_EQ(ReassignStatusWords(6), "reassigned for the host, with valid data");
  EXPECT_EQ(ReassignStatusWords(7), "reassigned for the host, without valid data");
  EXPECT_EQ(ReassignStatusWords(8), "not reassigned, for a command of the host failed to");
  EXPECT_EQ(ReassignStatusWords(3), "status 03h, which has no meaning");
  EXPECT_EQ(ReassignStatusWords(15), "status 0Fh, which has no meaning");
}

}  // namespace
}  // namespace orvan::storage::scsi

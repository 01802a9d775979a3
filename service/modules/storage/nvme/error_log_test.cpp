#include "service/modules/storage/nvme/error_log.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"
#include "service/modules/storage/nvme/status_words.h"

namespace orvan::storage::nvme {
namespace {

TEST(NvmeErrors, AreTheEntriesInUseTheNewestFirst) {
  const auto found = DecodeErrorLog(FromHexFile("nvme/error_log.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  ASSERT_EQ(found.value->size(), 2U);
  const ErrorEntry& newest = (*found.value)[0];
  EXPECT_EQ(newest.number, 42U);
  EXPECT_EQ(newest.queue, 2);
  EXPECT_EQ(newest.command, 23);
  EXPECT_EQ(newest.status, 0x281);
  EXPECT_EQ(newest.lba, 5000000000U);
  EXPECT_EQ(newest.namespaceId, 1U);
  const ErrorEntry& older = (*found.value)[1];
  EXPECT_EQ(older.number, 41U);
  EXPECT_EQ(older.queue, 0);
  EXPECT_FALSE(older.command);
  EXPECT_EQ(older.status, 0x6002);
  EXPECT_EQ(StatusWords(older.status), "invalid field in the command (002h)");
  EXPECT_EQ(older.namespaceId, 0xFFFFFFFFU);
}

TEST(NvmeErrors, AreToldByTheirNumberWhereverTheyStand) {
  const auto found = DecodeErrorLog(FromHex("07 00*63 09 00*63 08 00*63"));
  ASSERT_TRUE(found.value);
  ASSERT_EQ(found.value->size(), 3U);
  EXPECT_EQ((*found.value)[0].number, 9U);
  EXPECT_EQ((*found.value)[1].number, 8U);
  EXPECT_EQ((*found.value)[2].number, 7U);
}

TEST(NvmeErrors, OfOneNumberAreNotTrusted) {
  const auto found = DecodeErrorLog(FromHex("09 00*63 08 00*63 09 00*63"));
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.trouble, "two entries have the number 9");
  EXPECT_FALSE(DecodeErrorLog(FromHex("FF*128")).value);
}

TEST(NvmeErrors, OfAnEmptyLogAreNone) {
  const auto found = DecodeErrorLog(FromHex("00*4096"));
  ASSERT_TRUE(found.value);
  EXPECT_TRUE(found.value->empty());
  EXPECT_EQ(found.trouble, "");
}

TEST(NvmeErrors, AreWholeEntries) {
  const auto found = DecodeErrorLog(FromHex("09 00*63 08 00*62"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->size(), 1U);
  EXPECT_EQ(found.trouble, "the last entry is cut");
  EXPECT_EQ(DecodeErrorLog(FromHex("09 00*62")).trouble, "the answer has 63 of 64 bytes");
}

}  // namespace
}  // namespace orvan::storage::nvme

#include "service/modules/storage/scsi/self_test_results.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

TEST(ScsiSelfTests, AreTheEntriesInUseTheNewestFirst) {
  const auto found = DecodeSelfTestResults(FromHexFile("scsi/log_10_self_tests.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  ASSERT_EQ(found.value->size(), 5U);
  const auto& entries = *found.value;
  EXPECT_EQ(entries[0].result, SelfTestResult::kInProgress);
  EXPECT_EQ(entries[0].code, 2);
  EXPECT_EQ(entries[0].powerOnHours, 25000);
  EXPECT_FALSE(entries[0].failingLba);
  EXPECT_EQ(entries[1].result, SelfTestResult::kFailedSegment);
  EXPECT_EQ(entries[1].segment, 3);
  EXPECT_EQ(entries[1].powerOnHours, 24992);
  EXPECT_EQ(entries[1].failingLba, 5000000000U);
  EXPECT_EQ(entries[1].senseKey, 3);
  EXPECT_EQ(entries[1].senseCode, 0x11);
  EXPECT_EQ(entries[1].senseQualifier, 0);
  EXPECT_EQ(entries[2].result, SelfTestResult::kPassed);
  EXPECT_EQ(entries[2].code, 1);
  EXPECT_EQ(entries[3].code, 6);
  EXPECT_EQ(entries[4].result, SelfTestResult::kAbortedByCommand);
  EXPECT_EQ(entries[4].powerOnHours, 0);
}

TEST(ScsiSelfTests, AreToldByTheirNumberWhereverTheyStand) {
  const auto found = DecodeSelfTestResults(
      FromHex("10 00 00 28 00 02 03 10 20 00 00 01 FF*8 00*4 00 01 03 10 40 00 00 02 FF*8 00*4"));
  ASSERT_EQ(found.value->size(), 2U);
  EXPECT_EQ((*found.value)[0].powerOnHours, 2);
  EXPECT_EQ((*found.value)[1].powerOnHours, 1);
}

TEST(ScsiSelfTests, BeyondTheTwentiethAreNone) {
  const auto found = DecodeSelfTestResults(
      FromHex("10 00 00 28 00 14 03 10 20 00 00 01 FF*8 00*4 00 15 03 10 40 00 00 02 FF*8 00*4"));
  ASSERT_EQ(found.value->size(), 1U);
  EXPECT_EQ((*found.value)[0].powerOnHours, 1);
}

TEST(ScsiSelfTests, OfAnotherLengthAreLeftOutAndSaid) {
  const auto found = DecodeSelfTestResults(
      FromHex("10 00 00 20 00 01 03 08 20 00 00 01 FF*4 00 02 03 10 40 00 00 02 FF*8 00*4"));
  ASSERT_EQ(found.value->size(), 1U);
  EXPECT_EQ((*found.value)[0].powerOnHours, 2);
  EXPECT_EQ(found.trouble, "the entry 1 has 8 bytes, 16 are right");
}

TEST(ScsiSelfTests, OfAPageThatWasCutAreThoseThatCameWhole) {
  auto answer = FromHexFile("scsi/log_10_self_tests.hex");
  answer.resize(30);
  const auto found = DecodeSelfTestResults(answer);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->size(), 1U);
  EXPECT_EQ(found.trouble, "the answer has 30 of 404 bytes");
  EXPECT_FALSE(DecodeSelfTestResults(FromHex("0D 00 00 00")).value);
}

TEST(ScsiSelfTests, OfAnUnusedLogAreNone) {
  const auto found = DecodeSelfTestResults(FromHex("10 00 01 90 00*400"));
  ASSERT_TRUE(found.value);
  EXPECT_TRUE(found.value->empty());
  EXPECT_EQ(found.trouble, "");
}

TEST(ScsiSelfTests, SayTheirResultInWords) {
  EXPECT_EQ(ResultWords(SelfTestResult::kPassed), "completed without error");
  EXPECT_EQ(ResultWords(SelfTestResult::kInProgress), "in progress");
  EXPECT_EQ(ResultWords(static_cast<SelfTestResult>(8)), "ended with a result that has no meaning");
}

}  // namespace
}  // namespace orvan::storage::scsi

#include "service/modules/storage/nvme/self_test_log.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::nvme {
namespace {

TEST(NvmeSelfTests, AreTheOneThatRunsAndTheEntriesInUse) {
  const auto found = DecodeSelfTestLog(FromHexFile("nvme/self_test_log.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->runningCode, kExtendedTest);
  EXPECT_EQ(found.value->percentDone, 37);
  ASSERT_EQ(found.value->entries.size(), 3U);
  const SelfTestEntry& failed = found.value->entries[0];
  EXPECT_EQ(failed.code, kExtendedTest);
  EXPECT_EQ(failed.result, SelfTestResult::kFailedSegment);
  EXPECT_EQ(failed.segment, 3);
  EXPECT_EQ(failed.powerOnHours, 3000U);
  EXPECT_EQ(failed.namespaceId, 1U);
  EXPECT_EQ(failed.failingLba, 5000000000U);
  EXPECT_EQ(failed.statusType, 2);
  EXPECT_EQ(failed.statusCode, 0x81);
  const SelfTestEntry& passed = found.value->entries[1];
  EXPECT_EQ(passed.code, kShortTest);
  EXPECT_EQ(passed.result, SelfTestResult::kPassed);
  EXPECT_FALSE(passed.segment);
  EXPECT_EQ(passed.powerOnHours, 1000U);
  EXPECT_FALSE(passed.namespaceId);
  EXPECT_FALSE(passed.failingLba);
  EXPECT_FALSE(passed.statusType);
  EXPECT_FALSE(passed.statusCode);
  const SelfTestEntry& aborted = found.value->entries[2];
  EXPECT_EQ(aborted.result, SelfTestResult::kAbortedByCommand);
  EXPECT_FALSE(aborted.segment);
}

// Each field is there when its own bit says so, and no other.
TEST(NvmeSelfTests, TellOnlyWhatTheirValidBitsVouchFor) {
  auto answer = FromHexFile("nvme/self_test_log.hex");
  for (const unsigned bit : {0U, 1U, 2U, 3U, 4U}) {
    answer[6] = static_cast<std::uint8_t>(1U << bit);
    const auto entry = DecodeSelfTestLog(answer).value->entries[0];
    EXPECT_EQ(entry.namespaceId.has_value(), bit == 0) << bit;
    EXPECT_EQ(entry.failingLba.has_value(), bit == 1) << bit;
    EXPECT_EQ(entry.statusType.has_value(), bit == 2) << bit;
    EXPECT_EQ(entry.statusCode.has_value(), bit == 3) << bit;
  }
}

// Zeros would be a test of no kind that passed.
TEST(NvmeSelfTests, OfZerosOrUnusedEntriesAreNone) {
  const auto zeros = DecodeSelfTestLog(FromHex("00*564"));
  ASSERT_TRUE(zeros.value);
  EXPECT_EQ(zeros.value->runningCode, 0);
  EXPECT_TRUE(zeros.value->entries.empty());
  EXPECT_FALSE(DecodeSelfTestLog(FromHex("00*563")).value);
  auto unused = FromHex("00*564");
  for (std::size_t at = 4; at < unused.size(); at += 28) unused[at] = 0x0F;
  EXPECT_TRUE(DecodeSelfTestLog(unused).value->entries.empty());
}

TEST(NvmeSelfTests, HaveTwentyEntriesAtMost) {
  auto answer = FromHex("00*620");
  for (std::size_t at = 4; at < answer.size(); at += 28) answer[at] = 0x10;
  EXPECT_EQ(DecodeSelfTestLog(answer).value->entries.size(), 20U);
}

TEST(NvmeSelfTests, AreNotDoneByMoreThanAWhole) {
  auto answer = FromHex("01 E4 00*562");
  EXPECT_EQ(DecodeSelfTestLog(answer).value->percentDone, 100);
  answer[1] = 101;
  answer[4] = 0x10;
  const auto running = DecodeSelfTestLog(answer);
  EXPECT_EQ(running.trouble, "a self-test is done by 101 percent");
  ASSERT_TRUE(running.value);
  EXPECT_EQ(running.value->percentDone, std::nullopt);
  EXPECT_EQ(running.value->runningCode, kShortTest);
  EXPECT_EQ(running.value->entries.size(), 1U);
  answer[0] = 0;
  EXPECT_EQ(DecodeSelfTestLog(answer).value->percentDone, std::nullopt);
  // What runs is no test either.
  answer[0] = 0x0F;
  EXPECT_FALSE(DecodeSelfTestLog(answer).value);
  EXPECT_FALSE(DecodeSelfTestLog(FromHex("FF*564")).value);
}

TEST(NvmeSelfTests, SayTheirResultInWords) {
  EXPECT_EQ(ResultWords(SelfTestResult::kPassed), "completed without error");
  EXPECT_EQ(ResultWords(SelfTestResult::kAbortedBySanitize), "aborted by a sanitize");
  EXPECT_EQ(ResultWords(static_cast<SelfTestResult>(0xA)),
            "ended with a result that has no meaning");
}

}  // namespace
}  // namespace orvan::storage::nvme

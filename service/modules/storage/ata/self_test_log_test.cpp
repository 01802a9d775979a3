#include "service/modules/storage/ata/self_test_log.h"

#include <gtest/gtest.h>

#include "service/modules/storage/ata/ata_test_support.h"
#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::ata {
namespace {

std::size_t EntryAt(std::size_t place) {
  return 2 + (place - 1) * 24;
}

std::size_t ExtendedEntryAt(std::size_t place) {
  return (place - 1) / 19 * kPageBytes + 4 + (place - 1) % 19 * 26;
}

Pages Log(int index) {
  return Pages().PutWord(0, 1).Put(508, {index});
}

// A test of that number, 1000 hours in.
Pages& Add(Pages& page, std::size_t at, int number, int status) {
  return page.Put(at, {number, status, 0xE8, 0x03, 0});
}

TEST(AtaSelfTestLogTest, ReadsTheNewestFirstAroundTheEndOfTheRing) {
  Pages page = Log(2);
  Add(page, EntryAt(1), 1, 0x00);
  Add(page, EntryAt(2), 2, 0x79).Put(EntryAt(2) + 4, {0x55, 0x78, 0x56, 0x34, 0x12});
  Add(page, EntryAt(21), 3, 0x20);
  const Decoded<SelfTestLog> log = DecodeSelfTestLog(page.Seal());
  ASSERT_TRUE(log.value);
  EXPECT_EQ(log.value->index, 2);
  ASSERT_EQ(log.value->tests.size(), 3U);
  const LoggedSelfTest& newest = log.value->tests[0];
  EXPECT_EQ(newest.number, 2);
  EXPECT_EQ(newest.status, (SelfTestStatus{SelfTestEnd::kRead, 90}));
  EXPECT_EQ(newest.powerOnHours, 1000);
  EXPECT_EQ(newest.checkpoint, 0x55);
  EXPECT_EQ(newest.failingLba, 0x12345678U);
  EXPECT_EQ(log.value->tests[1].number, 1);
  EXPECT_EQ(log.value->tests[1].failingLba, std::nullopt);
  EXPECT_EQ(log.value->tests[2].number, 3);
}

TEST(AtaSelfTestLogTest, NamesASectorOnlyWhereTheDriveDoes) {
  const auto lba = [](int status, std::initializer_list<int> bytes) {
    Pages page = Log(1);
    Add(page, EntryAt(1), 1, status).Put(EntryAt(1) + 5, bytes);
    return DecodeSelfTestLog(page.Seal()).value.value().tests.at(0).failingLba;
  };
  EXPECT_EQ(lba(0x70, {0, 0, 0, 0}), 0U);
  EXPECT_EQ(lba(0x70, {0xFF, 0xFF, 0xFF, 0xFF}), std::nullopt);
  EXPECT_EQ(lba(0x30, {1, 0, 0, 0}), 1U);
  EXPECT_EQ(lba(0x50, {0, 0, 0, 0}), std::nullopt);
  // Aborted: what stands there is no failing sector.
  EXPECT_EQ(lba(0x10, {1, 0, 0, 0}), std::nullopt);
}

TEST(AtaSelfTestLogTest, ReadsTheEmulatorsDrive) {
  const Decoded<SelfTestLog> before =
      DecodeSelfTestLog(FromHexFile("ata/emulator_self_test_log_empty.hex"));
  ASSERT_TRUE(before.value);
  EXPECT_EQ(before.value->index, 0);
  EXPECT_TRUE(before.value->tests.empty());
  const Decoded<SelfTestLog> after =
      DecodeSelfTestLog(FromHexFile("ata/emulator_self_test_log.hex"));
  ASSERT_TRUE(after.value);
  ASSERT_EQ(after.value->tests.size(), 2U);
  EXPECT_EQ(after.value->index, 2);
  EXPECT_EQ(after.value->tests[0].number, 2);
  EXPECT_EQ(after.value->tests[1].number, 1);
  EXPECT_EQ(after.value->tests[0].status, (SelfTestStatus{SelfTestEnd::kCompleted, 0}));
  EXPECT_EQ(after.value->tests[0].powerOnHours, 0x1234);
}

TEST(AtaSelfTestLogTest, DistrustsWhatCannotBe) {
  const auto trouble = [](Pages page) {
    const Decoded<SelfTestLog> log = DecodeSelfTestLog(page);
    EXPECT_FALSE(log.value);
    return log.trouble;
  };
  Pages sound = Log(1);
  Add(sound, EntryAt(1), 1, 0).Seal();
  EXPECT_EQ(trouble(Pages(sound).Cut(508)), "the answer has 508 of 512 bytes");
  EXPECT_EQ(trouble(Pages(sound).Put(511, {0})), "the checksum of the self-test log is wrong");
  EXPECT_EQ(trouble(Pages(sound).PutWord(0, 2).Seal()),
            "the self-test log has version 2, 1 was expected");
  EXPECT_EQ(trouble(Pages(sound).Put(508, {22}).Seal()),
            "the newest entry of the self-test log is number 22, the answer has 21");
  EXPECT_EQ(trouble(Pages(sound).Put(508, {7}).Seal()),
            "the newest entry of the self-test log is number 7, which is empty");
  EXPECT_EQ(trouble(Pages()), "the answer is nothing but zeros");
}

TEST(AtaSelfTestLogTest, ReadsTheExtendedLogOverItsPages) {
  Pages pages = Pages(2).PutWord(0, 1).PutWord(1, 20);
  Add(pages, ExtendedEntryAt(19), 1, 0x00);
  Add(pages, ExtendedEntryAt(20), 2, 0x7F)
      .Put(ExtendedEntryAt(20) + 5, {0x06, 0x05, 0x04, 0x03, 0x02, 0x01});
  Add(pages, ExtendedEntryAt(38), 0x82, 0x10);
  pages.Seal();
  const Decoded<SelfTestLog> log = DecodeExtendedSelfTestLog(pages);
  ASSERT_TRUE(log.value);
  EXPECT_EQ(log.value->index, 20);
  ASSERT_EQ(log.value->tests.size(), 3U);
  EXPECT_EQ(log.value->tests[0].failingLba, 0x010203040506U);
  EXPECT_EQ(log.value->tests[0].status.percentLeft, std::nullopt);
  EXPECT_EQ(log.value->tests[1].number, 1);
  EXPECT_EQ(log.value->tests[2].number, 0x82);

  const Decoded<SelfTestLog> first = DecodeExtendedSelfTestLog(Part(pages, 0, kPageBytes));
  EXPECT_EQ(first.trouble,
            "the newest entry of the extended self-test log is number 20, the answer has 19");
  EXPECT_EQ(DecodeExtendedSelfTestLog(Part(pages, 0, 700)).trouble,
            "the answer has 700 of 1024 bytes");
  EXPECT_EQ(DecodeExtendedSelfTestLog(pages.Put(kPageBytes + 9, {9})).trouble,
            "the checksum of the extended self-test log is wrong");
}

TEST(AtaSelfTestLogTest, TakesPagesThatWereNeverWritten) {
  Pages pages = Pages(3).PutWord(0, 1).PutWord(1, 1);
  Add(pages, ExtendedEntryAt(1), 1, 0x00).Seal();
  const Decoded<SelfTestLog> log = DecodeExtendedSelfTestLog(pages);
  ASSERT_TRUE(log.value);
  EXPECT_EQ(log.value->tests.size(), 1U);
}

}  // namespace
}  // namespace orvan::storage::ata

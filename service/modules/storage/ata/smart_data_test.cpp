#include "service/modules/storage/ata/smart_data.h"

#include <gtest/gtest.h>

#include "service/modules/storage/ata/ata_test_support.h"
#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::ata {
namespace {

constexpr std::size_t kEntryBytes = 12;

std::size_t EntryAt(std::size_t entry) {
  return 2 + entry * kEntryBytes;
}

// Two attributes, in the first and in the last place, and a self-test that runs.
Pages TwoAttributes() {
  Pages page;
  page.PutWord(0, 0x0010)
      .Put(EntryAt(0), {5, 0x33, 0x00, 98, 97, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66})
      .Put(EntryAt(29), {197, 0x32, 0x00, 100, 100, 8})
      .Put(363, {0xF4})
      .Put(367, {0x31})
      .Put(370, {0x01})
      .Put(372, {2, 0xFF})
      .Put(375, {0x2C, 0x01});  // 300 minutes
  return page.Seal();
}

Pages TwoThresholds() {
  Pages page;
  page.PutWord(0, 0x0010).Put(EntryAt(3), {5, 36}).Put(EntryAt(0), {197, 0});
  return page.Seal();
}

TEST(AtaSmartDataTest, ReadsAttributesFromTheFirstPlaceToTheLast) {
  const Decoded<SmartData> decoded = DecodeSmartData(TwoAttributes());
  ASSERT_TRUE(decoded.value);
  EXPECT_EQ(decoded.trouble, "");
  ASSERT_EQ(decoded.value->attributes.size(), 2U);
  const Attribute& first = decoded.value->attributes[0];
  EXPECT_EQ(first.id, 5);
  EXPECT_EQ(first.flags, 0x0033);
  EXPECT_TRUE(first.IsPreFailure());
  EXPECT_TRUE(first.IsOnline());
  EXPECT_EQ(first.value, 98);
  EXPECT_EQ(first.worst, 97);
  EXPECT_EQ(first.raw, (std::array<std::uint8_t, 6>{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));
  const Attribute* last = decoded.value->Find(197);
  ASSERT_NE(last, nullptr);
  EXPECT_FALSE(last->IsPreFailure());
  EXPECT_EQ(last->raw[0], 8);
  EXPECT_EQ(decoded.value->Find(196), nullptr);
}

TEST(AtaSmartDataTest, ReadsWhatItSaysOfSelfTests) {
  const SmartData data = DecodeSmartData(TwoAttributes()).value.value();
  EXPECT_EQ(data.selfTest.end, SelfTestEnd::kRunning);
  EXPECT_EQ(data.selfTest.percentLeft, 40);
  EXPECT_TRUE(data.hasSelfTests && data.hasConveyanceTest && data.hasErrorLog);
  EXPECT_EQ(data.shortMinutes, 2);
  EXPECT_EQ(data.extendedMinutes, 300);
}

TEST(AtaSmartDataTest, TakesShortTimesFromTheirByteAndNoneForZero) {
  const SmartData data = DecodeSmartData(TwoAttributes().Put(372, {0, 0xFE}).Seal()).value.value();
  EXPECT_EQ(data.shortMinutes, std::nullopt);
  EXPECT_EQ(data.extendedMinutes, 254);
  const SmartData none = DecodeSmartData(TwoAttributes().Put(375, {0, 0}).Seal()).value.value();
  EXPECT_EQ(none.extendedMinutes, std::nullopt);
}

TEST(AtaSmartDataTest, ReadsTheEmulatorsDrive) {
  const Decoded<SmartData> data = DecodeSmartData(FromHexFile("ata/emulator_smart_data.hex"));
  const Decoded<Thresholds> thresholds =
      DecodeThresholds(FromHexFile("ata/emulator_thresholds.hex"));
  ASSERT_TRUE(data.value && thresholds.value);
  std::vector<int> ids;
  for (const Attribute& attribute : data.value->attributes) {
    ids.push_back(attribute.id);
    EXPECT_EQ(StateOf(attribute, *thresholds.value), AttributeState::kFine) << int{attribute.id};
  }
  EXPECT_EQ(ids, (std::vector<int>{1, 3, 4, 5, 9, 12, 190}));
  EXPECT_EQ(thresholds.value->byId[5], 0x24);
  EXPECT_EQ(thresholds.value->byId[6], std::nullopt);
  EXPECT_EQ(data.value->selfTest.end, SelfTestEnd::kCompleted);
  EXPECT_TRUE(data.value->hasSelfTests);
  EXPECT_EQ(data.value->shortMinutes, 2);
  EXPECT_EQ(data.value->extendedMinutes, 54);
}

TEST(AtaSmartDataTest, TakesTheFirstOfTwoWithOneId) {
  const Decoded<SmartData> decoded = DecodeSmartData(
      TwoAttributes().Put(EntryAt(7), {5, 0, 0, 1, 1}).Put(EntryAt(8), {197, 0, 0, 1, 1}).Seal());
  ASSERT_TRUE(decoded.value);
  EXPECT_EQ(decoded.value->attributes.size(), 2U);
  EXPECT_EQ(decoded.value->Find(5)->value, 98);
  EXPECT_EQ(decoded.trouble, "attributes are there twice, the first is taken: 5, 197");
}

TEST(AtaSmartDataTest, DistrustsAnswersThatAreShortOrDamaged) {
  EXPECT_EQ(DecodeSmartData(TwoAttributes().Put(100, {1})).trouble,
            "the checksum of the SMART data is wrong");
  EXPECT_FALSE(DecodeSmartData(TwoAttributes().Put(100, {1})).value);
  EXPECT_EQ(DecodeSmartData(TwoAttributes().Cut(362)).trouble, "the answer has 362 of 512 bytes");
  EXPECT_EQ(DecodeSmartData(Pages()).trouble, "the answer is nothing but zeros");
  EXPECT_EQ(DecodeThresholds(TwoThresholds().Put(100, {1})).trouble,
            "the checksum of the SMART thresholds is wrong");
  EXPECT_FALSE(DecodeThresholds(TwoThresholds().Put(100, {1})).value);
  EXPECT_EQ(DecodeThresholds(Bytes{}).trouble, "the answer has 0 of 512 bytes");
}

struct StateCase {
  int value;
  int worst;
  int threshold;
  AttributeState state;
};

TEST(AtaSmartDataTest, JudgesByTheThresholdOfTheSameAttribute) {
  using enum AttributeState;
  for (const StateCase& row : {
           StateCase{37, 37, 36, kFine},
           StateCase{36, 36, 36, kFailed},
           StateCase{1, 1, 36, kFailed},
           // Drives count down to 0, whatever the standard says.
           StateCase{0, 0, 36, kFailed},
           StateCase{0, 100, 1, kFailed},
           StateCase{50, 36, 36, kFailedBefore},
           StateCase{50, 37, 36, kFine},
           // A threshold that nothing fails, one that all fails, one that is none.
           StateCase{1, 1, 0x00, kFine},
           StateCase{0, 0, 0x00, kFine},
           StateCase{100, 100, 0xFF, kFailed},
           StateCase{1, 1, 0xFE, kUnknown},
           StateCase{0, 0, 0xFF, kFailed},
           // Values that say nothing.
           StateCase{0xFE, 100, 36, kUnknown},
           StateCase{0xFF, 100, 36, kUnknown},
           StateCase{100, 0, 36, kFine},
           StateCase{0xFD, 0xFF, 36, kFine},
       }) {
    Attribute attribute;
    attribute.id = 5;
    attribute.value = static_cast<std::uint8_t>(row.value);
    attribute.worst = static_cast<std::uint8_t>(row.worst);
    Thresholds thresholds;
    thresholds.byId[5] = static_cast<std::uint8_t>(row.threshold);
    thresholds.byId[197] = 0xFF;
    EXPECT_EQ(StateOf(attribute, thresholds), row.state)
        << row.value << ' ' << row.worst << ' ' << row.threshold;
  }
  Attribute attribute;
  attribute.id = 6;
  attribute.value = 1;
  EXPECT_EQ(StateOf(attribute, DecodeThresholds(TwoThresholds()).value.value()), kUnknown);
}

TEST(AtaSelfTestStatusTest, ReadsEndAndPercent) {
  EXPECT_EQ(DecodeSelfTestStatus(0x00), (SelfTestStatus{SelfTestEnd::kCompleted, 0}));
  EXPECT_EQ(DecodeSelfTestStatus(0x79), (SelfTestStatus{SelfTestEnd::kRead, 90}));
  EXPECT_EQ(DecodeSelfTestStatus(0xF9), (SelfTestStatus{SelfTestEnd::kRunning, 90}));
  EXPECT_EQ(DecodeSelfTestStatus(0x9F), (SelfTestStatus{SelfTestEnd::kReserved, std::nullopt}));
  EXPECT_EQ(DecodeSelfTestStatus(0x7A), (SelfTestStatus{SelfTestEnd::kRead, std::nullopt}));
  EXPECT_EQ(DecodeSelfTestStatus(0xE0).end, SelfTestEnd::kReserved);
}

TEST(AtaSelfTestStatusTest, CallsAFailureWhatTheStandardCallsOne) {
  std::vector<int> failures;
  for (int end = 0; end < 16; ++end) {
    const auto status = DecodeSelfTestStatus(static_cast<std::uint8_t>(end << 4));
    if (IsFailure(status.end)) failures.push_back(end);
  }
  EXPECT_EQ(failures, (std::vector<int>{3, 4, 5, 6, 7, 8}));
  EXPECT_STREQ(WordsOf(SelfTestEnd::kRead), "the read element of the test failed");
  EXPECT_STREQ(WordsOf(SelfTestEnd::kRunning), "in progress");
  EXPECT_STREQ(WordsOf(SelfTestEnd::kReserved), "an end that the standard does not have");
}

TEST(AtaSelfTestStatusTest, NamesTests) {
  EXPECT_EQ(SelfTestName(0x01), "short");
  EXPECT_EQ(SelfTestName(0x82), "extended");
  EXPECT_EQ(SelfTestName(0x00), "off-line data collection");
  EXPECT_EQ(SelfTestName(0x80), "80h");
  EXPECT_EQ(SelfTestName(0x7F), "abort");
  EXPECT_EQ(SelfTestName(0xFF), "FFh");
}

}  // namespace
}  // namespace orvan::storage::ata

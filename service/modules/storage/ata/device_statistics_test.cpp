#include "service/modules/storage/ata/device_statistics.h"

#include <gtest/gtest.h>

#include "service/modules/storage/ata/ata_test_support.h"

namespace orvan::storage::ata {
namespace {

constexpr int kSound = 0xC0;  // supported and valid

Pages Page(int number) {
  return Pages().Put(0, {1, 0, number});
}

TEST(AtaDeviceStatisticsTest, ListsThePagesThatTheDriveHas) {
  const auto pages = DecodeStatisticsPages(Page(0).Put(8, {4, 0, 1, 3, 0xFF, 9}));
  ASSERT_TRUE(pages.value);
  EXPECT_EQ(*pages.value, (std::vector<std::uint8_t>{0, 1, 3, 0xFF}));
  EXPECT_EQ(DecodeStatisticsPages(Page(0).Put(8, {2, 3, 1})).trouble,
            "the list of device statistics is in no order");
  EXPECT_EQ(DecodeStatisticsPages(Page(0).Put(8, {2, 1, 1})).trouble,
            "the list of device statistics is in no order");
  EXPECT_EQ(DecodeStatisticsPages(Page(1).Put(8, {1, 0})).trouble,
            "the page is 01h, 00h was asked for");
  // No drive has this log without this page.
  EXPECT_TRUE(DecodeStatisticsPages(Pages()).value->empty());
}

TEST(AtaDeviceStatisticsTest, ReadsSupportedValuesOfTheirLength) {
  const auto statistics = DecodeStatistics(Page(1)
                                               .Put(0x08, {0x0A, 0, 0, 0, 0xFF, 0xFF, 0xFF, kSound})
                                               .Put(0x10, {0, 0, 0, 0, 0, 0, 0, 0x80})
                                               .Put(0x18, {1, 2, 3, 4, 5, 6, 0xFF, kSound})
                                               .Put(0x28, {7, 0, 0, 0, 0, 0, 0, 0x40})
                                               .Put(0x40, {3, 0, 0, 0, 0, 0, 0, kSound | 0x08}),
                                           1);
  ASSERT_TRUE(statistics.value);
  ASSERT_EQ(statistics.value->size(), 4U);
  EXPECT_STREQ((*statistics.value)[0].name, "Lifetime Power-On Resets");
  EXPECT_EQ((*statistics.value)[0].value, 10);
  EXPECT_FALSE((*statistics.value)[0].isConditionMet);
  // Supported, and no valid value yet.
  EXPECT_EQ((*statistics.value)[1].place, kPowerOnHours);
  EXPECT_EQ((*statistics.value)[1].value, std::nullopt);
  EXPECT_EQ((*statistics.value)[2].value, 0x060504030201);
  EXPECT_TRUE((*statistics.value)[3].isConditionMet);
  EXPECT_EQ(ValueAt(*statistics.value, kPendingErrors), 3);
  EXPECT_EQ(ValueAt(*statistics.value, kPowerOnHours), std::nullopt);
  EXPECT_EQ(ValueAt(*statistics.value, kPercentageUsed), std::nullopt);
}

TEST(AtaDeviceStatisticsTest, ReadsTemperaturesWithTheirSign) {
  const auto statistics = DecodeStatistics(
      Page(5).Put(0x08, {0xF6, 0, 0, 0, 0, 0, 0, kSound}).Put(0x58, {60, 0, 0, 0, 0, 0, 0, kSound}),
      5);
  EXPECT_EQ(ValueAt(statistics.value.value(), kTemperature), -10);
  EXPECT_EQ(ValueAt(statistics.value.value(), kMostTemperature), 60);
}

TEST(AtaDeviceStatisticsTest, ReadsWearBeyondAHundredPercent) {
  const auto statistics =
      DecodeStatistics(Page(7).Put(0x08, {250, 0, 0, 0, 0, 0, 0, kSound | 0x20}), 7);
  EXPECT_EQ(ValueAt(statistics.value.value(), kPercentageUsed), 250);
  EXPECT_TRUE(statistics.value->at(0).isNormalized);
}

struct Named {
  StatisticPlace place;
  const char* name;
};

TEST(AtaDeviceStatisticsTest, FindsWhatOthersAskForByPlace) {
  for (const Named& row :
       {Named{kPowerOnHours, "Power-on Hours"}, Named{kPendingErrors, "Pending Error Count"},
        Named{kReallocatedSectors, "Number of Reallocated Logical Sectors"},
        Named{kReallocationCandidates, "Number of Reallocation Candidate Logical Sectors"},
        Named{kReportedUncorrectable, "Number of Reported Uncorrectable Errors"},
        Named{kTemperature, "Current Temperature"},
        Named{kMostTemperature, "Specified Maximum Operating Temperature"},
        Named{kInterfaceCrcErrors, "Number of Interface CRC Errors"},
        Named{kPercentageUsed, "Percentage Used Endurance Indicator"}}) {
    const auto statistics = DecodeStatistics(
        Page(row.place.page).Put(row.place.at, {5, 0, 0, 0, 0, 0, 0, kSound}), row.place.page);
    ASSERT_EQ(statistics.value.value().size(), 1U) << row.name;
    EXPECT_STREQ(statistics.value->at(0).name, row.name);
    EXPECT_EQ(ValueAt(*statistics.value, row.place), 5) << row.name;
  }
}

TEST(AtaDeviceStatisticsTest, TakesZerosForAPageThatTheDriveDoesNotHave) {
  const auto statistics = DecodeStatistics(Pages(), 7);
  ASSERT_TRUE(statistics.value);
  EXPECT_TRUE(statistics.value->empty());
  EXPECT_EQ(statistics.trouble, "");
}

TEST(AtaDeviceStatisticsTest, DistrustsAnotherPageAndShortAnswers) {
  const auto other = DecodeStatistics(Page(6).Put(0x08, {9, 0, 0, 0, 0, 0, 0, kSound}), 7);
  EXPECT_FALSE(other.value);
  EXPECT_EQ(other.trouble, "the page is 06h, 07h was asked for");
  EXPECT_EQ(DecodeStatistics(Page(7).Cut(16), 7).trouble, "the answer has 16 of 512 bytes");
  EXPECT_EQ(DecodeStatistics(Pages().Put(0x0F, {kSound}), 7).trouble,
            "the page of device statistics has no revision");
  const std::vector<std::uint8_t> ones(kPageBytes, 0xFF);
  EXPECT_EQ(DecodeStatistics(ones, 7).trouble, "the answer is nothing but ones");
}

}  // namespace
}  // namespace orvan::storage::ata

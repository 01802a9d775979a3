#include "service/modules/storage/health/attributes.h"

#include <gtest/gtest.h>

#include <map>

#include "service/modules/storage/smart_test_support.h"

namespace orvan::storage {
namespace {

template <typename Bench>
HealthAttributes Listed(Bench& bench) {
  DriveLink link = bench.Link();
  return AttributesOf(ReadHealth(link));
}

std::string Row(const HealthAttribute& one) {
  return std::to_string(one.id) + '|' + one.name + '|' + one.threshold + '|' + one.value + '|' +
         one.worst + '|' + one.data;
}

std::vector<std::string> Rows(const HealthAttributes& list) {
  std::vector<std::string> rows;
  for (const HealthAttribute& one : list) rows.push_back(Row(one));
  return rows;
}

TEST(AttributesTest, AnAtaDriveHasItsOwn) {
  AtaBench bench;
  EXPECT_EQ(Rows(Listed(bench)), (std::vector<std::string>{
                                     "5|Reallocated sectors|36|100|99|7",
                                     "194|Temperature|0|36|45|36 (Min/Max 20/41)",
                                 }));
}

TEST(AttributesTest, AThresholdThatIsNotToldIsNone) {
  AtaBench bench;
  ata::Pages thresholds;
  bench.Answer("B0/D1", BytesOf(thresholds.Put(0, {0x10, 0}).Put(2, {5, 36}).Seal()));
  EXPECT_EQ(Row(Listed(bench).at(1)), "194|Temperature|-|36|45|36 (Min/Max 20/41)");
}

// The log in testdata, worked out by hand from its remarks.
TEST(AttributesTest, AnNvmeDriveHasTheFieldsOfItsLog) {
  NvmeBench bench;
  std::vector<std::string> rows;
  for (const HealthAttribute& one : Listed(bench)) {
    EXPECT_EQ(one.threshold + one.value + one.worst, "---");
    rows.push_back(std::to_string(one.id) + '|' + one.name + '|' + one.data);
  }
  EXPECT_EQ(rows, (std::vector<std::string>{
                      "1|Critical warnings|9",
                      "2|Temperature|50 C (323 K)",
                      "3|Available spare|7 %",
                      "4|Available spare threshold|10 %",
                      "5|Percentage used|103 %",
                      "6|Endurance group warnings|4",
                      "7|Data units read|12345 (6.3 GB)",
                      "8|Data units written|36893488147419103231",
                      "9|Host read commands|1000",
                      "10|Host write commands|2000",
                      "11|Controller busy time|60 minutes",
                      "12|Power cycles|100",
                      "13|Power-on hours|10000",
                      "14|Unsafe shutdowns|12",
                      "15|Media and data integrity errors|5",
                      "16|Error log entries|42",
                      "17|Time above warning temperature|17 minutes",
                      "18|Time above critical temperature|2 minutes",
                      "19|Temperature of sensor 1|50 C (323 K)",
                      "20|Temperature of sensor 2|70 C (343 K)",
                      "27|Thermal management 1 transitions|3",
                      "28|Thermal management 2 transitions|1",
                      "29|Thermal management 1 time|180 seconds",
                      "30|Thermal management 2 time|30 seconds",
                  }));
}

TEST(AttributesTest, WhatAnNvmeDriveDoesNotTellIsNone) {
  NvmeBench bench;
  RawBytes log = FromHexFile("nvme/health_log.hex");
  log[1] = log[2] = 0;
  bench.Answer("NVMe 02/02", log);
  EXPECT_EQ(Row(Listed(bench).at(1)), "2|Temperature|-|-|-|-");
}

TEST(AttributesTest, AScsiDriveHasWhatItsPagesSay) {
  ScsiBench bench;
  EXPECT_EQ(Rows(Listed(bench)), (std::vector<std::string>{
                                     "1|Pending exception|-|-|-|none",
                                     "2|Temperature|60 C|-|-|36 C",
                                     "3|Start-stop cycles|10000|-|-|171",
                                     "4|Load-unload cycles|300000|-|-|2060",
                                     "11|Read errors corrected|-|-|-|523124051",
                                     "12|Read errors corrected fast|-|-|-|523124044",
                                     "13|Read errors corrected late|-|-|-|7",
                                     "14|Read repeats|-|-|-|0",
                                     "15|Read correction runs|-|-|-|523124051",
                                     "16|Read bytes processed|-|-|-|112394521950",
                                     "17|Read errors not corrected|-|-|-|2",
                                 }));
}

TEST(AttributesTest, AScsiDriveHasTheSameUnitsAsAnNvmeDrive) {
  ScsiHealth health;
  health.usedPercent = 103;
  EXPECT_EQ(Rows(AttributesOf(health)), std::vector<std::string>{"5|Percentage used|-|-|-|103 %"});
}

TEST(AttributesTest, APendingExceptionIsNamed) {
  ScsiBench bench;
  bench.Answer("4D/00", FromHex("00 00 00 02 00 2F"));
  bench.Answer("4D/2F", FromHex("2F 00 00 08 00 00 03 04 5D 00 24 00"));
  const auto rows = Rows(Listed(bench));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_TRUE(rows[0].starts_with("1|Pending exception|-|-|-|5Dh/00h ")) << rows[0];
  EXPECT_EQ(rows[1], "2|Temperature|-|-|-|36 C");
}

TEST(AttributesTest, ADriveThatToldNothingHasNone) {
  EXPECT_TRUE(AttributesOf(DriveHealth()).empty());
}

// A column without a separator: a longer name would run into the next one.
TEST(AttributesTest, EachNameLeavesABlankInItsColumn) {
  ScsiHealth scsi;
  scsi.exceptions.emplace();
  scsi.temperatures.emplace().now = 1;
  scsi.starts = scsi::StartStopCounts{"", "", 1, 1, 1, 1};
  scsi.reads = scsi.writes = scsi.verifies = scsi::ErrorCounters{1, 1, 1, 1, 1, 1, 1};
  scsi.nonMediumErrors = scsi.usedPercent = 1;
  EXPECT_EQ(AttributesOf(scsi).size(), 27U);
  for (const HealthAttribute& one : AttributesOf(scsi)) {
    EXPECT_LT(one.name.size(), 30U) << one.name;
  }
  NvmeBench nvme;
  for (const HealthAttribute& one : Listed(nvme)) EXPECT_LT(one.name.size(), 40U) << one.name;
}

}  // namespace
}  // namespace orvan::storage

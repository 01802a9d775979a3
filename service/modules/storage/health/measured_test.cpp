#include "service/modules/storage/health/measured.h"

#include <gtest/gtest.h>

#include "service/modules/storage/smart_test_support.h"

namespace orvan::storage {
namespace {

using Rows = std::vector<std::string>;

// "temperature 36 C", and "> 36" behind it for a limit.
std::string Row(const sdk::Measurement& one) {
  std::string row = one.name + ' ' + std::to_string(one.value);
  row.erase(row.find_last_not_of('0') + 1);
  if (row.back() == '.') row.pop_back();
  if (!one.unit.empty()) row += ' ' + one.unit;
  for (const sdk::Limit& limit : one.limits) {
    EXPECT_EQ(limit.kind, sdk::Limit::Kind::kGreaterThan);
    row += " > " + std::to_string(static_cast<int>(limit.value));
  }
  return row;
}

Rows RowsOf(const DriveHealth& health) {
  Rows rows;
  for (const sdk::Measurement& one : MeasuredOf(health)) rows.push_back(Row(one));
  return rows;
}

template <typename Bench>
Rows RowsOfBench(Bench& bench) {
  DriveLink link = bench.Link();
  return RowsOf(ReadHealth(link));
}

TEST(Measured, AnAttributeOfAnAtaDriveHasItsNumberItsValueAndItsThreshold) {
  AtaBench bench;
  EXPECT_EQ(RowsOfBench(bench), (Rows{
                                    "temperature 36 C",
                                    "smart-5-reallocated-sectors 7",
                                    "smart-5-reallocated-sectors-value 100 > 36",
                                    "smart-194-temperature 36 C",
                                    "smart-194-temperature-value 36",
                                }));
}

ata::Attribute Attribute(std::uint8_t id, std::uint8_t raw) {
  ata::Attribute attribute;
  attribute.id = id;
  attribute.value = 100;
  attribute.raw = {raw};
  return attribute;
}

TEST(Measured, TheTemperatureOfTheAirServesWhereThereIsNoOther) {
  AtaHealth health;
  health.data.attributes = {Attribute(190, 31), Attribute(9, 200)};
  DriveHealth told;
  told.told = health;
  EXPECT_EQ(RowsOf(told), (Rows{
                              "temperature 31 C",
                              "power-on-hours 200 h",
                              "smart-190-airflow-temperature 31 C",
                              "smart-190-airflow-temperature-value 100",
                              "smart-9-power-on-hours 200 h",
                              "smart-9-power-on-hours-value 100",
                          }));
  health.data.attributes.push_back(Attribute(194, 40));
  told.told = health;
  EXPECT_EQ(RowsOf(told)[0], "temperature 40 C");
  EXPECT_EQ(RowsOf(told)[1], "power-on-hours 200 h");
}

// 00h is always passed, FEh is invalid and FFh is never passed.
TEST(Measured, AThresholdThatIsNoneIsNoLimit) {
  for (const int threshold : {0x00, 0xFE, 0xFF}) {
    AtaHealth health;
    health.data.attributes = {Attribute(5, 0)};
    health.thresholds.emplace().byId[5] = static_cast<std::uint8_t>(threshold);
    DriveHealth told;
    told.told = health;
    EXPECT_EQ(RowsOf(told).at(1), "smart-5-reallocated-sectors-value 100") << threshold;
  }
}

// The log in testdata, worked out by hand from its remarks.
TEST(Measured, AnNvmeDriveHasTheNumbersOfItsLog) {
  NvmeBench bench;
  EXPECT_EQ(RowsOfBench(bench), (Rows{
                                    "critical-warnings 9",
                                    "temperature 50 C",
                                    "available-spare 7 %",
                                    "available-spare-threshold 10 %",
                                    "percentage-used 103 %",
                                    "endurance-group-warnings 4",
                                    "data-units-read 6320640000 B",
                                    "data-units-written 18889465931478580854784000 B",
                                    "host-read-commands 1000",
                                    "host-write-commands 2000",
                                    "controller-busy-time 60 min",
                                    "power-cycles 100",
                                    "power-on-hours 10000 h",
                                    "unsafe-shutdowns 12",
                                    "media-and-data-integrity-errors 5",
                                    "error-log-entries 42",
                                    "time-above-warning-temperature 17 min",
                                    "time-above-critical-temperature 2 min",
                                    "temperature-of-sensor-1 50 C",
                                    "temperature-of-sensor-2 70 C",
                                    "thermal-management-1-transitions 3",
                                    "thermal-management-2-transitions 1",
                                    "thermal-management-1-time 180 s",
                                    "thermal-management-2-time 30 s",
                                }));
}

TEST(Measured, ASpareThatAControllerDoesNotCountIsNoNumber) {
  NvmeBench bench;
  RawBytes log = FromHexFile("nvme/health_log.hex");
  log[3] = log[4] = 0;
  bench.Answer("NVMe 02/02", log);
  const Rows rows = RowsOfBench(bench);
  EXPECT_EQ(rows.at(1), "temperature 50 C");
  EXPECT_EQ(rows.at(2), "percentage-used 103 %");
}

TEST(Measured, AScsiDriveHasTheNumbersOfItsPages) {
  ScsiBench bench;
  EXPECT_EQ(RowsOfBench(bench), (Rows{
                                    "temperature 36 C",
                                    "start-stop-cycles 171",
                                    "load-unload-cycles 2060",
                                    "read-errors-corrected 523124051",
                                    "read-errors-corrected-fast 523124044",
                                    "read-errors-corrected-late 7",
                                    "read-repeats 0",
                                    "read-correction-runs 523124051",
                                    "read-bytes-processed 112394521950",
                                    "read-errors-not-corrected 2",
                                }));
}

TEST(Measured, ADriveThatToldNothingHasNone) {
  EXPECT_TRUE(RowsOf(DriveHealth()).empty());
}

TEST(Measured, NamesAreOfLettersDigitsAndSingleHyphens) {
  for (const auto& [name, made] : {std::pair{"Pending sectors", "pending-sectors"},
                                   {"Program failures (chip)", "program-failures-chip"},
                                   {"Host writes, 32 MiB", "host-writes-32-mib"},
                                   {"Start/stop count", "start-stop-count"}}) {
    EXPECT_EQ(MeasuredName(name), made);
  }
}

}  // namespace
}  // namespace orvan::storage

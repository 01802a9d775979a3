#include "companions/history/postgresql/run_rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarvex::history {
namespace {

LoggedRun SmallRun() {
  LoggedRun run;
  run.id = "tarvex-20261121T080000.000Z-4711";
  run.state = RunState::kComplete;
  run.machine = "workshop";
  run.start = "2026-11-21T08:00:00.000Z";
  run.verdict = Verdict::kFailed;
  run.devices = {{"naa.5001", "Disk A", "S-1", "storage 0", "storage"}};
  RunTest test;
  test.module = "storage";
  test.diagnostic = "QUICK_TEST";
  test.test = "READ_TEST";
  test.device = 0;
  test.seconds = 1.5;
  test.verdict = Verdict::kFailed;
  test.words = {{"FAIL", "at LBA 2048"}};
  run.tests = {test};
  return run;
}

KnownIds IdsOf(const LoggedRun& run) {
  KnownIds ids;
  for (const RunDevice& device : run.devices) ids.devices[KeyOfDevice(run, device)] = 70;
  for (const RunTest& test : run.tests) ids.tests[KeyOfTest(test)] = 80;
  return ids;
}

std::string RowsOf(const RunRows& rows, const std::string& table) {
  for (const RunRows::Table& item : rows.Tables()) {
    if (std::string(item.name).starts_with("tarvex." + table + " ")) return item.rows.Rows();
  }
  return "no such table";
}

std::string KeyOf(const RunDevice& device) {
  auto run = SmallRun();
  return KeyOfDevice(run, device);
}

TEST(RunRows, KnowAMachineByItsOwnIdAndElseByItsName) {
  auto run = SmallRun();
  EXPECT_EQ(KeyOfMachine(run), "workshop");
  run.machineId = "4af0";
  EXPECT_EQ(KeyOfMachine(run), "4af0");
}

TEST(RunRows, KnowADeviceInTheWholeFleetWhereItsNameIsItsOwn) {
  EXPECT_EQ(KeyOf({"naa.5001", "Disk A", "S-1", "storage 0", "storage"}), "storage/naa.5001");
  EXPECT_EQ(KeyOf({"Disk A_S-1", "Disk A", "S-1", "", "storage"}), "storage/Disk A_S-1/Disk A/S-1");
}

TEST(RunRows, KnowADeviceOfNoNameOfItsOwnOnItsMachineOnly) {
  EXPECT_EQ(KeyOf({"pci-0000:00:17.0", "Disk", "", "", "storage"}),
            "storage/pci-0000:00:17.0@workshop");
}

TEST(RunRows, TakeTheTimeOfALogThatDoesNotSayFromItsName) {
  auto run = SmallRun();
  run.start.clear();
  EXPECT_EQ(StartOf(run), "2026-11-21T08:00:00.000Z");
  for (const char* id : {"tarvex-yesterday", "tarvex-20261399T080000.000Z-4711"}) {
    run.id = id;
    EXPECT_EQ(StartOf(run), "");
  }
}

TEST(RunRows, HaveARowOfTheRun) {
  CopyText rows;
  AddRunRow(rows, {SmallRun(), 900}, 3);
  EXPECT_EQ(rows.Rows(),
            "3\tworkshop\tworkshop\ttarvex-20261121T080000.000Z-4711\tcomplete\t900\t\\N\t\\N\t"
            "2026-11-21T08:00:00.000Z\t\\N\tf\tfailed\n");
}

TEST(RunRows, HaveARowOfEachResultAndOfItsWords) {
  const auto run = SmallRun();
  RunRows rows;
  rows.Add(run, 5, IdsOf(run));
  EXPECT_EQ(RowsOf(rows, "run_device"), "5\t0\t70\tstorage 0\n");
  EXPECT_EQ(RowsOf(rows, "test_result"), "5\t0\t80\t70\t\\N\t\\N\t1.5\tfailed\t\\N\n");
  EXPECT_EQ(RowsOf(rows, "test_word"), "5\t0\t0\tFAIL\tat LBA 2048\n");
}

TEST(RunRows, HaveMeasurementsWithTheirLimitsAndParameters) {
  auto run = SmallRun();
  run.tests[0].device.reset();
  run.tests[0].parameters = {{"blocks", "8"}, {"mode", "\"x\""}};
  run.tests[0].measurements = {{"read-rate", 2.5, "B/s", {{"LESS_THAN", 5}, {"EQUAL", 2.5}}},
                               {"slow-answers", std::nullopt, "", {}}};
  RunRows rows;
  rows.Add(run, 5, IdsOf(run));
  EXPECT_EQ(RowsOf(rows, "measurement"),
            "5\t0\t0\tread-rate\t2.5\tB/s\t"
            "[{\"kind\":\"LESS_THAN\",\"value\":5},{\"kind\":\"EQUAL\",\"value\":2.5}]\n"
            "5\t0\t1\tslow-answers\t\\N\t\\N\t\\N\n");
  // A backslash of JSON is one of the format of COPY, too.
  EXPECT_EQ(RowsOf(rows, "test_result"),
            "5\t0\t80\t\\N\t\\N\t\\N\t1.5\tfailed\t"
            "{\"blocks\":\"8\",\"mode\":\"\\\\\"x\\\\\"\"}\n");
}

TEST(RunRows, HaveSeriesAsTwoLists) {
  auto run = SmallRun();
  run.tests[0].series = {{"read-times", "CURVE", "s", "lba", "", {{0, 0.5}, {8, 0.25}}}};
  RunRows rows;
  rows.Add(run, 5, IdsOf(run));
  EXPECT_EQ(RowsOf(rows, "series"), "5\t0\t0\tread-times\tCURVE\ts\tlba\t\\N\t{0,8}\t{0.5,0.25}\n");
}

TEST(RunRows, HaveWhatTheLogSaysOfTheRunInItsOrder) {
  auto run = SmallRun();
  run.modules = {{"storage", "1.2.3.4"}};
  run.errors = {{"plugin-refused", "second"}};
  run.notes = {{"INFO", "run of storage on 0 begins"}};
  RunRows rows;
  rows.Add(run, 5, IdsOf(run));
  EXPECT_EQ(RowsOf(rows, "run_module"), "5\t0\tstorage\t1.2.3.4\n");
  EXPECT_EQ(RowsOf(rows, "run_remark"),
            "5\t0\tplugin-refused\t\\N\tsecond\n"
            "5\t1\t\\N\tINFO\trun of storage on 0 begins\n");
}

}  // namespace
}  // namespace tarvex::history

#include "companions/scheduled/run_log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/test_folder.h"

namespace tarvex::scheduled {
namespace {

// A log of one line more than the first, which names no machine, with its machine's name.
void Write(const std::string& path, const std::string& machine) {
  std::ofstream(path)
      << R"({"sequenceNumber":0,"timestamp":"2026-11-21T08:00:00.000Z",)"
      << R"("schemaVersion":{"major":2,"minor":0}})" << '\n'
      << R"({"sequenceNumber":1,"timestamp":"2026-11-21T08:00:00.000Z","testRunArtifact":)"
      << R"({"testRunStart":{"name":"Tarvex Diagnostics","version":"5.0.0.0","commandLine":"c",)"
      << R"("parameters":{},"dutInfo":{"dutInfoId":"0","name":")" << machine << "\"}}}}\n";
}

TEST(RunLog, IsTheNewestOfTheProcess) {
  const TestFolder folder;
  const std::string path = folder.Path();
  Write(path + "/tarvex-20261121T080000.000Z-4711.jsonl", "older");
  Write(path + "/tarvex-20261121T090000.000Z-4711.jsonl", "wanted");
  Write(path + "/tarvex-20261121T100000.000Z-14711.jsonl", "other");
  const history::ReadLog read = LogOfProcess(path, 4711, {});
  ASSERT_TRUE(read.run) << read.why;
  EXPECT_EQ(read.run->machine, "wanted");
  EXPECT_EQ(LogOfProcess(path, 711, {}).why, "it left no log in " + path);
}

TEST(RunLog, OneThatWasThereBeforeIsThatOfAnotherRun) {
  const TestFolder folder;
  const std::string path = folder.Path();
  Write(path + "/tarvex-20261121T080000.000Z-4711.jsonl", "older");
  const std::set<std::string> before = RunsIn(path);
  EXPECT_EQ(before, (std::set<std::string>{"tarvex-20261121T080000.000Z-4711"}));
  EXPECT_FALSE(LogOfProcess(path, 4711, before).run);
  // The next run gives it the name of one that crashed.
  std::filesystem::rename(path + "/tarvex-20261121T080000.000Z-4711.jsonl",
                          path + "/tarvex-20261121T080000.000Z-4711.crashed.jsonl");
  EXPECT_FALSE(LogOfProcess(path, 4711, before).run);
  // The clock was set back.
  Write(path + "/tarvex-20250101T000000.000Z-4711.jsonl", "wanted");
  const history::ReadLog read = LogOfProcess(path, 4711, before);
  ASSERT_TRUE(read.run) << read.why;
  EXPECT_EQ(read.run->machine, "wanted");
}

TEST(RunLog, WithoutAFolderThereIsNone) {
  EXPECT_TRUE(RunsIn("/no/such/folder").empty());
  EXPECT_EQ(LogOfProcess("/no/such/folder", 4711, {}).why, "it left no log in /no/such/folder");
}

TEST(RunLog, ABrokenOneIsNamed) {
  const TestFolder folder;
  const std::string path = folder.Path();
  std::ofstream(path + "/tarvex-20261121T080000.000Z-4711.jsonl") << "no log\n";
  const history::ReadLog read = LogOfProcess(path, 4711, {});
  EXPECT_FALSE(read.run);
  EXPECT_TRUE(read.why.starts_with("its log " + path)) << read.why;
}

}  // namespace
}  // namespace tarvex::scheduled

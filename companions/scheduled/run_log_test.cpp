#include "companions/scheduled/run_log.h"

#include <gtest/gtest.h>

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
  const history::ReadLog read = LogOfProcess(path, 4711, 0);
  ASSERT_TRUE(read.run) << read.why;
  EXPECT_EQ(read.run->machine, "wanted");
  EXPECT_EQ(LogOfProcess(path, 711, 0).why, "it left no log in " + path);
}

TEST(RunLog, OneThatWasNotWrittenToSinceIsThatOfAnotherRun) {
  const TestFolder folder;
  const std::string path = folder.Path();
  Write(path + "/tarvex-20261121T080000.000Z-4711.jsonl", "older");
  constexpr std::int64_t kFarAhead = 4102444800000000000;  // the year 2100
  EXPECT_FALSE(LogOfProcess(path, 4711, kFarAhead).run);
}

TEST(RunLog, ABrokenOneIsNamed) {
  const TestFolder folder;
  const std::string path = folder.Path();
  std::ofstream(path + "/tarvex-20261121T080000.000Z-4711.jsonl") << "no log\n";
  const history::ReadLog read = LogOfProcess(path, 4711, 0);
  EXPECT_FALSE(read.run);
  EXPECT_TRUE(read.why.starts_with("its log " + path)) << read.why;
}

}  // namespace
}  // namespace tarvex::scheduled

// What a log keeps, and what it leaves out, where room runs out.
#include <gtest/gtest.h>

#include <algorithm>

#include "service/log/log.h"
#include "service/log/log_folder.h"
#include "service/log/log_step.h"
#include "tests/support/log_test_support.h"
#include "tests/support/test_disk.h"

namespace orvan::log {
namespace {

using Lines = std::vector<std::string>;

std::string StepText(int step, const std::string& artifact) {
  return R"("testStepArtifact":{"testStepId":")" + std::to_string(step) + R"(",)" + artifact + "}}";
}
std::string Start(int step, const std::string& name) {
  return StepText(step, R"("testStepStart":{"name":")" + name + R"("})");
}
std::string Ended(int step) {
  return StepText(step, R"("testStepEnd":{"status":"COMPLETE"})");
}
std::string Passed(int step) {
  return StepText(step, R"("diagnosis":{"verdict":"a-passed","type":"PASS"})");
}
std::string RunEnd(const std::string& status, const std::string& result) {
  return R"("testRunArtifact":{"testRunEnd":{"status":")" + status + R"(","result":")" + result +
         R"("}}})";
}

// More texts than fit into what is held on a full disk.
void Flood(StepLog& step, std::size_t bytes) {
  for (int i = 0; i < 100; ++i) {
    step.Message(std::string(bytes, 'x'));
  }
}
// Until no line of a step finds room that leaves the same room behind itself.
void Flood(StepLog& step) {
  for (const std::size_t bytes : {15000U, 100U, 1U}) {
    Flood(step, bytes);
  }
}

std::string WholeText(const std::string& folder) {
  return testing::FileText(folder + '/' + testing::NamesIn(folder).front());
}

TEST(LogRoom, AFullDiskTakesNeitherTheOutcomeOfATestNorTheEndOfTheRun) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  ServiceLog log(disk.Path());
  StepLog running(log, "running", nullptr, false);
  disk.Fill();
  Flood(running, 15000);
  running.End("A", sdk::Verdict::Passed());
  StepLog late(log, std::string(16000, 'y'), nullptr, false);
  late.Message("a");
  late.End("A", sdk::Verdict::Passed());
  log.Count(kTestPassed);
  log.End();
  // Three texts found room; the other 97 and the start of the late step did not.
  const std::string text =
      StepText(0, R"("log":{"severity":"INFO","message":")" + std::string(15000, 'x') + R"("})");
  EXPECT_EQ(testing::LogLinesAfterStart(disk.Path()),
            (Lines{Start(0, "running"), text, text, text, Passed(0), Ended(0),
                   testing::RunErrorLine("log-incomplete", "lines that found no room: 98"),
                   RunEnd("COMPLETE", "PASS")}));
  EXPECT_TRUE(TakeUnfinishedLogs(disk.Path()).empty());
}

TEST(LogRoom, OfASeriesAFullDiskTakesAllOrNothing) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  ServiceLog log(disk.Path());
  StepLog step(log, "running", nullptr, false);
  disk.Fill();
  // Less than what is held behind its start, and each of its lines would find room.
  sdk::MeasurementSeries series;
  series.points.resize(256);
  for (int i = 0; i < 8; ++i) step.Measure(series);
  log.End();
  const Lines lines = testing::LogLinesAfterStart(disk.Path());
  const auto count = [&lines](const std::string& word) {
    return std::count_if(lines.begin(), lines.end(), [&word](const std::string& line) {
      return line.find(word) != std::string::npos;
    });
  };
  const auto whole = count("measurementSeriesEnd");
  EXPECT_LT(whole, 8);
  EXPECT_EQ(count("measurementSeriesStart"), whole);
  EXPECT_EQ(count("measurementSeriesElement"), 256 * whole);
  EXPECT_EQ(count("lines that found no room: " + std::to_string(258 * (8 - whole))), 1);
}

TEST(LogRoom, AFullDiskTakesNoVerdict) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  ServiceLog log(disk.Path());
  StepLog step(log, "running", nullptr, false);
  disk.Fill();
  Flood(step);
  step.End("A", sdk::Verdict::Passed());
  const Lines lines = testing::LogLines(disk.Path());
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()), (Lines{Passed(0), Ended(0)}));
}

TEST(LogRoom, AFullDiskTakesNoException) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  ServiceLog log(disk.Path());
  StepLog step(log, "running", nullptr, false);
  disk.Fill();
  Flood(step);
  step.Exception("thrown");
  EXPECT_EQ(testing::LogLines(disk.Path()).back(),
            StepText(0, R"("error":{"symptom":"exception","message":"thrown"})"));
}

TEST(LogRoom, GoesOnWhenADiskHasRoomAgainAndShowsTheGap) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  ServiceLog log(disk.Path());
  log.Text(LogSeverity::kInfo, "a");
  disk.Fill();
  for (int i = 0; i < 5; ++i) {
    log.Text(LogSeverity::kInfo, std::string(15000, 'x'));
  }
  disk.Empty();
  log.Text(LogSeverity::kInfo, "b");
  log.End();
  const std::string text = WholeText(disk.Path());
  // Two of the start, "a", and three of five texts; the next two are lost.
  EXPECT_NE(text.find("{\"sequenceNumber\":5,"), std::string::npos);
  EXPECT_EQ(text.find("{\"sequenceNumber\":6,"), std::string::npos);
  EXPECT_EQ(text.find("{\"sequenceNumber\":7,"), std::string::npos);
  const Lines lines = testing::LogLines(disk.Path());
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[lines.size() - 2],
            testing::RunErrorLine("log-incomplete", "lines that found no room: 2"));
  EXPECT_EQ(lines.back(), RunEnd("SKIP", "NOT_APPLICABLE"));
}

TEST(LogRoom, IsNotBegunWhereItsEndFindsNoRoom) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  disk.Fill(1);
  ServiceLog small(disk.Path());
  small.Text(LogSeverity::kInfo, "a");
  EXPECT_TRUE(testing::NamesIn(disk.Path()).empty());
  disk.Fill(2);
  ServiceLog log(disk.Path());
  log.Text(LogSeverity::kInfo, "a");
  log.End();
  EXPECT_EQ(testing::LogLinesAfterStart(disk.Path()),
            (Lines{testing::RunErrorLine("log-incomplete", "lines that found no room: 1"),
                   RunEnd("SKIP", "NOT_APPLICABLE")}));
}

TEST(LogRoom, ALimitOfFileSizesIsLikeAFullDisk) {
  testing::TemporaryFolder folder;
  const SizeLimit limit(8192);
  ServiceLog log(folder.Path());
  log.Text(LogSeverity::kInfo, "a");
  log.End();
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            (Lines{testing::RunErrorLine("log-incomplete", "lines that found no room: 1"),
                   RunEnd("SKIP", "NOT_APPLICABLE")}));
}

// A test of which nothing but its start and its outcome is said.
void OneTest(ServiceLog& log, const std::string& name) {
  StepLog(log, name, nullptr, false).End("A", sdk::Verdict::Passed());
}

// Where the first of these lines begins in the text, in bytes.
std::size_t PlaceOf(const std::string& text, const std::string& line) {
  const std::size_t place = text.find(line);
  return place != std::string::npos ? text.rfind('\n', place) + 1 : place;
}

const std::string kNoNotes =
    R"("testRunArtifact":{"log":{"severity":"WARNING","message":"the log is long; )"
    R"(left out from here on: measurements and texts"}}})";
const std::string kNoEvents =
    R"("testRunArtifact":{"log":{"severity":"WARNING","message":"the log is long; )"
    R"(left out from here on: tests and errors"}}})";

TEST(LogRoom, ALongLogLeavesOutNotesFromOneLimitOnAndTestsFromAnother) {
  testing::TemporaryFolder folder;
  ServiceLog log(folder.Path(), {}, {100, 1 << 20, 1000, 2000});
  log.Begin({});
  StepLog step(log, "first", nullptr, false);
  Flood(step, 100);
  step.Measure({"a", 1, ""});
  step.End("A", sdk::Verdict::Passed());
  for (int i = 0; i < 100; ++i) {
    OneTest(log, "more");
    log.Error("fault", "x");
  }
  log.Text(LogSeverity::kInfo, "note");
  log.End();
  const std::string text = WholeText(folder.Path());
  // The last line below a limit may reach beyond it, and so may the outcome of the last test.
  EXPECT_GE(PlaceOf(text, kNoNotes), 1000U);
  EXPECT_LT(PlaceOf(text, kNoNotes), 1300U);
  EXPECT_GE(PlaceOf(text, kNoEvents), 2000U);
  EXPECT_LT(PlaceOf(text, kNoEvents), 2500U);
  EXPECT_LT(text.size(), 3000U);
}

TEST(LogRoom, ALongLogKeepsTheFormat) {
  testing::TemporaryFolder folder;
  ServiceLog log(folder.Path(), {}, {100, 1 << 20, 1000, 2000});
  StepLog step(log, "first", nullptr, false);
  for (int i = 0; i < 100; ++i) {
    OneTest(log, "more");
    log.Text(LogSeverity::kInfo, "note");
  }
  step.Message("note");
  step.End("A", sdk::Verdict::Passed());
  log.End();
  const Lines lines = testing::LogLines(folder.Path());
  const auto count = [&lines](const std::string& part) {
    return std::count_if(lines.begin(), lines.end(), [&part](const std::string& line) {
      return line.find(part) != std::string::npos;
    });
  };
  EXPECT_EQ(count(kNoNotes), 1);
  EXPECT_EQ(count(kNoEvents), 1);
  EXPECT_GT(count("testStepStart"), 1);
  EXPECT_EQ(count("testStepStart"), count("testStepEnd"));
  EXPECT_EQ(count("testStepStart"), count("diagnosis"));
  EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
            (Lines{Passed(0), Ended(0), RunEnd("SKIP", "NOT_APPLICABLE")}));
  const std::string text = WholeText(folder.Path());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_NE(text.find("{\"sequenceNumber\":" + std::to_string(i) + ','), std::string::npos) << i;
  }
}

TEST(LogRoom, TheLongestLogIsKeptByTheNextRun) {
  const LogLimits limits;
  EXPECT_LT(limits.noteBytes, limits.eventBytes);
  EXPECT_LE(limits.eventBytes, limits.bytes / 2);
}

}  // namespace
}  // namespace orvan::log

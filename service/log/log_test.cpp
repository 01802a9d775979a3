#include "service/log/log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tests/support/log_test_support.h"
#include "tests/support/test_disk.h"

namespace orvan::log {
namespace {

using testing::TemporaryFolder;
using Lines = std::vector<std::string>;

std::string TextLine(const std::string& severity, const std::string& message) {
  return R"("testRunArtifact":{"log":{"severity":")" + severity + R"(","message":")" + message +
         R"("}}})";
}

std::string EndLine(const std::string& status, const std::string& result) {
  return R"("testRunArtifact":{"testRunEnd":{"status":")" + status + R"(","result":")" + result +
         R"("}}})";
}

TEST(ServiceLog, BeginsWithTheVersionOfTheFormatAndTheRun) {
  TemporaryFolder folder;
  LogSubject subject;
  subject.program = "/usr/bin/program";
  subject.version = "5.0.0.0";
  ServiceLog log(folder.Path("state/log"), subject);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("state")));
  log.Text(LogSeverity::kWarning, "first");
  EXPECT_EQ(testing::LogLines(folder.Path("state/log")),
            (Lines{R"("schemaVersion":{"major":2,"minor":0}})",
                   R"("testRunArtifact":{"testRunStart":{"name":"Tarvex Diagnostics",)"
                   R"("version":"5.0.0.0","commandLine":"/usr/bin/program","parameters":{},)"
                   R"("dutInfo":{"dutInfoId":"0","softwareInfos":[],"hardwareInfos":[]}}}})",
                   TextLine("WARNING", "first")}));
  struct stat status {};
  const std::string name = testing::NamesIn(folder.Path("state/log")).front();
  ASSERT_EQ(stat(folder.Path("state/log/" + name).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST(ServiceLog, BeginsWithAllThatIsKnownOfTheRun) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  LogSubject subject;
  subject.machine = "host";
  subject.isSimulated = true;
  subject.software = {{"Linux", "6.1", "SYSTEM"}, {"storage", ""}};
  subject.machineId = "5b0c";
  subject.hardware = {{"0", "Disk", "storage 0", "S1", "storage", "wwn-5"},
                      {"1", "Other", "", "", "", ""}};
  EXPECT_TRUE(log.Begin(subject));
  EXPECT_EQ(testing::LogLines(folder.Path()).at(1),
            R"("testRunArtifact":{"testRunStart":{"name":"Tarvex Diagnostics","version":"",)"
            R"("commandLine":"","parameters":{"simulated":true},"dutInfo":{"dutInfoId":"0",)"
            R"("name":"host","softwareInfos":[)"
            R"({"softwareInfoId":"0","name":"Linux","version":"6.1","softwareType":"SYSTEM"},)"
            R"({"softwareInfoId":"1","name":"storage","softwareType":"APPLICATION"}],)"
            R"("hardwareInfos":[{"hardwareInfoId":"0","name":"Disk","location":"storage 0",)"
            R"("serialNumber":"S1","partType":"storage"},)"
            R"({"hardwareInfoId":"1","name":"Other"}],)"
            R"("metadata":{"machineId":"5b0c","deviceKeys":{"0":"wwn-5"}}}}}})");
}

TEST(ServiceLog, ARunThatHadToSaySomethingBeforeIsNotBegunAgain) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  log.Error("early", "too soon");
  EXPECT_FALSE(log.Begin({}));
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            Lines{testing::RunErrorLine("early", "too soon")});
}

TEST(ServiceLog, NumbersItsLinesFromZero) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  log.Step(log.StartStep("a"), TextArtifact(LogSeverity::kInfo, "b"));
  log.End();
  const std::string name = testing::NamesIn(folder.Path()).front();
  std::ifstream file(folder.Path(name));
  int number = 0;
  for (std::string line; std::getline(file, line); ++number) {
    EXPECT_EQ(
        line.rfind("{\"sequenceNumber\":" + std::to_string(number) + ",\"timestamp\":\"20", 0), 0U)
        << line;
  }
  EXPECT_EQ(number, 5);
}

TEST(ServiceLog, ARunWithNothingToSayLeavesNothing) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path("log"));
  log.Count(kTestFailed);
  log.End();
  log.Text(LogSeverity::kInfo, "too late");
  EXPECT_FALSE(std::filesystem::exists(folder.Path("log")));
}

TEST(ServiceLog, NothingFollowsTheEnd) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  log.Text(LogSeverity::kInfo, "a");
  log.End();
  log.End();
  log.Error("late", "b");
  log.StartStep("c");
  EXPECT_FALSE(log.Begin({}));
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            (Lines{TextLine("INFO", "a"), EndLine("SKIP", "NOT_APPLICABLE")}));
}

struct Ending {
  std::vector<TestStatus> verdicts;
  bool hasError;
  const char* status;
  const char* result;
};

TEST(ServiceLog, EndsWithWhatTheVerdictsComeTo) {
  const Ending endings[] = {
      {{}, false, "SKIP", "NOT_APPLICABLE"},
      {{}, true, "ERROR", "NOT_APPLICABLE"},
      {{kTestNotApplicable}, false, "SKIP", "NOT_APPLICABLE"},
      {{kTestNotApplicable}, true, "ERROR", "NOT_APPLICABLE"},
      {{kTestPassed}, true, "COMPLETE", "PASS"},
      {{kTestWarning}, false, "COMPLETE", "PASS"},
      {{kTestPassed, kTestNotApplicable}, false, "COMPLETE", "PASS"},
      {{kTestCanceled, kTestPassed}, false, "SKIP", "NOT_APPLICABLE"},
      {{kTestPassed, kTestInvalid, kTestCanceled}, false, "ERROR", "NOT_APPLICABLE"},
      {{kTestUnrecognized, kTestPassed}, false, "ERROR", "NOT_APPLICABLE"},
      {{99}, false, "ERROR", "NOT_APPLICABLE"},
      {{kTestInvalid, kTestFailed, kTestCanceled}, true, "COMPLETE", "FAIL"},
  };
  for (const Ending& ending : endings) {
    TemporaryFolder folder;
    ServiceLog log(folder.Path());
    log.Begin({});
    if (ending.hasError) log.Error("fault", "x");
    for (const TestStatus verdict : ending.verdicts) {
      log.Count(verdict);
    }
    log.End();
    EXPECT_EQ(testing::LogLines(folder.Path()).back(), EndLine(ending.status, ending.result))
        << ::testing::PrintToString(ending.verdicts) << ending.hasError;
  }
}

TEST(ServiceLog, ATextSteersNothing) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  log.Text(LogSeverity::kError, "a\nb\x1B[2J\xFF\"" + std::string(1, '\0'));
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            Lines{TextLine("ERROR", "a\uFFFDb\uFFFD[2J\uFFFD\\\"\uFFFD")});
}

TEST(ServiceLog, CutsALongTextAtACharacter) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  log.Text(LogSeverity::kInfo, std::string(16384, 'x'));
  log.Text(LogSeverity::kInfo, std::string(16383, 'x') + "\xC3\xA4");
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            (Lines{TextLine("INFO", std::string(16384, 'x')),
                   TextLine("INFO", std::string(16383, 'x') + " [cut]")}));
}

TEST(ServiceLog, MovesBeforeItsFirstLineWithoutATrace) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path("a"));
  std::string moved = folder.Path("b");
  std::replace(moved.begin(), moved.end(), '/', '\\');
  log.MoveTo(moved);
  log.Text(LogSeverity::kInfo, "line");
  EXPECT_FALSE(std::filesystem::exists(folder.Path("a")));
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path("b")), Lines{TextLine("INFO", "line")});
}

TEST(ServiceLog, MovesWithAllThatWasSaid) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path("a"));
  log.Text(LogSeverity::kInfo, "first");
  log.MoveTo(folder.Path("b"));
  log.MoveTo(folder.Path("b"));
  log.Text(LogSeverity::kInfo, "second");
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("a")));
  EXPECT_EQ(testing::NamesIn(folder.Path("b")).size(), 1U);
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path("b")),
            (Lines{TextLine("INFO", "first"), TextLine("INFO", "second")}));
}

TEST(ServiceLog, StaysWhereItIsWhenItCannotMove) {
  TemporaryFolder folder;
  folder.Write("file", "");
  ServiceLog log(folder.Path("a"));
  log.Text(LogSeverity::kInfo, "first");
  log.MoveTo(folder.Path("file/b"));
  log.Text(LogSeverity::kInfo, "second");
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path("a")),
            (Lines{TextLine("INFO", "first"), TextLine("INFO", "second")}));
}

TEST(ServiceLog, IsSilentWhereItCannotWrite) {
  TemporaryFolder folder;
  folder.Write("file", "");
  ServiceLog underFile(folder.Path("file/log"));
  underFile.Text(LogSeverity::kInfo, "line");
  EXPECT_FALSE(underFile.Begin({}));
  underFile.EndStep(underFile.StartStep("a"), LogStatus::kComplete);
  underFile.End();
  ServiceLog nowhere("");
  nowhere.Text(LogSeverity::kInfo, "line");
  EXPECT_EQ(testing::FileText(folder.Path("file")), "");
}

TEST(ServiceLog, GoesOnWhenItsFolderVanishes) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path("log"));
  log.Text(LogSeverity::kInfo, "line");
  std::filesystem::remove_all(folder.Path("log"));
  log.EndStep(log.StartStep("a"), LogStatus::kComplete);
  log.End();
  EXPECT_FALSE(std::filesystem::exists(folder.Path("log")));
}

TEST(ServiceLog, LosesWholeLinesWhereThereIsNoRoomAndShowsItInTheirNumbers) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  log.Text(LogSeverity::kInfo, "a");
  {
    const SizeLimit limit(1024);
    log.Text(LogSeverity::kInfo, std::string(2000, 'x'));
  }
  log.Text(LogSeverity::kInfo, "b");
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            (Lines{TextLine("INFO", "a"), TextLine("INFO", "b")}));
  const std::string text = testing::FileText(folder.Path(testing::NamesIn(folder.Path()).front()));
  EXPECT_NE(text.find("{\"sequenceNumber\":2,"), std::string::npos);
  EXPECT_EQ(text.find("{\"sequenceNumber\":3,"), std::string::npos);
  EXPECT_NE(text.find("{\"sequenceNumber\":4,"), std::string::npos);
}

TEST(ServiceLog, LeavesNothingInAFolderWithoutRoomForAllThatWasSaid) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path("a"));
  log.Text(LogSeverity::kInfo, std::string(2000, 'x'));
  {
    const SizeLimit limit(1024);
    log.MoveTo(folder.Path("b"));
  }
  log.Text(LogSeverity::kInfo, "b");
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("b")));
  EXPECT_EQ(testing::LogLines(folder.Path("a")).back(), TextLine("INFO", "b"));
}

TEST(ServiceLog, LeavesNoBrokenBeginning) {
  TemporaryFolder folder;
  {
    const SizeLimit limit(100);  // the first line fits, the second does not
    ServiceLog log(folder.Path());
    log.Text(LogSeverity::kInfo, "a");
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(ServiceLog, TellsOnceOfARunThatDidNotEnd) {
  TemporaryFolder folder;
  std::string name;
  {
    ServiceLog crashed(folder.Path());
    crashed.EndStep(crashed.StartStep("whole"), LogStatus::kComplete);
    crashed.StartStep("storage/Q/READ/0");
    name = testing::NamesIn(folder.Path()).front();
  }
  name.insert(name.size() - 6, ".crashed");
  TemporaryFolder next;
  ServiceLog log(next.Path());
  log.Text(LogSeverity::kInfo, "first");
  log.MoveTo(folder.Path());
  EXPECT_EQ(testing::LogLines(folder.Path()).back(),
            testing::RunErrorLine(
                "earlier-run-unfinished",
                "an earlier run did not come to its end: " + name + "; running: storage/Q/READ/0"));
  log.Text(LogSeverity::kInfo, "second");
  log.End();
  EXPECT_EQ(testing::NamesIn(folder.Path()).size(), 2U);
  EXPECT_EQ(testing::NamesIn(folder.Path()).front(), name);
  std::filesystem::remove(folder.Path(name));
  ServiceLog later(folder.Path());
  later.Text(LogSeverity::kInfo, "third");
  EXPECT_EQ(testing::LogLines(folder.Path()).back(), TextLine("INFO", "third"));
}

TEST(ServiceLog, ACrashOfEarlierDoesNotChangeTheOutcome) {
  TemporaryFolder folder;
  { ServiceLog(folder.Path()).Text(LogSeverity::kInfo, "crashed"); }
  ServiceLog log(folder.Path());
  log.Begin({});
  log.End();
  EXPECT_EQ(testing::LogLines(folder.Path()).back(), EndLine("SKIP", "NOT_APPLICABLE"));
}

TEST(ServiceLog, ARunThatGoesOnIsNoCrash) {
  TemporaryFolder folder;
  ServiceLog running(folder.Path());
  running.StartStep("a");
  ServiceLog log(folder.Path());
  log.Text(LogSeverity::kInfo, "b");
  for (const std::string& line : testing::LogLines(folder.Path())) {
    EXPECT_EQ(line.find("error"), std::string::npos) << line;
  }
}

TEST(ServiceLog, RemovesTheOldestLogsBeyondTheLimit) {
  TemporaryFolder folder;
  const std::string oldest = "tarvex-20200101T000000.000Z-1.jsonl";
  folder.Write(oldest, "x");
  folder.Write("tarvex-20200102T000000.000Z-1.crashed.jsonl", "x");
  ServiceLog log(folder.Path(), {}, {2, 1 << 20});
  log.Text(LogSeverity::kInfo, "a");
  const std::vector<std::string> names = testing::NamesIn(folder.Path());
  ASSERT_EQ(names.size(), 2U);
  EXPECT_EQ(names.front(), "tarvex-20200102T000000.000Z-1.crashed.jsonl");
}

}  // namespace
}  // namespace orvan::log

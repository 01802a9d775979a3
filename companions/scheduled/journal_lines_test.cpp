#include "companions/scheduled/journal_lines.h"

#include <gtest/gtest.h>

#include <csignal>

namespace tarvex::scheduled {
namespace {

using history::LoggedRun;
using history::RunTest;
using history::Verdict;
using Lines = std::vector<std::string>;

RunTest TestOf(const char* test, Verdict verdict, std::vector<history::Word> words = {},
               std::optional<std::size_t> device = 0) {
  RunTest made;
  made.test = test;
  made.verdict = verdict;
  made.words = std::move(words);
  made.device = device;
  return made;
}

LoggedRun RunOf(std::vector<RunTest> tests) {
  LoggedRun run;
  run.file = "/log/a.jsonl";
  run.devices = {{"wwn-5", "Disk A", "S-1", "storage 0, pci-0000:00:17.0", "storage"},
                 {"", "Disk B", "", "", "storage"}};
  run.tests = std::move(tests);
  return run;
}

Lines Of(int status, const LoggedRun& run) {
  return JournalLines({status, 0}, &run, {});
}

TEST(JournalLines, ARunThatPassedIsOneLine) {
  EXPECT_EQ(Of(0, RunOf({TestOf("READ_TEST", Verdict::kPassed, {{"PASS", "all read"}}),
                         TestOf("READ_TEST", Verdict::kNotApplicable, {}, 1)})),
            (Lines{"<6>The scheduled run passed; 2 tests on 2 devices: 1 passed, 1 not applicable; "
                   "log /log/a.jsonl"}));
}

TEST(JournalLines, EachTestThatDidNotPassIsNamedWithItsDeviceAndItsWords) {
  EXPECT_EQ(Of(21, RunOf({TestOf("READ_TEST", Verdict::kFailed,
                                 {{"INFO", "begins"},
                                  {"PASS", "the first half is sound"},
                                  {"FAIL", "Unreadable sectors: first LBA 2048"},
                                  {"WARNING", "hot"}}),
                          TestOf("SMART_TEST", Verdict::kWarning, {{"WARNING", "worn"}}, 1),
                          TestOf("READ_TEST", Verdict::kInvalid, {{"ERROR", "no permission"}}, 1),
                          TestOf("READ_TEST", Verdict::kCanceled, {}, std::nullopt),
                          TestOf("READ_TEST", Verdict::kUnfinished)})),
            (Lines{"<3>Disk A, serial number S-1 (storage 0, pci-0000:00:17.0): Read Test: failed: "
                   "Unreadable sectors: first LBA 2048; hot",
                   "<4>Disk B: Smart Test: warning: worn",
                   "<5>Disk B: Read Test: invalid: no permission", "<5>Read Test: canceled",
                   "<3>Disk A, serial number S-1 (storage 0, pci-0000:00:17.0): Read Test: "
                   "unfinished",
                   "<3>The scheduled run failed; 5 tests on 2 devices: 1 failed, 1 unfinished, 1 "
                   "warning, 1 canceled, 1 invalid; log /log/a.jsonl"}));
}

TEST(JournalLines, ErrorsOutsideOfTestsAreNotices) {
  LoggedRun run = RunOf({});
  run.errors = {{"plugin-refused", "bad.so: no"}, {"earlier-run-unfinished", ""}};
  EXPECT_EQ(Of(31, run), (Lines{"<5>plugin-refused: bad.so: no", "<5>earlier-run-unfinished",
                                "<5>The scheduled run found no device; 0 tests on 2 devices; log "
                                "/log/a.jsonl"}));
}

TEST(JournalLines, ARunWithThousandsOfFaultsDoesNotFloodTheJournal) {
  const Lines lines =
      Of(21, RunOf(std::vector<RunTest>(1000, TestOf("READ_TEST", Verdict::kFailed))));
  ASSERT_EQ(lines.size(), 52U);
  EXPECT_EQ(lines[50], "<4>and 950 more such tests");
}

TEST(JournalLines, ErrorsDoNotFloodItEither) {
  LoggedRun run = RunOf({});
  run.errors.assign(51, {"plugin-refused", ""});
  const Lines lines = Of(31, run);
  ASSERT_EQ(lines.size(), 52U);
  EXPECT_EQ(lines[49], "<5>plugin-refused");
  EXPECT_EQ(lines[50], "<5>and 1 more such error");
}

TEST(JournalLines, ALogThatIsNotWholeIsAWarning) {
  LoggedRun run = RunOf({TestOf("READ_TEST", Verdict::kPassed)});
  run.devices.resize(1);
  run.faults = {"2 lines missing"};
  EXPECT_EQ(Of(0, run), (Lines{"<4>its log: 2 lines missing",
                               "<6>The scheduled run passed; 1 test on 1 device: 1 passed; log "
                               "/log/a.jsonl"}));
}

TEST(JournalLines, ARunWithoutATestHasNotPassedWithoutAWord) {
  EXPECT_EQ(Of(0, RunOf({})), Lines{"<4>The scheduled run passed, and tells of no test; 0 tests on "
                                    "2 devices; log /log/a.jsonl"});
}

TEST(JournalLines, WithoutALogTheStatusSpeaks) {
  struct Row {
    ProcessEnd end;
    std::string line;
    int status;
  };
  for (const Row& row : std::vector<Row>{
           {{4, 0}, "<5>The scheduled run was skipped: another run goes on; no log", 4},
           {{1, 0},
            "<3>The scheduled run could not begin: its surroundings are not as it needs "
            "them; no log",
            1},
           {{3, 0},
            "<3>The scheduled run could not begin: it has not enough privileges; no log",
            3},
           {{0, 0}, "<4>The scheduled run passed, and tells of no test; no log", 0},
           {{22, 0}, "<4>The scheduled run ended with a warning; no log", 22},
           {{23, 0}, "<5>The scheduled run found nothing that applies here; no log", 23},
           {{24, 0}, "<5>The scheduled run could not be tried; no log", 24},
           {{25, 0}, "<5>The scheduled run was canceled; no log", 25},
           {{30, 0}, "<3>The scheduled run found no usable module; no log", 30},
           {{99, 0}, "<3>The scheduled run ended with status 99; no log", 99},
           {{0, SIGABRT}, "<3>The scheduled run was ended by signal 6; no log", 134},
           {{0, 0, false}, "<3>The scheduled run ended, and nobody can tell how; no log", 1}}) {
    EXPECT_EQ(JournalLines(row.end, nullptr, "no log"), Lines{row.line});
    EXPECT_EQ(StatusOf(row.end), row.status);
  }
}

}  // namespace
}  // namespace tarvex::scheduled

#include "service/log/log_step.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/log_test_support.h"

namespace orvan::log {
namespace {

using Lines = std::vector<std::string>;

// One step of a log, without its start line.
class StepLogTest : public ::testing::Test {
 protected:
  Lines After(const LogHardware* hardware, bool isListed,
              const std::function<void(StepLog&)>& call) {
    ServiceLog log(folder.Path("log"));
    StepLog step(log, "name", hardware, isListed);
    call(step);
    Lines lines = testing::LogLinesAfterStart(folder.Path("log"));
    EXPECT_EQ(lines.front(), Line(R"("testStepStart":{"name":"name"})"));
    lines.erase(lines.begin());
    return lines;
  }
  Lines After(const std::function<void(StepLog&)>& call) { return After(nullptr, false, call); }
  static std::string Line(const std::string& artifact) {
    return R"("testStepArtifact":{"testStepId":"0",)" + artifact + "}}";
  }
  Lines OfVerdict(const sdk::Verdict& verdict) {
    return After([&](StepLog& step) { step.End("FUNNEL_READ_TEST", verdict); });
  }
  static std::string Ended(const std::string& status) {
    return Line(R"("testStepEnd":{"status":")" + status + R"("})");
  }

  testing::TemporaryFolder folder;
};

TEST_F(StepLogTest, AFailureSaysWhatWasExpectedWhatWasFoundAndWhere) {
  EXPECT_EQ(OfVerdict(sdk::Verdict::Failed("BAD_AT_|L|B|A_7", "data", "an error", "LBA 7")),
            (Lines{Line(R"("diagnosis":{"verdict":"funnel-read-test-failed","type":"FAIL",)"
                        R"("message":"expected data; found an error; at LBA 7; bad at LBA 7"})"),
                   Ended("COMPLETE")}));
}

TEST_F(StepLogTest, APassMaySayWhatWasFound) {
  sdk::Verdict verdict = sdk::Verdict::Passed();
  verdict.found = "9 blocks";
  EXPECT_EQ(OfVerdict(verdict),
            (Lines{Line(R"("diagnosis":{"verdict":"funnel-read-test-passed","type":"PASS",)"
                        R"("message":"found 9 blocks"})"),
                   Ended("COMPLETE")}));
}

TEST_F(StepLogTest, APassWithoutAWordHasNoMessage) {
  EXPECT_EQ(OfVerdict(sdk::Verdict::Passed()),
            (Lines{Line(R"("diagnosis":{"verdict":"funnel-read-test-passed","type":"PASS"})"),
                   Ended("COMPLETE")}));
}

TEST_F(StepLogTest, AWarningLeavesTheQuestionOpen) {
  EXPECT_EQ(OfVerdict(sdk::Verdict::Warning("|TIME_IS_UP")),
            (Lines{Line(R"("diagnosis":{"verdict":"funnel-read-test-warning","type":"UNKNOWN",)"
                        R"("message":"Time is up"})"),
                   Ended("COMPLETE")}));
}

TEST_F(StepLogTest, WhatWasNotTestedIsNotDiagnosed) {
  EXPECT_EQ(OfVerdict(sdk::Verdict::NotApplicable("NO_DISK")),
            (Lines{Line(R"("extension":{"name":"verdict","content":{"verdict":"not applicable"}})"),
                   Line(R"("log":{"severity":"INFO","message":"not applicable: no disk"})"),
                   Ended("SKIP")}));
}

TEST_F(StepLogTest, ACanceledTestIsSkipped) {
  EXPECT_EQ(OfVerdict(sdk::Verdict::Canceled()),
            (Lines{Line(R"("extension":{"name":"verdict","content":{"verdict":"canceled"}})"),
                   Line(R"("log":{"severity":"INFO","message":"canceled"})"), Ended("SKIP")}));
}

TEST_F(StepLogTest, WhatCouldNotBeTriedIsAnError) {
  EXPECT_EQ(
      OfVerdict(sdk::Verdict::Invalid("BUSY")),
      (Lines{Line(R"("error":{"symptom":"test-invalid","message":"busy"})"), Ended("ERROR")}));
}

TEST_F(StepLogTest, AStatusThatIsNoneIsAnError) {
  EXPECT_EQ(OfVerdict({99, "M", {}, {}, {}}),
            (Lines{Line(R"("error":{"symptom":"test-status-99","message":"m"})"), Ended("ERROR")}));
}

TEST_F(StepLogTest, AnExceptionIsToldOnce) {
  EXPECT_EQ(
      After([](StepLog& step) {
        step.Exception("out of range");
        step.End("T", sdk::Verdict::Invalid("INTERNAL"));
      }),
      (Lines{Line(R"("error":{"symptom":"exception","message":"out of range"})"), Ended("ERROR")}));
}

TEST_F(StepLogTest, MeasurementsHaveUnitsAndLimits) {
  using Kind = sdk::Limit::Kind;
  EXPECT_EQ(After([](StepLog& step) {
              step.Measure({"bytes-read", 1e12, "B"});
              step.Measure({"bad", 3, "", {{Kind::kEqual, 0}}});
              step.Measure({"temperature",
                            41.5,
                            "C",
                            {{Kind::kNotEqual, 1},
                             {Kind::kLessThan, 2},
                             {Kind::kLessThanOrEqual, 3},
                             {Kind::kGreaterThan, 4},
                             {Kind::kGreaterThanOrEqual, 5}}});
              step.Measure({"offset", -0.25, "s", {{Kind::kGreaterThan, -40}}});
              step.Measure({"odd", std::nan(""), ""});
            }),
            (Lines{Line(R"("measurement":{"name":"bytes-read","value":1000000000000,"unit":"B"})"),
                   Line(R"("measurement":{"name":"bad","value":3,)"
                        R"("validators":[{"type":"EQUAL","value":0}]})"),
                   Line(R"("measurement":{"name":"temperature","value":41.5,"unit":"C",)"
                        R"("validators":[{"type":"NOT_EQUAL","value":1},)"
                        R"({"type":"LESS_THAN","value":2},)"
                        R"({"type":"LESS_THAN_OR_EQUAL","value":3},)"
                        R"({"type":"GREATER_THAN","value":4},)"
                        R"({"type":"GREATER_THAN_OR_EQUAL","value":5}]})"),
                   Line(R"("measurement":{"name":"offset","value":-0.25,"unit":"s",)"
                        R"("validators":[{"type":"GREATER_THAN","value":-40}]})"),
                   Line(R"("measurement":{"name":"odd","value":"nan"})")}));
}

// Without the time, which each element of a series has.
Lines Timeless(Lines lines) {
  for (std::string& line : lines) {
    const std::size_t begin = line.find(R"(,"timestamp":")");
    if (begin == std::string::npos) continue;
    EXPECT_EQ(line.substr(begin + 14 + 10, 1) + line.substr(begin + 14 + 23, 2), "TZ\"") << line;
    line.erase(begin, 14 + 25);
  }
  return lines;
}

TEST_F(StepLogTest, ASeriesHasAnElementForEachPointAndAnIdOfItsOwn) {
  using Kind = sdk::MeasurementSeries::Kind;
  const LogHardware disk{"4", "Disk", "storage 0", "S1", "storage", ""};
  const auto element = [](const std::string& members) {
    return Line(R"("measurementSeriesElement":{)" + members + "}");
  };
  EXPECT_EQ(
      Timeless(After(
          &disk, true,
          [](StepLog& step) {
            step.Measure(sdk::MeasurementSeries{
                "rate", Kind::kCurve, "B/s", "lba", "", {{0, 1.5}, {2048, -3}}});
            step.Measure(sdk::MeasurementSeries{"times", Kind::kHistogram, "", "time", "s", {}});
            step.Measure(sdk::MeasurementSeries{"bad", Kind::kRanges, "", "lba", "", {}});
          })),
      (Lines{Line(R"("measurementSeriesStart":{"name":"rate","unit":"B/s",)"
                  R"("measurementSeriesId":"0-0","hardwareInfoId":"4",)"
                  R"("metadata":{"kind":"CURVE","axis":"lba"}})"),
             element(R"("index":0,"value":1.5,"measurementSeriesId":"0-0",)"
                     R"("metadata":{"position":0})"),
             element(R"("index":1,"value":-3,"measurementSeriesId":"0-0",)"
                     R"("metadata":{"position":2048})"),
             Line(R"("measurementSeriesEnd":{"measurementSeriesId":"0-0","totalCount":2})"),
             Line(R"("measurementSeriesStart":{"name":"times","measurementSeriesId":"0-1",)"
                  R"("hardwareInfoId":"4",)"
                  R"("metadata":{"kind":"HISTOGRAM","axis":"time","axisUnit":"s"}})"),
             Line(R"("measurementSeriesEnd":{"measurementSeriesId":"0-1","totalCount":0})"),
             Line(R"("measurementSeriesStart":{"name":"bad","measurementSeriesId":"0-2",)"
                  R"("hardwareInfoId":"4","metadata":{"kind":"RANGES","axis":"lba"}})"),
             Line(R"("measurementSeriesEnd":{"measurementSeriesId":"0-2","totalCount":0})")}));
}

TEST_F(StepLogTest, NamesTheHardwareThatTheRunsStartLists) {
  const LogHardware disk{"4", "Disk", "storage 0", "S1", "storage", ""};
  EXPECT_EQ(After(&disk, true,
                  [](StepLog& step) {
                    step.Measure({"bad", 0, ""});
                    step.End("T", sdk::Verdict::Passed());
                  }),
            (Lines{Line(R"("measurement":{"name":"bad","value":0,"hardwareInfoId":"4"})"),
                   Line(R"("diagnosis":{"verdict":"t-passed","type":"PASS","hardwareInfoId":"4"})"),
                   Ended("COMPLETE")}));
}

TEST_F(StepLogTest, TellsOfHardwareThatTheRunsStartDoesNotList) {
  const LogHardware disk{"4", "Disk", "storage 0", "", "storage", "wwn-5"};
  EXPECT_EQ(
      After(&disk, false, [](StepLog& step) { step.End("T", sdk::Verdict::Passed()); }),
      (Lines{
          Line(
              R"("extension":{"name":"hardwareInfo","content":{"hardwareInfoId":"4",)"
              R"("name":"Disk","location":"storage 0","partType":"storage","deviceKey":"wwn-5"}})"),
          Line(R"("diagnosis":{"verdict":"t-passed","type":"PASS"})"), Ended("COMPLETE")}));
}

TEST_F(StepLogTest, KeepsParametersAndMessages) {
  EXPECT_EQ(After([](StepLog& step) {
              step.Parameters({});
              step.Parameters({{"blocks", "8"}, {"seed", "\xFF\n"}});
              step.Message("");
              step.Message("|SEED_7");
            }),
            (Lines{Line(R"("extension":{"name":"parameters","content":{"blocks":"8","seed":")"
                        "\xEF\xBF\xBD\xEF\xBF\xBD\"}}"),
                   Line(R"("log":{"severity":"INFO","message":"Seed 7"})")}));
}

TEST_F(StepLogTest, AMessageIsWrittenAsTheTextThatItsKeyStandsFor) {
  const auto said = [](const std::string& text) {
    return Line(R"("log":{"severity":"INFO","message":")" + text + R"("})");
  };
  EXPECT_EQ(After([](StepLog& step) {
              step.Message("|UNREADABLE_SECTORS:_FIRST_|L|B|A_2048,_ERROR_5_(INPUT/OUTPUT_ERROR)");
              step.Message("NO_DISK");
              step.Message("|Half_a_key");
              step.Message("io_uring of Disk A is gone");
            }),
            (Lines{said("Unreadable sectors: first LBA 2048, error 5 (input/output error)"),
                   said("no disk"), said("Half a key"), said("io_uring of Disk A is gone")}));
}

TEST_F(StepLogTest, TheWordOfADiagnosisHasNoMarks) {
  EXPECT_EQ(
      After([](StepLog& step) { step.End("WARNING_OF_|U|S|B", sdk::Verdict::Passed()); }).front(),
      Line(R"("diagnosis":{"verdict":"warning-of-usb-passed","type":"PASS"})"));
}

}  // namespace
}  // namespace orvan::log

#include "companions/history/run_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "companions/history/run_json.h"

namespace tarvex::history {
namespace {

const std::string kVersion = R"("schemaVersion":{"major":2,"minor":0})";
const std::string kStart =
    R"("testRunArtifact":{"testRunStart":{"name":"Tarvex Diagnostics","version":"5.0.0.0",)"
    R"("commandLine":"c","parameters":{},"dutInfo":{"dutInfoId":"0","name":"workshop",)"
    R"("softwareInfos":[{"softwareInfoId":"0","name":"Tarvex Diagnostics","version":"5.0.0.0",)"
    R"("softwareType":"APPLICATION"},{"softwareInfoId":"1","name":"Linux","version":"6.1",)"
    R"("softwareType":"SYSTEM"},{"softwareInfoId":"2","name":"storage","version":"1.2.3.4",)"
    R"("softwareType":"APPLICATION"}],"hardwareInfos":[{"hardwareInfoId":"0","name":"Disk A",)"
    R"("location":"storage 0, pci-0000:00:17.0","serialNumber":"S-1","partType":"storage"},)"
    R"({"hardwareInfoId":"1","name":"Disk B","location":"storage 01","partType":"storage"}],)"
    R"("metadata":{"machineId":"8f0a","deviceKeys":{"0":"wwn-5"}}}}})";
const std::string kEnd =
    R"("testRunArtifact":{"testRunEnd":{"status":"COMPLETE","result":"PASS"}})";

std::string Step(const std::string& artifact, const std::string& id = "0") {
  return R"("testStepArtifact":{"testStepId":")" + id + "\"," + artifact + '}';
}
std::string Begin(const std::string& name = "storage/QUICK_TEST/READ_TEST/0",
                  const std::string& id = "0") {
  return Step(R"("testStepStart":{"name":")" + name + "\"}", id);
}
std::string Ended(const std::string& status = "COMPLETE", const std::string& id = "0") {
  return Step(R"("testStepEnd":{"status":")" + status + "\"}", id);
}
const std::string kPass = R"("diagnosis":{"verdict":"v","type":"PASS","hardwareInfoId":"0"})";

std::string Line(std::size_t number, const std::string& artifact) {
  return R"({"sequenceNumber":)" + std::to_string(number) + R"(,"timestamp":"2026-11-21T08:00:)" +
         std::to_string(10 + number % 50) + ".500Z\"," + artifact + "}\n";
}

// A whole log with these lines between its start and its end.
std::string LogOf(const std::vector<std::string>& artifacts) {
  std::vector<std::string> all{kVersion, kStart};
  all.insert(all.end(), artifacts.begin(), artifacts.end());
  all.push_back(kEnd);
  std::string text;
  for (std::size_t number = 0; number < all.size(); ++number) text += Line(number, all[number]);
  return text;
}

LoggedRun RunOf(const std::vector<std::string>& artifacts) {
  const ReadLog read = ReadLogText(LogOf(artifacts));
  EXPECT_TRUE(read.run) << read.why;
  return read.run.value_or(LoggedRun());
}

std::vector<std::string> FaultsOf(const std::string& text) {
  return ReadLogText(text).run.value_or(LoggedRun()).faults;
}

using Texts = std::vector<std::string>;

TEST(RunReader, TakesMachineModulesAndDevicesFromTheStart) {
  const LoggedRun run = RunOf({});
  EXPECT_EQ(run.machine + ' ' + run.machineId + ' ' + run.program + ' ' + run.kernel,
            "workshop 8f0a 5.0.0.0 6.1");
  ASSERT_EQ(run.modules.size(), 1U);
  EXPECT_EQ(run.modules[0].name + run.modules[0].version, "storage1.2.3.4");
  ASSERT_EQ(run.devices.size(), 2U);
  EXPECT_EQ(run.devices[0].key, "wwn-5");
  EXPECT_EQ(run.devices[0].name, "Disk A");
  EXPECT_EQ(run.devices[0].place, "storage 0, pci-0000:00:17.0");
  EXPECT_EQ(run.devices[0].serial, "S-1");
  EXPECT_EQ(run.devices[0].module, "storage");
  EXPECT_EQ(run.start, "2026-11-21T08:00:11.500Z");
  EXPECT_EQ(run.end, "2026-11-21T08:00:12.500Z");
  EXPECT_EQ(run.state, RunState::kComplete);
  EXPECT_EQ(run.faults, Texts());
}

TEST(RunReader, ADeviceWithoutAKeyIsKnownBySerialNumberAndElseByPlace) {
  std::string text = LogOf({});
  const std::string keys = R"(,"deviceKeys":{"0":"wwn-5"})";
  text.erase(text.find(keys), keys.size());
  const LoggedRun run = *ReadLogText(text).run;
  EXPECT_EQ(run.devices[0].key, "Disk A_S-1");
  EXPECT_EQ(run.devices[1].key, "storage 01");
}

TEST(RunReader, ATestHasNameDeviceAndTime) {
  const LoggedRun run = RunOf({Begin(), Step(kPass), Ended()});
  ASSERT_EQ(run.tests.size(), 1U);
  const RunTest& test = run.tests[0];
  EXPECT_EQ(test.step + test.module + test.diagnostic + test.test, "0storageQUICK_TESTREAD_TEST");
  EXPECT_EQ(test.device, 0U);
  EXPECT_EQ(test.start, "2026-11-21T08:00:12.500Z");
  EXPECT_EQ(test.end, "2026-11-21T08:00:14.500Z");
  EXPECT_EQ(test.seconds, 2.0);
  EXPECT_EQ(test.verdict, Verdict::kPassed);
}

TEST(RunReader, ATestsDeviceIsTheOneWhoseIdItNames) {
  const LoggedRun run = RunOf({Begin("storage/Q/T/01"), Ended("SKIP"), Begin("storage/Q/T/9", "1"),
                               Ended("SKIP", "1"), Begin("storage/Q/T", "2"), Ended("SKIP", "2")});
  EXPECT_EQ(run.tests.at(0).device, 1U);
  EXPECT_EQ(run.tests.at(1).device, std::nullopt);
  EXPECT_EQ(run.tests.at(2).device, std::nullopt);
}

TEST(RunReader, ADeviceThatWasFoundLaterIsTakenFromItsSteps) {
  const std::string told =
      R"("extension":{"name":"hardwareInfo","content":{"hardwareInfoId":"7","name":"Thing",)"
      R"("location":"second 7","partType":"second","deviceKey":"k"}})";
  const LoggedRun run = RunOf({Begin("second/Q/T/7"), Step(told), Ended("SKIP"),
                               Begin("second/Q/U/7", "1"), Step(told, "1"), Ended("SKIP", "1")});
  ASSERT_EQ(run.devices.size(), 3U);
  EXPECT_EQ(run.devices[2].key, "k");
  EXPECT_EQ(run.tests.at(0).device, 2U);
  EXPECT_EQ(run.tests.at(1).device, 2U);
}

struct VerdictCase {
  const char* artifact;
  const char* status;
  Verdict verdict;
};

TEST(RunReader, KnowsEachVerdict) {
  const std::vector<VerdictCase> cases{
      {R"("diagnosis":{"verdict":"v","type":"PASS"})", "COMPLETE", Verdict::kPassed},
      {R"("diagnosis":{"verdict":"v","type":"FAIL"})", "COMPLETE", Verdict::kFailed},
      {R"("diagnosis":{"verdict":"v","type":"UNKNOWN"})", "COMPLETE", Verdict::kWarning},
      {R"("error":{"symptom":"test-invalid"})", "ERROR", Verdict::kInvalid},
      {R"("extension":{"name":"verdict","content":{"verdict":"canceled"}})", "SKIP",
       Verdict::kCanceled},
      {R"("extension":{"name":"verdict","content":{"verdict":"not applicable"}})", "SKIP",
       Verdict::kNotApplicable},
      {R"("log":{"severity":"INFO","message":"not applicable: no disk"})", "SKIP",
       Verdict::kNotApplicable},
      {R"("log":{"severity":"INFO","message":"canceled"})", "SKIP", Verdict::kCanceled},
      // Its outcome was lost.
      {R"("log":{"severity":"INFO","message":"a"})", "COMPLETE", Verdict::kUnfinished},
  };
  for (const VerdictCase& one : cases) {
    const LoggedRun run = RunOf({Begin(), Step(one.artifact), Ended(one.status)});
    EXPECT_EQ(run.tests.at(0).verdict, one.verdict) << one.artifact;
  }
}

TEST(RunReader, WhatADeviceCallsItselfIsNoVerdict) {
  const LoggedRun run =
      RunOf({Begin(), Step(R"("extension":{"name":"verdict","content":{"verdict":"canceled"}})"),
             Step(R"("log":{"severity":"INFO","message":"not applicable"})"), Ended("SKIP")});
  EXPECT_EQ(run.tests.at(0).verdict, Verdict::kCanceled);
}

TEST(RunReader, ATestWithoutItsEndIsUnfinishedUnlessItWasJudged) {
  const LoggedRun run = RunOf({Begin(), Begin("storage/Q/T/0", "1"), Step(kPass, "1")});
  EXPECT_EQ(run.tests.at(0).verdict, Verdict::kUnfinished);
  EXPECT_EQ(run.tests.at(0).seconds, std::nullopt);
  EXPECT_EQ(run.tests.at(1).verdict, Verdict::kPassed);
}

TEST(RunReader, KeepsWordsParametersMeasurementsAndSeries) {
  const LoggedRun run = RunOf({
      Begin(),
      Step(R"("extension":{"name":"parameters","content":{"blocks":"8","odd":7}})"),
      Step(R"("log":{"severity":"WARNING","message":"slow"})"),
      Step(R"("measurement":{"name":"rate","value":-1.5,"unit":"B/s","validators":)"
           R"([{"type":"LESS_THAN","value":5}]})"),
      Step(R"("measurement":{"name":"odd","value":"inf"})"),
      Step(R"("measurementSeriesStart":{"name":"rates","unit":"B/s","measurementSeriesId":"0-0",)"
           R"("metadata":{"kind":"CURVE","axis":"lba","axisUnit":"sectors"}})"),
      Step(R"("measurementSeriesElement":{"index":0,"value":7,"measurementSeriesId":"0-0",)"
           R"("metadata":{"position":2048}})"),
      Step(R"("measurementSeriesEnd":{"measurementSeriesId":"0-0","totalCount":1})"),
      Step(R"("diagnosis":{"verdict":"v","type":"FAIL","message":"found 3"})"),
      Ended(),
  });
  const RunTest& test = run.tests.at(0);
  EXPECT_EQ(test.parameters, (std::map<std::string, std::string>{{"blocks", "8"}}));
  ASSERT_EQ(test.words.size(), 2U);
  EXPECT_EQ(test.words[0].severity + (' ' + test.words[0].text), "WARNING slow");
  EXPECT_EQ(test.words[1].severity + (' ' + test.words[1].text), "FAIL found 3");
  ASSERT_EQ(test.measurements.size(), 2U);
  EXPECT_EQ(test.measurements[0].value, -1.5);
  EXPECT_EQ(test.measurements[0].limits.at(0).kind, "LESS_THAN");
  EXPECT_EQ(test.measurements[1].value, std::nullopt);
  ASSERT_EQ(test.series.size(), 1U);
  EXPECT_EQ(test.series[0].kind + test.series[0].axis + test.series[0].axisUnit, "CURVElbasectors");
  EXPECT_EQ(test.series[0].points, (std::vector<std::pair<double, double>>{{2048, 7}}));
}

TEST(RunReader, KeepsErrorsAndNotesOfTheRun) {
  const LoggedRun run = RunOf({R"("testRunArtifact":{"error":{"symptom":"s","message":"m"}})",
                               R"("testRunArtifact":{"log":{"severity":"INFO","message":"n"}})"});
  EXPECT_EQ(run.errors.at(0).symptom + run.errors.at(0).text, "sm");
  EXPECT_EQ(run.notes.at(0).text, "n");
}

TEST(RunReader, WhatSteersATerminalDoesNotComeThrough) {
  const LoggedRun run = RunOf({Begin(), Step("\"log\":{\"severity\":\"INFO\",\"message\":\""
                                             "\\u001b[2Jred\\u202e\"}")});
  EXPECT_EQ(run.tests.at(0).words.at(0).text, "\xEF\xBF\xBD[2Jred\xEF\xBF\xBD");
}

TEST(RunReader, TellsWhatIsWrongWithAFileAndReadsTheRest) {
  const std::string good = LogOf({Begin(), Step(kPass), Ended()});
  const auto without = [&good](std::size_t number) {
    const std::string start = R"({"sequenceNumber":)" + std::to_string(number) + ',';
    std::string text = good;
    const std::size_t at = text.find(start);
    return text.erase(at, text.find('\n', at) + 1 - at);
  };
  EXPECT_EQ(FaultsOf(good), Texts());
  EXPECT_EQ(FaultsOf(without(3)), Texts{"1 line missing"});
  EXPECT_EQ(FaultsOf(without(0)), Texts{"1 line missing"});
  EXPECT_EQ(FaultsOf(without(2)), (Texts{"1 line missing", "2 lines out of place"}));
  std::string garbled = good;
  garbled.replace(good.find(R"("diagnosis)"), 1, "\xFF");
  EXPECT_EQ(FaultsOf(garbled), Texts{"1 line can't be read, the first is line 4"});
  const std::size_t third = good.find(R"({"sequenceNumber":2)");
  const std::string line = good.substr(third, good.find('\n', third) + 1 - third);
  std::string twice = good;
  EXPECT_EQ(FaultsOf(twice.insert(third, line)),
            Texts{"1 line passed over, for the number was there before"});
  EXPECT_EQ(FaultsOf(good + Line(6, kPass) + Line(7, Begin("a", "9"))),
            Texts{"1 line out of place"});
  EXPECT_EQ(FaultsOf(good + good),
            Texts{"another run begins in line 7 of the file, which is not read"});
  EXPECT_EQ(FaultsOf(good + Line(99999999, kPass)),
            Texts{"1 line can't be read, the first is line 7"});
}

TEST(RunReader, ALogWithoutItsEndIsNotComplete) {
  std::string text = LogOf({Begin()});
  text.resize(text.size() - 5);
  const ReadLog read = ReadLogText(text);
  EXPECT_TRUE(read.run);
  EXPECT_FALSE(read.hasEnd);
  EXPECT_TRUE(read.endsInLine);
  EXPECT_EQ(read.run->faults, Texts());
}

TEST(RunReader, WhatIsNoLogGivesNoRunAndSaysWhy) {
  const auto why = [](const std::string& text) { return ReadLogText(text).why; };
  EXPECT_EQ(why(""), "is empty");
  EXPECT_EQ(why("\n"), "is no log");
  EXPECT_EQ(why("hello\nworld\n"), "is no log");
  EXPECT_EQ(why("{}\n[]\n7\n"), "is no log");
  EXPECT_EQ(why("{\"cut"), "is no log");
  EXPECT_EQ(why(Line(0, kVersion)), "has no start of a run");
  EXPECT_EQ(why(Line(0, R"("schemaVersion":{"major":3,"minor":0})") + Line(1, kStart)),
            "is of version 3 of the format; this program reads 2");
  std::string other = LogOf({});
  other.replace(other.find("Tarvex Diagnostics"), 18, "some\\u0007 checker  ");
  EXPECT_EQ(why(other), "is a log of another program: some\xEF\xBF\xBD checker  ");
}

TEST(RunReader, DeepAndHugeThingsAreBrokenLines) {
  const std::string deep(5000, '[');
  const std::string good = LogOf({Begin(), Ended("SKIP")});
  EXPECT_EQ(FaultsOf(good + deep + '\n'), Texts{"1 line can't be read, the first is line 6"});
  EXPECT_EQ(FaultsOf(good + R"({"sequenceNumber":1e999})"
                            "\n"),
            Texts{"1 line can't be read, the first is line 6"});
  EXPECT_EQ(FaultsOf(good + R"({"sequenceNumber":-1})"
                            "\n"),
            Texts{"1 line can't be read, the first is line 6"});
}

TEST(RunReader, ATimeThatIsNoneIsNotKnown) {
  // A year 0 is none to most who read what is told of it.
  for (const char* year : {"next", "0000"}) {
    std::string text = LogOf({Begin(), Step(kPass), Ended()});
    const std::size_t last = text.find("2026-11-21T08:00:14");
    text.replace(last, 4, year);
    const LoggedRun run = *ReadLogText(text).run;
    EXPECT_EQ(run.tests.at(0).end, "");
    EXPECT_EQ(run.tests.at(0).seconds, std::nullopt);
  }
}

TEST(RunVerdict, TheWorstTestDecidesAndAMissingEndUnlessOneFailed) {
  LoggedRun run;
  run.state = RunState::kComplete;
  EXPECT_EQ(VerdictOf(run), Verdict::kNotApplicable);
  run.errors.push_back({"plugin-refused", ""});
  EXPECT_EQ(VerdictOf(run), Verdict::kInvalid);
  run.tests.resize(2);
  run.tests[0].verdict = Verdict::kPassed;
  run.tests[1].verdict = Verdict::kInvalid;
  EXPECT_EQ(VerdictOf(run), Verdict::kPassed);
  run.tests[1].verdict = Verdict::kCanceled;
  EXPECT_EQ(VerdictOf(run), Verdict::kCanceled);
  run.state = RunState::kCrashed;
  EXPECT_EQ(VerdictOf(run), Verdict::kUnfinished);
  run.tests[1].verdict = Verdict::kFailed;
  EXPECT_EQ(VerdictOf(run), Verdict::kFailed);
}

TEST(RunJson, HasEachMemberAndNullForWhatIsNotKnown) {
  LoggedRun run;
  run.id = "tarvex-1";
  run.file = "/f";
  run.state = RunState::kCrashed;
  run.devices.push_back({"k", "Disk \"A\"", "", "storage 0", "storage"});
  RunTest& test = run.tests.emplace_back();
  test.step = "0";
  test.module = "storage";
  test.diagnostic = "QUICK_TEST";
  test.test = "READ_TEST";
  test.device = 0;
  test.words.push_back({"INFO", "w"});
  test.parameters["blocks"] = "8";
  test.measurements.push_back({"rate", {}, "B/s", {{"EQUAL", 0}}});
  test.series.push_back({"s", "CURVE", "", "lba", "", {{1, 2.5}}});
  EXPECT_EQ(JsonOf(run),
            R"({"schema":1,"run":"tarvex-1","file":"/f","state":"crashed","machine":null,)"
            R"("machineId":null,"program":null,"kernel":null,"modules":[],"start":null,"end":null,)"
            R"("simulated":false,"verdict":"unfinished","devices":[{"key":"k","name":"Disk \"A\"",)"
            R"("serial":null,"place":"storage 0","module":"storage"}],"tests":[{"step":"0",)"
            R"("module":"storage","diagnostic":"QUICK_TEST","diagnosticName":"Quick Test",)"
            R"("test":"READ_TEST","testName":"Read Test","device":0,"start":null,"end":null,)"
            R"("seconds":null,"verdict":"unfinished","words":[{"severity":"INFO","text":"w"}],)"
            R"("parameters":{"blocks":"8"},"measurements":[{"name":"rate","value":null,)"
            R"("unit":"B/s","limits":[{"kind":"EQUAL","value":0}]}],"series":[{"name":"s",)"
            R"("kind":"CURVE","unit":null,"axis":"lba","axisUnit":null,"points":[[1,2.5]]}]}],)"
            R"("errors":[],"notes":[],"faults":[]})");
}

}  // namespace
}  // namespace tarvex::history

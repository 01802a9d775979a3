#include "service/scenario/scenario_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/service_test_support.h"

namespace orvan::scenario {
namespace {

std::string FaultOf(const std::string& text) {
  try {
    ParseScenario(text);
    return "no fault";
  } catch (const ScenarioFault& fault) {
    return fault.what();
  }
}

// A file with one module, one diagnostic and one test, whose further members are `test`.
std::string WithTest(const std::string& test) {
  return R"({"modules":[{"name":"M","diagnostics":[{"name":"D","option":"d","longName":"dl",
    "key":{"identifier":1},"tests":[{"name":"T","option":"t","longName":"tl",
    "key":{"identifier":1})" +
         test + "}]}]}]}";
}

std::string WithDevice(const std::string& device) {
  return R"({"modules":[{"name":"M","devices":[)" + device + "]}]}";
}

TEST(ParseScenario, ReadsEveryKey) {
  const Scenario scenario = ParseScenario(R"(// a comment
{
  "trace": "trace.jsonl", /* another */
  "service": { "loadModules": "null", "applySettings": "FailedToVisitLocalCache",
               "beginFinalResult": "InvalidAppKey", "finalResultCode": "CODE" },
  "modules": [ {
    "name": "Storage", "version": "5.1.2.3", "help": "text", "scanMs": 12,
    "diagnostics": [ {
      "name": "QUICK_TEST", "option": "Q", "longName": "quick", "rule": 2,
      "key": { "major": 1, "minor": 1, "build": 18446744073709551615, "identifier": 7 },
      "tests": [ {
        "name": "FUNNEL", "option": "f", "longName": "funnel", "rule": 1,
        "key": { "major": 5, "minor": 2, "build": 3, "identifier": 100 },
        "needsOperator": true, "appliesTo": ["0"],
        "parameters": [ { "name": "blocks", "label": "BLOCKS", "detail": "D", "initialValue": "64",
                          "value": "65", "type": 2, "extra": "E", "range": [1, 1024] } ] } ]
    } ],
    "devices": [ {
      "id": "0", "name": "Disk A", "entries": [ { "label": "MODEL", "value": "A" } ],
      "properties": { "NonRotatingMedia": "F" },
      "resources": [ { "type": "PARTITION", "pairs": [ { "label": "LABEL", "value": "root" } ] } ],
      "udi": "U", "result": "R" } ],
    "tools": [ { "name": "smart_tool", "description": "SMART", "hint": "smart",
                 "appliesTo": ["0"], "withdraws": ["1"], "writes": true,
                 "run": [], "abort": [] } ]
  } ]
})");
  EXPECT_EQ(scenario.trace, "trace.jsonl");
  EXPECT_FALSE(scenario.loadsModules);
  EXPECT_EQ(scenario.applySettings, ThrownError::kFailedToVisitLocalCache);
  EXPECT_EQ(scenario.beginFinalResult, ThrownError::kInvalidAppKey);
  EXPECT_EQ(scenario.finalResultCode, "CODE");
  const ModuleScript& module = scenario.modules.at(0);
  EXPECT_EQ(module.name, "Storage");
  EXPECT_EQ(module.version.Major(), 5U);
  EXPECT_EQ(module.version.Minor(), 1U);
  EXPECT_EQ(module.version.Patch(), 2U);
  EXPECT_EQ(module.version.Build(), 3U);
  EXPECT_EQ(module.help, "text");
  EXPECT_EQ(module.scan.count(), 12);
  const sdk::DiagnosticRecord& diagnostic = module.diagnostics.at(0);
  EXPECT_EQ(diagnostic.name + diagnostic.option + diagnostic.longName, "QUICK_TESTQquick");
  EXPECT_EQ(diagnostic.parameterRule, 2U);
  EXPECT_EQ(diagnostic.key.minor, 1U);
  EXPECT_EQ(diagnostic.key.build, ~0ULL);
  EXPECT_EQ(diagnostic.key.identifier, 7U);
  const sdk::TestRecord& test = diagnostic.tests.at(0);
  EXPECT_EQ(test.name + test.option + test.longName, "FUNNELffunnel");
  EXPECT_EQ(test.parameterRule, 1U);
  EXPECT_EQ(test.key.major, 5U);
  EXPECT_EQ(test.key.identifier, 100U);
  EXPECT_TRUE(test.needsOperator);
  EXPECT_TRUE(test.appliesTo(core::testing::PlainDevice("0")));
  EXPECT_FALSE(test.appliesTo(core::testing::PlainDevice("1")));
  const sdk::ParameterSpec& parameter = test.parameters.at(0);
  EXPECT_EQ(parameter.name + parameter.label + parameter.detail + parameter.extra,
            "blocksBLOCKSDE");
  EXPECT_EQ(parameter.initialValue, "64");
  EXPECT_EQ(parameter.value, "65");
  EXPECT_EQ(parameter.type, kParameterInteger);
  EXPECT_EQ(parameter.least, 1U);
  EXPECT_EQ(parameter.greatest, 1024U);
  const DeviceScript& device = module.devices.at(0);
  EXPECT_EQ(device.id + device.udi + device.result + device.information.name, "0URDisk A");
  EXPECT_EQ(device.information.entries.at(0),
            std::make_pair(std::string("A"), std::string("MODEL")));
  EXPECT_EQ(device.information.properties.at("NonRotatingMedia"), "F");
  EXPECT_EQ(device.resources.at(0).type, "PARTITION");
  EXPECT_EQ(device.resources.at(0).pairs.at(0),
            std::make_pair(std::string("LABEL"), std::string("root")));
  EXPECT_EQ(module.tools.at(0).name + module.tools.at(0).description + module.tools.at(0).hint,
            "smart_toolSMARTsmart");
  EXPECT_FALSE(module.tools.at(0).appliesTo(core::testing::PlainDevice("1")));
  EXPECT_TRUE(module.tools.at(0).mayWrite);
}

TEST(ParseScenario, FillsInTheDefaults) {
  const Scenario scenario = ParseScenario(
      R"({"modules":[{"name":"M","devices":[{"id":"7"}],"tools":[{"name":"t"}],
          "diagnostics":[{"name":"D","option":"d","longName":"l","key":{"identifier":3},
          "tests":[{"name":"T","option":"t","longName":"l","key":{"identifier":4},
          "parameters":[{"name":"p","initialValue":"9"}]}]}]}]})");
  EXPECT_FALSE(scenario.trace.has_value());
  EXPECT_TRUE(scenario.loadsModules);
  EXPECT_EQ(scenario.applySettings, ThrownError::kNone);
  EXPECT_EQ(scenario.beginFinalResult, ThrownError::kNone);
  EXPECT_EQ(scenario.finalResultCode, "SCENARIO");
  const ModuleScript& module = scenario.modules.at(0);
  EXPECT_EQ(module.version.Major(), 1U);
  EXPECT_EQ(module.version.Build(), 0U);
  EXPECT_EQ(module.help, "");
  EXPECT_EQ(module.devices.at(0).udi, "scenario-7");
  EXPECT_EQ(module.devices.at(0).result, "SCENARIO-7");
  EXPECT_FALSE(static_cast<bool>(module.tools.at(0).appliesTo));
  EXPECT_FALSE(module.tools.at(0).mayWrite);
  const sdk::TestRecord& test = module.diagnostics.at(0).tests.at(0);
  EXPECT_FALSE(static_cast<bool>(test.appliesTo));
  EXPECT_FALSE(test.needsOperator);
  EXPECT_EQ(test.parameterRule, 0U);
  EXPECT_EQ(test.key.major, 0U);
  EXPECT_EQ(test.key.build, 0U);
  EXPECT_EQ(test.parameters.at(0).value, "9");
  EXPECT_EQ(test.parameters.at(0).greatest, 0U);
}

TEST(ParseScenario, AnEmptyObjectIsAMachineWithoutModules) {
  EXPECT_TRUE(ParseScenario("{}").modules.empty());
}

TEST(ParseScenario, NamesThePlaceOfAnUnknownKey) {
  EXPECT_EQ(FaultOf(R"({"moduls":[]})"), "moduls: is an unknown key");
  EXPECT_EQ(FaultOf(R"({"service":{"x":1}})"), "service.x: is an unknown key");
  EXPECT_EQ(FaultOf(WithDevice(R"({"id":"0"},{"id":"1","ID":"2"})")),
            "modules[0].devices[1].ID: is an unknown key");
  EXPECT_EQ(FaultOf(WithTest(R"(,"outcome":{"state":0})")),
            "modules[0].diagnostics[0].tests[0].outcome.state: is an unknown key");
  EXPECT_EQ(FaultOf(R"({"modules":[{"name":"M","tools":[{"name":"t","run":[{},{"a":1}]}]}]})"),
            "modules[0].tools[0].run[1].a: is an unknown key");
}

TEST(ParseScenario, NamesThePlaceOfAMissingKey) {
  EXPECT_EQ(FaultOf(R"({"modules":[{}]})"), "modules[0].name: is missing");
  EXPECT_EQ(FaultOf(WithDevice(R"({"id":"0"},{"id":"1"},{"name":"x"})")),
            "modules[0].devices[2].id: is missing");
  EXPECT_EQ(FaultOf(R"({"modules":[{"name":"M","diagnostics":[{"name":"D","option":"d",
                        "longName":"l","key":{"minor":1}}]}]})"),
            "modules[0].diagnostics[0].key.identifier: is missing");
  const std::string diagnostic =
      R"({"modules":[{"name":"M","diagnostics":[{"name":"D","option":"d","longName":"l",
          "key":{"identifier":1},"tests":[{)";
  const std::string place = "modules[0].diagnostics[0].tests[0].";
  EXPECT_EQ(FaultOf(diagnostic + R"("option":"t"}]}]}]})"), place + "name: is missing");
  EXPECT_EQ(FaultOf(diagnostic + R"("name":"T"}]}]}]})"), place + "option: is missing");
  EXPECT_EQ(FaultOf(diagnostic + R"("name":"T","option":"t"}]}]}]})"),
            place + "longName: is missing");
  EXPECT_EQ(FaultOf(diagnostic + R"("name":"T","option":"t","longName":"l"}]}]}]})"),
            place + "key: is missing");
}

TEST(ParseScenario, NamesThePlaceOfAWrongType) {
  EXPECT_EQ(FaultOf("[]"), "the file: must be an object");
  EXPECT_EQ(FaultOf(R"({"trace":1})"), "trace: must be a text");
  EXPECT_EQ(FaultOf(R"({"trace":null})"), "trace: must be a text");
  for (const char* path : {"", "/a", "..", "../a", "a/..", "a/../b", "a\\u0000b"}) {
    EXPECT_EQ(FaultOf(std::string(R"({"trace":")") + path + "\"}"),
              "trace: must be a path below the scenario's folder")
        << path;
  }
  EXPECT_EQ(FaultOf(R"({"modules":{}})"), "modules: must be a list");
  EXPECT_EQ(FaultOf(R"({"modules":["M"]})"), "modules[0]: must be an object");
  EXPECT_EQ(FaultOf(WithDevice(R"({"id":0})")), "modules[0].devices[0].id: must be a text");
  EXPECT_EQ(FaultOf(WithDevice(R"({"id":"0","properties":{"a":1}})")),
            "modules[0].devices[0].properties.a: must be a text");
  EXPECT_EQ(FaultOf(WithTest(R"(,"needsOperator":1)")),
            "modules[0].diagnostics[0].tests[0].needsOperator: must be true or false");
  EXPECT_EQ(FaultOf(WithTest(R"(,"appliesTo":[0])")),
            "modules[0].diagnostics[0].tests[0].appliesTo[0]: must be a text");
  EXPECT_EQ(FaultOf(WithTest(R"(,"outcomes":[])")),
            "modules[0].diagnostics[0].tests[0].outcomes: must be an object");
}

TEST(ParseScenario, AToolThatRepairsWritesUnlessItSaysOtherwise) {
  const auto writes = [](const std::string& members) {
    const std::string tool = R"({"modules":[{"name":"M","tools":[{)" + members + "}]}]}";
    return ParseScenario(tool).modules.at(0).tools.at(0).mayWrite;
  };
  EXPECT_TRUE(writes(R"("name":"recover_bad_sectors")"));
  EXPECT_TRUE(writes(R"("name":"|RECOVER_|BAD_SECTORS")"));
  EXPECT_FALSE(writes(R"("name":"recover_bad_sectors","writes":false)"));
  EXPECT_FALSE(writes(R"("name":"recover_bad_sectors_2")"));
  EXPECT_FALSE(writes(R"("name":"smart_tool")"));
  EXPECT_TRUE(writes(R"("name":"smart_tool","writes":true)"));
}

TEST(ParseScenario, RefusesWrongTypesOfATool) {
  const std::string start = R"({"modules":[{"name":"M","tools":[{"name":"t",)";
  EXPECT_EQ(FaultOf(start + R"("writes":1}]}]})"),
            "modules[0].tools[0].writes: must be true or false");
  EXPECT_EQ(FaultOf(start + R"("withdraws":[1]}]}]})"),
            "modules[0].tools[0].withdraws[0]: must be a text");
}

TEST(ParseScenario, RefusesNumbersOutOfRange) {
  const std::string place = "modules[0].diagnostics[0].tests[0].";
  EXPECT_EQ(FaultOf(WithTest(R"(,"rule":-1)")),
            place + "rule: must be a whole number from 0 to 4294967295");
  EXPECT_EQ(FaultOf(WithTest(R"(,"rule":4294967296)")),
            place + "rule: must be a whole number from 0 to 4294967295");
  EXPECT_EQ(FaultOf(WithTest(R"(,"rule":1.0)")),
            place + "rule: must be a whole number from 0 to 4294967295");
  EXPECT_EQ(FaultOf(WithTest(R"(,"outcome":{"durationMs":604800001})")),
            place + "outcome.durationMs: must be a whole number from 0 to 604800000");
  EXPECT_EQ(FaultOf(WithTest(R"(,"outcome":{"reports":[{"percent":2147483648}]})")),
            place + "outcome.reports[0].percent: must be a whole number of 32 bits");
  EXPECT_EQ(FaultOf(WithTest(R"(,"outcome":{"reports":[{"percent":-2147483649}]})")),
            place + "outcome.reports[0].percent: must be a whole number of 32 bits");
  EXPECT_EQ(FaultOf(WithTest(R"(,"outcome":{"reports":[{"percent":-1}]})")), "no fault");
  EXPECT_EQ(FaultOf(WithTest(R"(,"parameters":[{"name":"p","range":[1]}])")),
            place + "parameters[0].range: must have two numbers");
}

TEST(ParseScenario, RefusesVersionsThatAreNone) {
  for (const char* version : {"", "1.2.3", "1.2.3.4.5", "1..3.4", "1.2.3.x", "1.2.3.4294967296",
                              "1.2.3.", "-1.2.3.4", "99999999999.0.0.0"}) {
    EXPECT_EQ(FaultOf(R"({"modules":[{"name":"M","version":")" + std::string(version) + R"("}]})"),
              "modules[0].version: must be four numbers with \".\" between them")
        << version;
  }
}

TEST(ParseScenario, RefusesUnknownWordsOfTheService) {
  EXPECT_EQ(FaultOf(R"({"service":{"loadModules":"none"}})"),
            "service.loadModules: must be \"null\"");
  EXPECT_EQ(FaultOf(R"({"service":{"applySettings":""}})"),
            "service.applySettings: must be \"InvalidAppKey\" or \"FailedToVisitLocalCache\"");
}

TEST(ParseScenario, NamesLineAndColumnOfWhatIsNoJson) {
  EXPECT_EQ(FaultOf("{\n  \"trace\": x\n}"), "line 2, column 12: is no JSON");
  EXPECT_EQ(FaultOf("{} x"), "line 1, column 4: is no JSON");
  EXPECT_EQ(FaultOf("{\"trace\":\"\xFF\"}").substr(0, 8), "line 1, ");
  EXPECT_EQ(FaultOf(""), "line 1, column 1: is no JSON");
  EXPECT_EQ(FaultOf("{\"trace\":\"a\""), "line 1, column 13: is no JSON");
}

TEST(ParseScenario, RefusesAKeyThatStandsTwice) {
  EXPECT_EQ(FaultOf(R"({"trace":"a","trace":"b"})"), "trace: stands twice");
  EXPECT_EQ(FaultOf(R"({"modules":[{"name":"M","name":"N"}]})"), "modules[0].name: stands twice");
  EXPECT_EQ(FaultOf(WithDevice(R"({"id":"0","resources":[]},{"id":"1","id":"2"})")),
            "modules[0].devices[1].id: stands twice");
  EXPECT_EQ(FaultOf(R"({"a":[1,"s",true,null,-1,1.5,[],{},[{"b":0,"b":0}]]})"),
            "a[8][0].b: stands twice");
  EXPECT_EQ(FaultOf(R"({"a":{"b":{}},"c":{"d":1,"d":1}})"), "c.d: stands twice");
  EXPECT_EQ(FaultOf(WithDevice(R"({"id":"0"},{"id":"0"})")), "no fault");
}

TEST(ParseScenario, AFaultIsOneLineThatTellsATerminalNothing) {
  EXPECT_EQ(FaultOf(R"({"a\n\u001b[2J\u0000\u007f\u009bb":1})"),
            "a\\u000A\\u001B[2J\\u0000\\u007F\\u009Bb: is an unknown key");
  EXPECT_EQ(FaultOf(R"({"x\r":1,"x\r":1})"), "x\\u000D: stands twice");
}

TEST(OneLine, LeavesAllElseAsItIs) {
  EXPECT_EQ(OneLine("a\tb"), "a\\u0009b");
  EXPECT_EQ(OneLine("caf\xC3\xA9 \xC2\xA0 ~ \\u000A"), "caf\xC3\xA9 \xC2\xA0 ~ \\u000A");
  EXPECT_EQ(OneLine("\xC2"), "\xC2");
  EXPECT_EQ(OneLine("a\u202E\u2028\u009B\x9B"), "a\\u202E\\u2028\\u009B\uFFFD");
}

TEST(ParseScenario, KeepsTheOrderOfTheFile) {
  const Scenario scenario = ParseScenario(
      R"({"modules":[{"name":"Z","devices":[{"id":"9"},{"id":"1"},{"id":"5"}]},{"name":"A"}]})");
  EXPECT_EQ(scenario.modules.at(0).name, "Z");
  EXPECT_EQ(scenario.modules.at(1).name, "A");
  EXPECT_EQ(scenario.modules.at(0).devices.at(0).id, "9");
  EXPECT_EQ(scenario.modules.at(0).devices.at(2).id, "5");
}

TEST(ReadScenario, RefusesAFileThatCannotBeRead) {
  core::testing::TemporaryFolder folder;
  EXPECT_THROW(ReadScenario(folder.Path("missing.json")), ScenarioFault);
  EXPECT_THROW(ReadScenario(folder.Path()), ScenarioFault);
  EXPECT_NO_THROW(ReadScenario(folder.Write("empty.json", "{}")));
}

TEST(ReadScenario, RefusesWhatIsNoRegularFile) {
  core::testing::TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder.Path("pipe"), folder.Path(), std::string("/dev/zero")}) {
    try {
      ReadScenario(path);
      FAIL() << path;
    } catch (const ScenarioFault& fault) {
      EXPECT_STREQ(fault.what(), "the file: cannot be read") << path;
    }
  }
}

TEST(ReadScenario, TakesNoMoreThanSixtyFourMebibytes) {
  core::testing::TemporaryFolder folder;
  const std::string path = folder.Write("large.json", "{}");
  std::filesystem::resize_file(path, 67108865);
  try {
    ReadScenario(path);
    FAIL();
  } catch (const ScenarioFault& fault) {
    EXPECT_STREQ(fault.what(), "the file: is larger than 64 MiB");
  }
}

}  // namespace
}  // namespace orvan::scenario

#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

class ArgumentGrammar : public FrontEndTest {
 protected:
  ArgumentGrammar() {
    AddStorage();
    AddMemory();
  }
  // The first diagnostic of storage after parsing.
  CliDiagnostic& Diagnostic() { return *Selection("storage").diagnostics.at(0); }
  Words TestNames() {
    Words names;
    for (const auto& test : Diagnostic().tests) names.push_back(test.first);
    return names;
  }
  // Splits in the middle of an application object's life.
  int Split(const std::string& text) {
    if (cli == nullptr) Start();
    error.clear();
    return cli->SplitTests(text, items, error);
  }

  Words items{"left from before"};
  std::string error;
};

// Device words.

TEST_F(ArgumentGrammar, TheLineOfTheHelpSelectsBothDevices) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf,r", "0", "1"}), 0);
  EXPECT_EQ(DeviceNames("storage"), (Words{"0", "1"}));
  EXPECT_EQ(TestNames(), (Words{"FUNNEL_TEST", "READ_TEST"}));
  EXPECT_TRUE(Has(CLI_FLAG_DEVICES_CHOSEN | CLI_FLAG_DIAGNOSTIC));
  EXPECT_TRUE(Selection("storage").devicesNamed);
  EXPECT_TRUE(Selection("storage").devices.at(1).second->namedForModule);
  EXPECT_EQ(Selection("storage").devices.at(1).second->name, "1");
}

TEST_F(ArgumentGrammar, EachWordBelongsToTheModuleBeforeIt) {
  EXPECT_EQ(Parse({"-Mstorage", "0", "1", "-Mmemory", "2"}), 0);
  EXPECT_EQ(DeviceNames("storage"), (Words{"0", "1"}));
  EXPECT_EQ(DeviceNames("memory"), Words{"2"});
  EXPECT_TRUE(cli->duplicatedDevices.empty()) << "no word is scanned twice";
}

TEST_F(ArgumentGrammar, WordsBetweenDiagnosticsAreEachScannedOnce) {
  EXPECT_EQ(Parse({"-Mstorage", "0", "-Qf", "1", "2", "-E", "3", "4", "5"}), 0);
  EXPECT_EQ(DeviceNames("storage"), (Words{"0", "1", "2", "3", "4", "5"}));
  EXPECT_TRUE(cli->duplicatedDevices.empty());
}

TEST_F(ArgumentGrammar, ManyWordsBehindTheLastOptionAreAllReached) {
  EXPECT_EQ(Parse({"-Mstorage", "5", "4", "3", "2", "1"}), 0);
  EXPECT_EQ(DeviceNames("storage"), (Words{"5", "4", "3", "2", "1"}));
}

TEST_F(ArgumentGrammar, ThreeModulesKeepTheirWords) {
  service().AddModule("fan");
  EXPECT_EQ(Parse({"-Mstorage", "a", "b", "-Mmemory", "c", "-W", "d", "-Mfan", "e"}), 0);
  EXPECT_EQ(DeviceNames("storage"), (Words{"a", "b"}));
  EXPECT_EQ(DeviceNames("memory"), (Words{"c", "d"}));
  EXPECT_EQ(DeviceNames("fan"), Words{"e"});
  EXPECT_TRUE(cli->duplicatedDevices.empty());
}

TEST_F(ArgumentGrammar, ADeviceTwiceIsOneDeviceAndAWarning) {
  EXPECT_EQ(Parse({"-Mstorage", "0", "0", "0"}), 0);
  EXPECT_EQ(DeviceNames("storage"), Words{"0"});
  EXPECT_EQ(cli->duplicatedDevices, Words{"0"});
  EXPECT_EQ(Screen(),
            kAbortBanner + WarningText("Duplicated global device, only one entry considered: 0"));
}

TEST_F(ArgumentGrammar, DeviceWordsLoseTheirBlanksAndKeepTheirCase) {
  EXPECT_EQ(Parse({"-Mstorage", " Disk One ", "disk one", "   "}), 0);
  EXPECT_EQ(DeviceNames("storage"), (Words{"DiskOne", "diskone"}));
}

TEST_F(ArgumentGrammar, DevicesOfAModuleThatIsNotThereAreKept) {
  EXPECT_EQ(Parse({"-Mnosuch", "7"}), 0);
  EXPECT_EQ(DeviceNames("nosuch"), Words{"7"});
}

TEST_F(ArgumentGrammar, ASingleDashFails) {
  ExpectFatal({"-Mstorage", "0", "-"}, "following device(s) are not available: -");
}

TEST_F(ArgumentGrammar, ADashAmongBlanksFails) {
  ExpectFatal({"-Mstorage", " - "}, "following device(s) are not available: -");
}

TEST_F(ArgumentGrammar, TheTextOfADashIsAddedToWhatIsThere) {
  ExpectFatal(
      {"-Mstorage", "-Mstorage", "-"},
      "duplicated module(s) entry, only one entry considered of eachfollowing device(s) are "
      "not available: -");
}

TEST_F(ArgumentGrammar, WordsWithoutAnyModuleAreGarbageToTheEnd) {
  ExpectFatal({"0", "Two", "3"}, "garbage(0, two, 3) found outside module scope");
}

TEST_F(ArgumentGrammar, WordsBeforeTheFirstModuleAreGarbageUpToIt) {
  ExpectFatal({"0", "1", "-Mstorage", "2"}, "garbage(0, 1) found outside module scope");
}

TEST_F(ArgumentGrammar, GarbageListsOptionsInItsRangeAsTheyStand) {
  ExpectFatal({"0", "-W", " 1 ", "-Mstorage"}, "garbage(0, -w,  1 ) found outside module scope");
}

TEST_F(ArgumentGrammar, GarbageSetsTheDevicesFlag) {
  Start();
  cli->modules = &service().moduleList;
  Argv line({"0"});
  EXPECT_EQ(cli->ParseCommandLine(line.Count(), line.Data(), error), 70);
  EXPECT_EQ(error, "GARBAGE(0) FOUND_OUTSIDE_MODULE_SCOPE");
  EXPECT_TRUE(Has(CLI_FLAG_DEVICES_CHOSEN));
}

// Diagnostic options.

TEST_F(ArgumentGrammar, ADiagnosticWithoutTextTakesAllTestsOnAllDevices) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q"}), 0);
  EXPECT_TRUE(Diagnostic().allTests);
  EXPECT_TRUE(Diagnostic().allDevices);
  EXPECT_EQ(Diagnostic().name, "QUICK_CHECK");
  EXPECT_EQ(Diagnostic().diagnostic, service().moduleList.at(0)->GetDiagnostics()->at(0));
}

TEST_F(ArgumentGrammar, ADiagnosticTextOfBlanksTakesAllTests) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q   "}), 0);
  EXPECT_TRUE(Diagnostic().allTests);
}

TEST_F(ArgumentGrammar, ALongOptionNamesTheDiagnosticToo) {
  EXPECT_EQ(Parse({"-Mstorage", "--quick=funnel"}), 0);
  EXPECT_EQ(TestNames(), Words{"FUNNEL_TEST"});
  EXPECT_EQ(Diagnostic().testsText, "funnel");
}

TEST_F(ArgumentGrammar, ADiagnosticBeforeAnyModuleFails) {
  ExpectFatal({"-Qf", "-Mstorage"}, "diagnostic set for no module");
}

TEST_F(ArgumentGrammar, ADiagnosticOfAnotherModuleFailsWithResult32) {
  ExpectFatal({"-Mstorage", "-K"}, "invalid diagnostic option", 32);
}

TEST_F(ArgumentGrammar, ADiagnosticWhoseOptionIsAWordIsNotFoundByItsLetter) {
  service().AddModule("wordy").AddDiagnostic("WORDS", "Nx", "next", 1);
  ExpectFatal({"-Mwordy", "--next"}, "invalid diagnostic option", 32, "storage, memory, wordy");
}

TEST_F(ArgumentGrammar, AMissingModuleDropsItsDiagnostics) {
  EXPECT_EQ(Parse({"-Mnosuch", "-Qf,,("}), 0);
  EXPECT_TRUE(Selection("nosuch").diagnostics.empty());
  EXPECT_TRUE(Has(CLI_FLAG_DIAGNOSTIC));
}

TEST_F(ArgumentGrammar, FindDiagnosticTakesLongAndShortNamesExactly) {
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  auto& diagnostics = *service().moduleList.at(0)->GetDiagnostics();
  ModuleSelection& selection = Selection("storage");
  EXPECT_EQ(cli->FindDiagnostic(selection, "Q"), diagnostics.at(0));
  EXPECT_EQ(cli->FindDiagnostic(selection, "extended"), diagnostics.at(1));
  EXPECT_EQ(cli->FindDiagnostic(selection, "q"), nullptr);
  EXPECT_EQ(cli->FindDiagnostic(selection, "quic"), nullptr);
  cli->currentModule.clear();
  EXPECT_EQ(cli->FindDiagnostic(selection, "Q"), nullptr);
}

TEST_F(ArgumentGrammar, ACatalogueRowWithoutItsDiagnosticIsPassedOver) {
  FakeModule& module = *static_cast<FakeModule*>(service().moduleList.at(0));
  FakeCatalogEntry orphan;
  orphan.option = "Q";
  orphan.longName = "orphan";
  DiagKey key;  // before all others
  module.catalogue[key] = &orphan;
  EXPECT_EQ(Parse({"-Mstorage", "-Q"}), 0);
  EXPECT_EQ(Diagnostic().name, "QUICK_CHECK");
  Stop();
}

// Tests in the text.

TEST_F(ArgumentGrammar, BlanksInTheTextGo) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q f , r "}), 0);
  EXPECT_EQ(TestNames(), (Words{"FUNNEL_TEST", "READ_TEST"}));
}

TEST_F(ArgumentGrammar, ParametersInParenthesesDoNotSplit) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf(1,2),r"}), 0);
  EXPECT_EQ(TestNames(), (Words{"FUNNEL_TEST", "READ_TEST"}));
  const CliTest& test = *Diagnostic().tests.at(0).second;
  EXPECT_EQ(test.parameters, (std::map<std::string, std::string>{{"1", "1"}, {"2", "2"}}));
  EXPECT_EQ(test.parametersText, "(1,2)");
  EXPECT_EQ(test.test, Diagnostic().diagnostic->Tests()->at(0));
  EXPECT_FALSE(Diagnostic().allTests);
  EXPECT_TRUE(Diagnostic().allDevices);
}

TEST_F(ArgumentGrammar, ATestTwiceIsOneTestAndAWarning) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf(1),f(2),funnel"}), 0);
  EXPECT_EQ(TestNames(), Words{"FUNNEL_TEST"});
  EXPECT_EQ(Diagnostic().tests.at(0).second->parameters.count("2"), 0U)
      << "the parameters of the second mention are dropped";
  EXPECT_EQ(cli->duplicatedTests, (Words{"f", "funnel"}));
}

struct FatalCase {
  const char* text;
  const char* message;
};
class BadText : public ArgumentGrammar, public ::testing::WithParamInterface<FatalCase> {};

TEST_P(BadText, IsFatalWithStatusZero) {
  ExpectFatal({"-Mstorage", std::string("-Q") + GetParam().text}, GetParam().message);
  EXPECT_EQ(cli->ExitStatus(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BadText,
    ::testing::Values(
        FatalCase{"f,,r", "empty test"}, FatalCase{"f,", "empty test"},
        FatalCase{",", "empty test"}, FatalCase{",f", "empty test"},
        FatalCase{"f(1),", "empty test"}, FatalCase{"f(1)x,r", "test without separator"},
        FatalCase{"f(1)(2)", "test without separator"},
        FatalCase{"f)(", "patenthese closing without opening"},
        FatalCase{"f),r(", "patenthese closing without opening"},
        FatalCase{"f(1", "parentheses mismatch"}, FatalCase{"f1)", "parentheses mismatch"},
        FatalCase{"f((1)", "parentheses mismatch"}, FatalCase{"f(,)", "test parameter empty"},
        FatalCase{"f(1,)", "test parameter empty"}, FatalCase{"f(,1)", "test parameter empty"},
        FatalCase{"f(1,,2)", "test parameter empty"}));

TEST_F(ArgumentGrammar, SplitTestsGivesTheItems) {
  EXPECT_EQ(Split("a,b(1,2),c"), 0);
  EXPECT_EQ(items, (Words{"a", "b(1,2)", "c"}));
}

TEST_F(ArgumentGrammar, SplitTestsRefusesAnEmptyText) {
  EXPECT_EQ(Split("  "), 70);
  EXPECT_EQ(error, "EMPTY_DIAGNOSTIC_ARGUMENT");
  EXPECT_TRUE(items.empty());
}

TEST_F(ArgumentGrammar, SplitTestsRefusesAnOpenParenthesis) {
  EXPECT_EQ(Split("a,b(1"), 70);
  EXPECT_EQ(error, "NO_PARENTHESE_CLOSING");
  EXPECT_TRUE(items.empty()) << "nothing is left of what was split";
}

TEST_F(ArgumentGrammar, CheckParenthesesLeavesTheOrderToTheSplit) {
  Start();
  EXPECT_EQ(cli->CheckParentheses(")(", error), 0);
  EXPECT_EQ(cli->CheckParentheses("(()", error), 70);
  EXPECT_EQ(error, "PARENTHESES_MISMATCH");
}

TEST_F(ArgumentGrammar, NoDiagnosticIsRefused) {
  Start();
  EXPECT_EQ(cli->ParseDiagnostic(nullptr, error), 70);
  EXPECT_EQ(error, "NO_DIAGNOSTIC_TO_BE_PARSED");
}

TEST_F(ArgumentGrammar, ParseTestRefusesAnEmptyText) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q"}), 0);
  EXPECT_EQ(cli->ParseTest("", Diagnostic(), error), 70);
  EXPECT_EQ(error, "EMPTY_TEST");
}

TEST_F(ArgumentGrammar, FindTestLooksInTheModuleThatTheDiagnosticWasNamedFor) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q", "-Mmemory", "-K"}), 0);
  EXPECT_EQ(cli->currentModule, "memory");
  EXPECT_EQ(cli->FindTest(Diagnostic(), "funnel"), Diagnostic().diagnostic->Tests()->at(0));
  EXPECT_EQ(cli->FindTest(Diagnostic(), "m"), nullptr);
  EXPECT_EQ(cli->FindTest(CliDiagnostic{}, "f"), nullptr) << "named for no module";
}

class NoTest : public ArgumentGrammar, public ::testing::WithParamInterface<const char*> {};

TEST_P(NoTest, IsLeftToTheCaller) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q"}), 0);
  EXPECT_EQ(cli->ParseTest(GetParam(), Diagnostic(), error), 72);
  EXPECT_EQ(error, "EXPECTED_TEST_NOT_VALID");
}

INSTANTIATE_TEST_SUITE_P(Words, NoTest, ::testing::Values("(1)", "x", "F", "s", "funne"));

struct FormatCase {
  const char* text;
  int code;
};
class ParameterFormat : public ArgumentGrammar, public ::testing::WithParamInterface<FormatCase> {};

TEST_P(ParameterFormat, IsChecked) {
  Start();
  CliTest test;
  test.parametersText = GetParam().text;
  EXPECT_EQ(cli->ParseParameters(test, error), GetParam().code);
  EXPECT_EQ(error, GetParam().code == 0 ? "" : "TEST_WITH_INVALID_PARAMETERS_FORMAT");
  EXPECT_TRUE(test.parameters.empty());
}

INSTANTIATE_TEST_SUITE_P(Texts, ParameterFormat,
                         ::testing::Values(FormatCase{"", 0}, FormatCase{"()", 0},
                                           FormatCase{"(1", 70}, FormatCase{"1)", 70},
                                           FormatCase{"(", 70}, FormatCase{"(1)x", 70}));

TEST_F(ArgumentGrammar, AParameterTwiceIsOneParameterWithoutAWord) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf(a=1,a=1,b)"}), 0);
  EXPECT_EQ(Diagnostic().tests.at(0).second->parameters.size(), 2U);
  EXPECT_TRUE(cli->warnings.empty());
}

// Parameter rules.

class ParameterRules : public ArgumentGrammar {
 protected:
  void SetRule(std::uint32_t rule) {
    TestOf(*static_cast<FakeModule*>(service().moduleList.at(0)), 0, 0).Rule(rule);
  }
};

TEST_F(ParameterRules, MandatoryParametersThatAreMissingAreFatal) {
  SetRule(1);
  ExpectFatal({"-Mstorage", "-Qf"}, "no arguments on test with mandatory test");
}

TEST_F(ParameterRules, EmptyParenthesesDoNotSatisfyTheRule) {
  SetRule(1);
  ExpectFatal({"-Mstorage", "-Qf()"}, "no arguments on test with mandatory test");
}

TEST_F(ParameterRules, MandatoryParametersThatAreGivenPass) {
  SetRule(1);
  EXPECT_EQ(Parse({"-Mstorage", "-Qf(1)"}), 0);
}

TEST_F(ParameterRules, EmptyParenthesesAreNoParameters) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf()"}), 0);
  EXPECT_TRUE(Diagnostic().tests.at(0).second->parameters.empty());
}

TEST_F(ParameterRules, ParametersThatAreNotWantedWarn) {
  SetRule(2);
  ExpectWarns({"-Mstorage", "-Qf(1)"}, "Not required argument(s) ignored on test(s): f");
  EXPECT_EQ(cli->testsWithSurplusArguments, Words{"f"});
}

TEST_F(ParameterRules, NoParametersWhereNoneAreWantedSayNothing) {
  SetRule(2);
  EXPECT_EQ(Parse({"-Mstorage", "-Qf"}), 0);
  EXPECT_TRUE(cli->warnings.empty());
}

TEST_F(ParameterRules, OtherRulesAreFree) {
  SetRule(3);
  EXPECT_EQ(Parse({"-Mstorage", "-Qf"}), 0);
  EXPECT_TRUE(cli->warnings.empty());
}

TEST_F(ParameterRules, AnErrorOnAnEarlierItemIsCancelledByAGoodItemBehindIt) {
  SetRule(1);
  EXPECT_EQ(Parse({"-Mstorage", "-Qf,r"}), 0);
  EXPECT_EQ(TestNames(), (Words{"FUNNEL_TEST", "READ_TEST"}));
}

TEST_F(ParameterRules, AnErrorOnTheLastItemStands) {
  SetRule(1);
  ExpectFatal({"-Mstorage", "-Qr,f"}, "no arguments on test with mandatory test");
}

TEST_F(ParameterRules, AWordTakenForADeviceCancelsAnEarlierErrorToo) {
  SetRule(1);
  EXPECT_EQ(Parse({"-Mstorage", "-Qf,0"}), 0);
}

// Words that are no test.

TEST_F(ArgumentGrammar, AWordThatIsNoTestIsADeviceOfThatDiagnostic) {
  ExpectWarns({"-Mstorage", "-Q0"}, "Test(s) not found, argument(s) treated as device: 0");
  EXPECT_EQ(cli->testsTakenAsDevices, Words{"0"});
  ASSERT_EQ(DeviceNames("storage"), Words{"0"});
  const DeviceSelection& device = *Selection("storage").devices.at(0).second;
  EXPECT_FALSE(device.namedForModule);
  EXPECT_FALSE(Selection("storage").devicesNamed);
  ASSERT_EQ(device.diagnostics.size(), 1U);
  EXPECT_EQ(device.diagnostics.at(0).get(), &Diagnostic());
  EXPECT_TRUE(Diagnostic().allTests) << "no test was named";
  EXPECT_FALSE(Diagnostic().allDevices);
}

TEST_F(ArgumentGrammar, TestsAndDevicesMayBeMixed) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q0,f,1"}), 0);
  EXPECT_EQ(TestNames(), Words{"FUNNEL_TEST"});
  EXPECT_EQ(DeviceNames("storage"), (Words{"0", "1"}));
  EXPECT_FALSE(Diagnostic().allTests);
  EXPECT_FALSE(Diagnostic().allDevices);
}

TEST_F(ArgumentGrammar, ADeviceOfTheLineInADiagnosticsTextIsRedundant) {
  ExpectWarns({"-Mstorage", "-Q0", "0"}, "Redundant device entry(ies) on diagnostic scope ignored");
  EXPECT_EQ(DeviceNames("storage"), Words{"0"});
  EXPECT_EQ(Selection("storage").devices.at(0).second->diagnostics.size(), 1U);
}

TEST_F(ArgumentGrammar, ADeviceTwiceInATextIsRedundant) {
  ExpectWarns({"-Mstorage", "-Q0,0"}, "Redundant device entry(ies) on diagnostic scope ignored");
  EXPECT_EQ(cli->testsTakenAsDevices, Words{"0"});
  EXPECT_EQ(Selection("storage").devices.at(0).second->diagnostics.size(), 2U);
}

TEST_F(ArgumentGrammar, AWordWithParametersThatIsNoTestIsADeviceAsItStands) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qx(1)"}), 0);
  EXPECT_EQ(DeviceNames("storage"), Words{"x(1)"});
}

TEST_F(ArgumentGrammar, ATestOfAnotherDiagnosticIsTakenForADevice) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qs"}), 0);
  EXPECT_EQ(DeviceNames("storage"), Words{"s"});
}

}  // namespace

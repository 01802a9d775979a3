#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

constexpr char kNotAvailable[] = "Following module(s) are not available: ";

class Validation : public FrontEndTest {
 protected:
  Validation() { storage = &AddStorage(); }

  FakeModule* storage;
};

TEST_F(Validation, AMissingModuleAloneEndsInTheHelpWithResult30) {
  EXPECT_EQ(Parse({"-Mnosuch"}), 0);
  EXPECT_EQ(Screen(), kPlainBanner + WarningText(std::string(kNotAvailable) + "nosuch"));
  EXPECT_EQ(cli->result, 30);
  EXPECT_TRUE(Has(CLI_FLAG_HELP | CLI_FLAG_INFORMATION));
  cli->ShowInformation();
  EXPECT_EQ(Screen(), HelpText("storage") + "  storage - version 1.0.0.0\n");
  EXPECT_EQ(cli->ExitStatus(), 30);
}

TEST_F(Validation, SeveralMissingModulesAreNamedInOneWarning) {
  EXPECT_EQ(Parse({"-Mnosuch", "-Mneither"}), 0);
  EXPECT_EQ(Screen(), kPlainBanner + WarningText(std::string(kNotAvailable) + "nosuch, neither"));
}

TEST_F(Validation, AMissingModuleBesideOneThatIsThereOnlyWarns) {
  EXPECT_EQ(Parse({"-Mstorage", "-Mnosuch"}), 0);
  EXPECT_EQ(Screen(), kAbortBanner + WarningText(std::string(kNotAvailable) + "nosuch"));
  EXPECT_EQ(cli->result, -1);
  EXPECT_FALSE(HasAny(CLI_FLAG_HELP | CLI_FLAG_INFORMATION));
  EXPECT_TRUE(Has(CLI_FLAG_DIAGNOSTIC));
}

TEST_F(Validation, TheDiagnosticsOfAModuleBehindAMissingOneAreParsed) {
  EXPECT_EQ(Parse({"-Mnosuch", "-Mstorage", "-Qr"}), 0);
  EXPECT_EQ(Selection("storage").diagnostics.at(0)->tests.size(), 1U);
  EXPECT_EQ(cli->result, -1);
}

TEST_F(Validation, TheGrammarOfAMissingModulesDiagnosticIsNotLookedAt) {
  EXPECT_EQ(Parse({"-Mnosuch", "-Q,,((", "-Mstorage"}), 0);
  EXPECT_EQ(Screen(), kAbortBanner + WarningText(std::string(kNotAvailable) + "nosuch"));
}

TEST_F(Validation, AFailureOfTheGrammarIsFatalAndStopsAtIt) {
  ExpectFatal({"-Mstorage", "-Qf,", "-Es"}, "empty test", -1, "storage");
  EXPECT_TRUE(Selection("storage").diagnostics.at(1)->tests.empty());
}

TEST_F(Validation, AModuleWithoutADiagnosticTakesItsDefault) {
  AddMemory();
  EXPECT_EQ(Parse({"-Mstorage", "-Mmemory", "-K"}), 0);
  EXPECT_TRUE(Selection("storage").defaultDiagnostics);
  EXPECT_FALSE(Selection("memory").defaultDiagnostics);
}

struct EarlierResult {
  int before;
  int after;
};
class MissingModules : public Validation, public ::testing::WithParamInterface<EarlierResult> {};

TEST_P(MissingModules, DoNotReplaceTheResultOfARun) {
  EXPECT_EQ(Parse({"-Mnosuch"}), 0);
  cli->result = GetParam().before;
  std::string error;
  EXPECT_EQ(cli->ValidateSelections(error), 0);
  EXPECT_EQ(cli->result, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(Results, MissingModules,
                         ::testing::Values(EarlierResult{-1, 30}, EarlierResult{0, 0},
                                           EarlierResult{21, 21}, EarlierResult{22, 22},
                                           EarlierResult{25, 25}, EarlierResult{23, 30},
                                           EarlierResult{24, 30}, EarlierResult{5, 30},
                                           EarlierResult{32, 30}));

class NoModules : public FrontEndTest {};

TEST_F(NoModules, ASelectedModuleGivesTheWarningThatNoneIsLoaded) {
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  EXPECT_EQ(Screen(), kAbortBanner + WarningText("No module loaded"));
  EXPECT_EQ(cli->result, 30);
  EXPECT_FALSE(HasAny(CLI_FLAG_HELP | CLI_FLAG_INFORMATION))
      << "the test for available modules does not run";
}

TEST_F(NoModules, WithoutASelectionNothingIsReported) {
  EXPECT_EQ(Parse({"-v"}), 0);
  EXPECT_EQ(Screen(), kPlainBanner);
  EXPECT_EQ(cli->result, -1);
}

TEST_F(Validation, AMissingModuleKeepsTheInformationThatWasAskedFor) {
  EXPECT_EQ(Parse({"-Mnosuch", "-L"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_INFORMATION | CLI_FLAG_LIST_DIAGNOSTICS | CLI_FLAG_HELP));
}

TEST_F(Validation, AllFiveListsGiveWarningsInTheirOrderBeforeTheOlderOnes) {
  TestOf(*storage, 0, 1).Rule(2);
  EXPECT_EQ(Parse({"-W", "--HDK", "--HDK", "-MSTORAGE", "0", "0", "-Qf,f,r(1),9", "-Mstorage"}), 0);
  EXPECT_EQ(cli->warnings,
            (Words{"Duplicated module(s) entry, only one entry considered of each: storage",
                   "Test(s) not found, argument(s) treated as device: 9",
                   "Duplicated test(s) found on diagnostic, only one entry considered: f",
                   "Duplicated global device, only one entry considered: 0",
                   "Not required argument(s) ignored on test(s): r",
                   "Duplicated option entry, only one entry considered",
                   "It is recommended to use lowercase on modules names"}));
}

TEST_F(Validation, SeveralEntriesOfAListAreJoined) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qx,y"}), 0);
  EXPECT_EQ(cli->warnings, Words{"Test(s) not found, argument(s) treated as device: x, y"});
}

TEST_F(Validation, DuplicatedTestsLeaveABlankLineBeforeTheBanner) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf,f"}), 0);
  EXPECT_EQ(
      Screen(),
      "\n" + kAbortBanner +
          WarningText("Duplicated test(s) found on diagnostic, only one entry considered: f"));
}

TEST_F(Validation, AWarningIsNotAddedTwice) {
  Start();
  cli->AddWarning("one");
  cli->AddWarning("two");
  cli->AddWarning("one");
  EXPECT_EQ(cli->warnings, (Words{"one", "two"}));
}

TEST_F(Validation, WarningsAreComposedAfterAFatalErrorToo) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf,f", "-E,"}), 1);
  EXPECT_EQ(cli->warnings,
            Words{"Duplicated test(s) found on diagnostic, only one entry considered: f"});
  EXPECT_EQ(Screen(), "\n" + kAbortBanner + FatalText("empty test") + HelpText("storage"));
}

TEST_F(Validation, AToolSkipsValidation) {
  storage->AddTool("recover_bad_sectors", "RECOVERS", "recover");
  EXPECT_EQ(Parse({"-Mstorage", "-Trecover"}), 0);
  EXPECT_FALSE(Selection("storage").defaultDiagnostics);
  EXPECT_EQ(Screen(), "") << "neither banner nor warnings";
}

}  // namespace

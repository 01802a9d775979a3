#include "frontend/option_conflicts.h"

#include "frontend/message_keys.h"
#include "frontend/options.h"
#include "tests/fakes/front_end_test.h"

namespace {

using ::testing::Values;
using Words = std::vector<std::string>;

class OptionConflicts : public FrontEndTest {
 protected:
  OptionConflicts() {
    AddStorage().AddTool("recover_bad_sectors", "RECOVERS_SECTORS", "recover");
    AddMemory();
  }
};

// Erase check.

constexpr char kErase[] =
    "to erase the TarvexDiagnostics namespace, please execute the command, "
    "\"TarvexDiagnosticsCLI.exe -r\"";

TEST_F(OptionConflicts, EraseWithAnythingElseFails) {
  ExpectFatal({"-r", "-W"}, kErase);
}

TEST_F(OptionConflicts, EraseBehindAnythingElseFails) {
  ExpectFatal({"-Mstorage", "-r"}, kErase);
  EXPECT_TRUE(Has(CLI_FLAG_HELP | CLI_FLAG_INFORMATION));
}

TEST_F(OptionConflicts, EraseAlonePasses) {
  EXPECT_EQ(Parse({"-r"}), 0);
  EXPECT_EQ(cli->flags, CLI_FLAG_REMOVE_WMI | CLI_FLAG_NO_ABORT_BANNER);
}

TEST_F(OptionConflicts, TheLongFormOfEraseIsNotChecked) {
  EXPECT_EQ(Parse({"-Mstorage", "--remove-wmi"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_REMOVE_WMI));
}

TEST_F(OptionConflicts, TheRecoveryToolTurnsTheEraseCheckOffForWordsBehindIt) {
  EXPECT_EQ(Parse({"-Mstorage", "-Trecover", "-r"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_TOOL));
}

TEST_F(OptionConflicts, TheRecoveryToolDoesNotTurnTheEraseCheckOffForWordsBeforeIt) {
  ExpectFatal({"-r", "-Mstorage", "-Trecover"}, kErase);
}

// Information.

TEST_F(OptionConflicts, ParameterListAndValidationClearTheDiagnosticFlag) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "-P"}), 0);
  EXPECT_FALSE(HasAny(CLI_FLAG_DIAGNOSTIC));
  Stop();
  optind = 0;
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "-V"}), 0);
  EXPECT_FALSE(HasAny(CLI_FLAG_DIAGNOSTIC));
}

// Tools.

TEST_F(OptionConflicts, AToolBeforeAnyModuleFails) {
  ExpectFatal({"-Trecover"}, "the -T option must be used after the -M\"module name\" option");
}

TEST_F(OptionConflicts, AToolForTwoModulesFails) {
  ExpectFatal({"-Mstorage", "-Mmemory", "-Trecover"},
              "the tool option must be specified for only one module");
}

class ToolCompany : public OptionConflicts, public ::testing::WithParamInterface<const char*> {};

TEST_P(ToolCompany, MakesTheToolFail) {
  Start();
  cli->modules = &service().moduleList;
  Argv line({GetParam(), "-Mstorage", "-Trecover"});
  std::string error;
  EXPECT_EQ(cli->ParseCommandLine(line.Count(), line.Data(), error), 70);
  EXPECT_EQ(error, "THE_-T_OPTION_CANNOT_BE_USED_ALONG_WITH_OTHER_CLI_OPTIONS");
}

INSTANTIATE_TEST_SUITE_P(OtherOptions, ToolCompany,
                         Values("-A", "-D", "-R", "-L", "-S", "-P", "-V", "-G1", "--HDK"));

TEST_F(OptionConflicts, ADiagnosticMakesTheToolFail) {
  ExpectFatal({"-Mstorage", "-Q", "-Trecover"},
              "the -t option cannot be used along with other cli options");
}

class ToolNeutral : public OptionConflicts, public ::testing::WithParamInterface<const char*> {};

TEST_P(ToolNeutral, MayStandBesideATool) {
  EXPECT_EQ(Parse({GetParam(), "-Mstorage", "-Trecover"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_TOOL));
}

INSTANTIATE_TEST_SUITE_P(Options, ToolNeutral,
                         Values("-h", "-v", "-W", "-e1", "--obg-instance", "--remove-wmi"));

TEST_F(OptionConflicts, AToolInTheBackgroundFails) {
  ExpectFatal({"-b", "-Mstorage", "-Trecover"}, "it is not possible to a tool in background mode");
}

TEST_F(OptionConflicts, AToolWithItsOutputInAFileFails) {
  ExpectFatal({"-o" + folder + "/report", "-Mstorage", "-Trecover"},
              "it is not possible to redirect the output while running a tool");
}

TEST_F(OptionConflicts, TheBackgroundBehindAToolIsRefused) {
  Start().flags = CLI_FLAG_TOOL;
  const OptionConflict* conflict =
      FindConflict(Moment::kOption, {.cli = *cli, .option = &FindOption('b')});
  ASSERT_NE(conflict, nullptr);
  EXPECT_STREQ(conflict->key, kKeyToolInBackground);
}

// Background and supervisor.

TEST_F(OptionConflicts, SupervisorBehindBackgroundClearsIt) {
  EXPECT_EQ(Parse({"-Mstorage", "-b", "--HDK"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_SUPERVISED));
  EXPECT_FALSE(HasAny(CLI_FLAG_BACKGROUND));
}

TEST_F(OptionConflicts, BackgroundBehindSupervisorIsDropped) {
  EXPECT_EQ(Parse({"-Mstorage", "--HDK", "-b"}), 0);
  EXPECT_FALSE(HasAny(CLI_FLAG_BACKGROUND));
  EXPECT_TRUE(cli->warnings.empty());
}

TEST_F(OptionConflicts, TheMarkerOfABackgroundInstanceClearsBackground) {
  EXPECT_EQ(Parse({"-Mstorage", "-b", "--obg-instance"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_BACKGROUND_INSTANCE));
  EXPECT_FALSE(HasAny(CLI_FLAG_BACKGROUND));
}

TEST_F(OptionConflicts, BackgroundBehindTheMarkerIsADuplicateAndIsNotSet) {
  EXPECT_EQ(Parse({"-Mstorage", "--obg-instance", "-b"}), 0);
  EXPECT_EQ(cli->warnings.size(), 1U);
  EXPECT_TRUE(Has(CLI_FLAG_BACKGROUND_INSTANCE));
  EXPECT_FALSE(HasAny(CLI_FLAG_BACKGROUND));
}

TEST_F(OptionConflicts, BackgroundBehindSupervisorAndTheMarkerIsNoDuplicate) {
  EXPECT_EQ(Parse({"-Mstorage", "--HDK", "--obg-instance", "-b"}), 0);
  EXPECT_TRUE(cli->warnings.empty());
}

TEST_F(OptionConflicts, ASupervisorOutranksAReport) {
  EXPECT_EQ(Parse({"-o" + folder + "/report", "--HDK", "-Mstorage"}), 0);
  EXPECT_FALSE(std::filesystem::exists(folder + "/report"));
  EXPECT_TRUE(Has(CLI_FLAG_OUTPUT_FILE | CLI_FLAG_SUPERVISED));
}

// Caller and data collection.

TEST_F(OptionConflicts, ACallerWithoutDataCollectionIsFatal) {
  EXPECT_EQ(Parse({"-CHelm,1,key"}), 1);
  EXPECT_NE(Screen().find(
                FatalText("The caller parameter must come along with data-collection parameter")),
            std::string::npos);
  EXPECT_EQ(cli->result, -1);
}

// Whole lines.

TEST_F(OptionConflicts, InformationAndDiagnosticFail) {
  ExpectFatal({"-Mstorage", "-D", "-Q"},
              "can not show information and perform diagnostic at the same time");
}

TEST_F(OptionConflicts, DevicesForAListingFail) {
  ExpectFatal({"-Mstorage", "-D", "0"}, "unnecessary devices chosen");
}

TEST_F(OptionConflicts, DevicesForAValidationPass) {
  EXPECT_EQ(Parse({"-Mstorage", "-V", "0"}), 0);
}

TEST_F(OptionConflicts, AModuleForTheModuleListFails) {
  ExpectFatal({"-A", "-Mstorage"}, "module chosen with an option that does not need modules");
}

class NeedsModule : public OptionConflicts, public ::testing::WithParamInterface<const char*> {};

TEST_P(NeedsModule, FailsWithoutOne) {
  ExpectFatal({GetParam()}, "no module chosen for option that has a mandatory module need");
}

INSTANTIATE_TEST_SUITE_P(Options, NeedsModule, Values("-D", "-R", "-S", "-L"));

TEST_F(OptionConflicts, TheConflictsAreCheckedInTheirOrder) {
  ExpectFatal({"-Mstorage", "-A", "-Q", "0"},
              "can not show information and perform diagnostic at the same time");
}

TEST_F(OptionConflicts, RunAllWithASelectedModuleFails) {
  ExpectFatal({"-U", "-Mstorage"}, "test with invalid parameters format");
}

}  // namespace

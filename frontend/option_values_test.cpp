#include <unistd.h>

#include "tests/fakes/front_end_test.h"

namespace {

using ::testing::Values;
using Words = std::vector<std::string>;

class OptionValues : public FrontEndTest {
 protected:
  OptionValues() {
    AddStorage().AddTool("recover_bad_sectors", "RECOVERS_SECTORS", "recover");
    AddMemory();
  }
};

constexpr char kDuplicate[] = "Duplicated option entry, only one entry considered";
constexpr char kUnrecognized[] = "unrecognized option found";

// Caller.

TEST_F(OptionValues, ACallerOfThreePartsIsTaken) {
  EXPECT_EQ(Parse({"-C Helm , 1.2 beta, key 7 ", "-e1"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_CALLER));
  EXPECT_EQ(cli->callerInfo.appName, "Helm");
  EXPECT_EQ(cli->callerInfo.appVersion, "1.2") << "it stops at the first white space";
  EXPECT_EQ(cli->callerInfo.appKey, "key 7");
  EXPECT_EQ(cli->callerInfo.cacheDir, "");
}

TEST_F(OptionValues, ACallerOfFourPartsNamesItsCacheFolder) {
  EXPECT_EQ(Parse({"--Caller=Helm,1.2,key, /cache ", "-e0"}), 0);
  EXPECT_EQ(cli->callerInfo.cacheDir, "/cache");
}

struct CallerCase {
  const char* argument;
  const char* text;
};
class BadCaller : public OptionValues, public ::testing::WithParamInterface<CallerCase> {};

TEST_P(BadCaller, IsFatal) {
  ExpectFatal({GetParam().argument, "-e1"}, GetParam().text);
}

constexpr char kBadCallerParts[] =
    "Invalid number of Caller argument parameters or some parameter is empty";
INSTANTIATE_TEST_SUITE_P(
    Rows, BadCaller,
    Values(CallerCase{"-C", "Missing Caller argument"}, CallerCase{"-CHelm,1", kBadCallerParts},
           CallerCase{"-CHelm", kBadCallerParts}, CallerCase{"-Ca,b,c,d,e", kBadCallerParts},
           CallerCase{"-C,b,c,d", kBadCallerParts}, CallerCase{"-Ca,,c,d", kBadCallerParts},
           CallerCase{"-Ca,b,c,", kBadCallerParts},
           CallerCase{"-C ,1,key", "Empty Caller argument"},
           CallerCase{"-CHelm, ,key", "Empty Version name"},
           CallerCase{"-CHelm,1, ", "Empty App key"}));

// Group.

TEST_F(OptionValues, AGroupReplacesTheGroupId) {
  EXPECT_EQ(Parse({"-G1234567890123", "-Mstorage"}), 0);
  EXPECT_EQ(cli->groupId, 1234567890123);
  EXPECT_TRUE(Has(CLI_FLAG_GROUP));
}

TEST_F(OptionValues, ASecondGroupWarnsAndTheFirstStays) {
  ExpectWarns({"-G7", "--group=8", "-Mstorage"},
              "Duplicated group set, only first entry considered");
  EXPECT_EQ(cli->groupId, 7);
}

TEST_F(OptionValues, AGroupWithoutTextFails) {
  ExpectFatal({"-G", "-Mstorage"}, "group option with no group argument");
}

// Run all.

TEST_F(OptionValues, PlainRunAllChoosesNoKind) {
  EXPECT_EQ(Parse({"-U"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_RUN_ALL));
  EXPECT_FALSE(cli->runAllQuick || cli->runAllExtended || cli->runAllOnlyUnattended);
  ASSERT_EQ(cli->runAllModules.size(), 2U);
  EXPECT_EQ(cli->runAllModules.at(0).first, "storage");
  EXPECT_EQ(cli->runAllModules.at(1).second->module, service().moduleList[1]);
}

struct RunAllCase {
  const char* option;
  bool quick;
  bool extended;
  bool onlyUnattended;
};
class RunAllKinds : public OptionValues, public ::testing::WithParamInterface<RunAllCase> {};

TEST_P(RunAllKinds, AreTaken) {
  EXPECT_EQ(Parse({GetParam().option}), 0);
  EXPECT_EQ(cli->runAllQuick, GetParam().quick);
  EXPECT_EQ(cli->runAllExtended, GetParam().extended);
  EXPECT_EQ(cli->runAllOnlyUnattended, GetParam().onlyUnattended);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RunAllKinds,
    Values(RunAllCase{"-Uq", true, false, false}, RunAllCase{"-Uquick", true, false, false},
           RunAllCase{"-Ue", false, true, false},
           RunAllCase{"--run-all=extended", false, true, false},
           RunAllCase{"-Uo", true, false, true}, RunAllCase{"-Uonly-unattended", true, false, true},
           RunAllCase{"-Ue,o", false, true, true}, RunAllCase{"-Uq,e,o", true, true, true}));

class BadRunAll : public OptionValues, public ::testing::WithParamInterface<const char*> {};

TEST_P(BadRunAll, IsRefusedWithResultFive) {
  ExpectFatal({GetParam()}, kUnrecognized, 5);
  EXPECT_FALSE(HasAny(CLI_FLAG_RUN_ALL));
}

INSTANTIATE_TEST_SUITE_P(Words, BadRunAll,
                         Values("-Uq,q", "-Uquick,q", "-UQ", "-Ux", "-Ue,e", "-Uo,o", "-Uq,,e",
                                "-U q"));

TEST_F(OptionValues, ModulesOfOneNameAreRunOnce) {
  service().AddModule("STORAGE");
  EXPECT_EQ(Parse({"-U"}), 0);
  EXPECT_EQ(cli->runAllModules.size(), 2U);
  EXPECT_EQ(cli->duplicatedModules, Words{"storage"});
}

class WithoutModules : public FrontEndTest {};

TEST_F(WithoutModules, RunAllGivesResult30) {
  EXPECT_EQ(Parse({"-U"}), 1);
  EXPECT_EQ(cli->result, 30);
  EXPECT_NE(Screen().find(FatalText("no module loaded") + HelpText("")), std::string::npos);
}

TEST_F(WithoutModules, ABadRunAllKindGivesResultFive) {
  EXPECT_EQ(Parse({"-Ux"}), 1);
  EXPECT_EQ(cli->result, 5);
}

// Background and supervisor.

TEST_F(OptionValues, SupervisorTwiceWarns) {
  EXPECT_EQ(Parse({"-Mstorage", "--HDK", "--HDK"}), 0);
  EXPECT_EQ(cli->warnings, Words{kDuplicate});
}

class BackgroundTwice : public OptionValues, public ::testing::WithParamInterface<Words> {};

TEST_P(BackgroundTwice, Warns) {
  Start();
  cli->modules = &service().moduleList;
  Argv line(GetParam());
  std::string error;
  EXPECT_EQ(cli->ParseCommandLine(line.Count(), line.Data(), error), 0);
  EXPECT_EQ(cli->warnings, Words{"DUPLICATED_OPTION_ENTRY,_ONLY_ONE_ENTRY_CONSIDERED"});
}

INSTANTIATE_TEST_SUITE_P(Lines, BackgroundTwice,
                         Values(Words{"-b", "-b", "-Mstorage"},
                                Words{"--obg-instance", "--background", "-Mstorage"}));

// Data collection and records.

TEST_F(OptionValues, DataCollectionTakesOneAndZero) {
  EXPECT_EQ(Parse({"-Mstorage", "-e1"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_DATA_COLLECTION_SET | CLI_FLAG_DATA_COLLECTION_VALUE |
                  CLI_FLAG_NO_ABORT_BANNER));
  Stop();
  optind = 0;
  EXPECT_EQ(Parse({"-Mstorage", "-e1", "--data-collection=0"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_DATA_COLLECTION_SET));
  EXPECT_FALSE(HasAny(CLI_FLAG_DATA_COLLECTION_VALUE));
}

TEST_F(OptionValues, DataCollectionWithoutAValueFails) {
  ExpectFatal({"-Mstorage", "-e"}, "No value specified for data-collection parameter.");
}

TEST_F(OptionValues, DataCollectionWithAnotherValueFails) {
  ExpectFatal({"-Mstorage", "-e2"}, "invalid parameter");
}

TEST_F(OptionValues, RecordsAreKeptWhenAskedFor) {
  EXPECT_EQ(Parse({"-Mstorage", "-W"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_WMI));
  EXPECT_FALSE(HasAny(CLI_FLAG_NO_ABORT_BANNER));
}

// Output file.

TEST_F(OptionValues, AnAttachedFileNameIsTaken) {
  EXPECT_EQ(Parse({"-o" + folder + "/a", "-Mstorage"}), 0);
  EXPECT_EQ(cli->outputFile, folder + "/a");
  EXPECT_TRUE(Has(CLI_FLAG_OUTPUT_FILE | CLI_FLAG_NO_ABORT_BANNER));
}

TEST_F(OptionValues, ASeparateFileNameIsTakenAndIsNoDevice) {
  EXPECT_EQ(Parse({"-Mstorage", "-o", folder + "/a", "0"}), 0);
  EXPECT_EQ(cli->outputFile, folder + "/a");
  EXPECT_EQ(DeviceNames("storage"), Words{"0"});
}

TEST_F(OptionValues, ASeparateFileNameBeforeTheModuleIsNoGarbage) {
  EXPECT_EQ(Parse({"-o", folder + "/a", "-Mstorage", "0"}), 0);
  EXPECT_EQ(DeviceNames("storage"), Words{"0"});
}

TEST_F(OptionValues, AnOutputAtTheEndOfTheLineFails) {
  ExpectFatal({"-Mstorage", "-o"}, "file has not been specified");
}

TEST_F(OptionValues, AnOutputFollowedByAnOptionFails) {
  ExpectFatal({"-o", "-Mstorage"}, "file has not been specified");
}

TEST_F(OptionValues, AnOutputTwiceWarnsAndTheLastIsTaken) {
  EXPECT_EQ(Parse({"-o" + folder + "/a", "-o" + folder + "/b", "-Mstorage"}), 0);
  EXPECT_EQ(cli->outputFile, folder + "/b");
  EXPECT_EQ(cli->warnings, Words{kDuplicate});
}

TEST_F(OptionValues, AnImpossibleOutputPathIsARedirectionErrorWithoutHelp) {
  EXPECT_EQ(Parse({"-Mstorage", "-oa"}), 6) << "a path of one character is no path";
  EXPECT_EQ(Screen(),
            kPlainBanner + "[Warning] Output redirection error: output redirection error\n");
  EXPECT_FALSE(HasAny(CLI_FLAG_OUTPUT_FILE));
  EXPECT_NE(cli->view, nullptr);
  EXPECT_EQ(cli->result, -1);
}

TEST_F(OptionValues, AnOutputAloneWritesTheBannerIntoTheFileAndRunsNothing) {
  EXPECT_EQ(Parse({"-o" + folder + "/a"}), 0);
  EXPECT_EQ(cli->flags, CLI_FLAG_OUTPUT_FILE | CLI_FLAG_NO_ABORT_BANNER);
  Stop();
  EXPECT_EQ(ReadFile(folder + "/a"), kPlainBanner);
  EXPECT_EQ(Screen(), "");
}

// Log folder.

TEST_F(OptionValues, ALogFolderIsMadeWithItsParents) {
  EXPECT_EQ(Parse({"-Mstorage", "-s" + folder + "/x/y"}), 0);
  EXPECT_TRUE(std::filesystem::is_directory(folder + "/x/y"));
  EXPECT_EQ(cli->savePath, folder + "/x/y");
  EXPECT_TRUE(Has(CLI_FLAG_SAVE_PATH));
}

TEST_F(OptionValues, ALogFolderThatIsThereIsTaken) {
  EXPECT_EQ(Parse({"-Mstorage", "--save=" + folder}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_SAVE_PATH));
}

TEST_F(OptionValues, ALogFolderCountsFromTheWorkingFolderAndIsMadeOnce) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder);
  EXPECT_EQ(Parse({"-Mstorage", "-sx\\\xff"}), 0);
  std::filesystem::current_path(before);
  EXPECT_TRUE(std::filesystem::is_directory(folder + "/x/\xff"));
  EXPECT_TRUE(std::filesystem::is_empty(folder + "/x/\xff"));
}

TEST_F(OptionValues, ALogFolderBehindAStrangersLinkIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  const std::string link = folder + "/link";
  std::filesystem::create_directory(folder + "/real");
  std::filesystem::create_directory_symlink("real", link);
  ASSERT_EQ(lchown(link.c_str(), 12345, 12345), 0);
  EXPECT_EQ(Parse({"-Mstorage", "-s" + link + "/new"}), 1);
  EXPECT_FALSE(HasAny(CLI_FLAG_SAVE_PATH));
  EXPECT_TRUE(std::filesystem::is_empty(folder + "/real"));
}

TEST_F(OptionValues, ALogFolderWithoutTextFails) {
  ExpectFatal({"-Mstorage", "-s"}, "file has not been specified");
}

class BadLogFolder : public OptionValues, public ::testing::WithParamInterface<const char*> {};

TEST_P(BadLogFolder, IsAFileErrorWithHelp) {
  EXPECT_EQ(Parse({"-Mstorage", std::string("-s") + GetParam()}), 1);
  EXPECT_EQ(Screen(), kAbortBanner + "[Warning] Output redirection error: error opening file\n" +
                          HelpText("storage, memory"));
  EXPECT_EQ(cli->result, -1);
  EXPECT_FALSE(HasAny(CLI_FLAG_SAVE_PATH));
}

INSTANTIATE_TEST_SUITE_P(Paths, BadLogFolder, Values("a", "/dev/null/x", "C:\\x"));

// Copied flags.

struct InfoFlagsCase {
  const char* option;
  std::uint32_t infoFlags;
};
class InfoFlags : public OptionValues, public ::testing::WithParamInterface<InfoFlagsCase> {};

TEST_P(InfoFlags, ReachEachSelection) {
  EXPECT_EQ(Parse({"-Mstorage", "-Mmemory", GetParam().option}), 0);
  EXPECT_EQ(Selection("storage").infoFlags, GetParam().infoFlags);
  EXPECT_EQ(Selection("memory").infoFlags, GetParam().infoFlags);
}

INSTANTIATE_TEST_SUITE_P(Rows, InfoFlags,
                         Values(InfoFlagsCase{"-h", 1}, InfoFlagsCase{"-v", 2},
                                InfoFlagsCase{"-D", 4}, InfoFlagsCase{"-R", 4},
                                InfoFlagsCase{"-L", 8}, InfoFlagsCase{"-S", 16},
                                InfoFlagsCase{"-P", 32}, InfoFlagsCase{"-V", 64},
                                InfoFlagsCase{"-W", 0}));

}  // namespace

#include "tests/fakes/front_end_test.h"

namespace {

// What the front end hands to the service before a run.
class Settings : public FrontEndTest {
 protected:
  Settings() { AddStorage(); }
  const OrvanSettings& First() { return service().settings.at(0); }
  const OrvanSettings& Second() { return service().settings.at(1); }
};

constexpr char kName[] = "Tarvex Diagnostics - CLI 5.0.0.0";

TEST_F(Settings, AreHandedOverTwice) {
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  ASSERT_EQ(service().settings.size(), 2U);
  EXPECT_EQ(First().texts,
            (std::map<std::string, std::string>{{"AppName", kName}, {"AppVersion", "5.0.0.0"}}));
  EXPECT_EQ(First().truths, (std::map<std::string, bool>{{"EnableDataCollection", false},
                                                         {"ExecutionTrackerEnabled", false},
                                                         {"CLILogPathChanged", false}}));
  EXPECT_EQ(Second().texts, First().texts);
  EXPECT_EQ(Second().truths, First().truths);
  EXPECT_EQ(cli->callerInfo.appName, kName);
}

TEST_F(Settings, RecordsAreEnabledTheSecondTimeOnly) {
  EXPECT_EQ(Parse({"-Mstorage", "-W"}), 0);
  EXPECT_FALSE(First().truths.at("ExecutionTrackerEnabled"));
  EXPECT_TRUE(Second().truths.at("ExecutionTrackerEnabled"));
}

TEST_F(Settings, ACallerGivesItsNameVersionKeyAndFolder) {
  EXPECT_EQ(Parse({"-CHelm,1.2,key,/cache", "-e1", "-Mstorage"}), 0);
  EXPECT_EQ(First().texts, (std::map<std::string, std::string>{{"AppName", "Helm"},
                                                               {"AppVersion", "1.2"},
                                                               {"VOSTAppKey", "key"},
                                                               {"VOSTCacheDir", "/cache"}}));
  EXPECT_TRUE(First().truths.at("EnableDataCollection"));
}

TEST_F(Settings, DataCollectionIsAnnounced) {
  EXPECT_EQ(Parse({"-Mstorage", "-e1"}), 0);
  EXPECT_EQ(Screen(), kPlainBanner + "Data collection is enabled.\n\n");
  EXPECT_TRUE(First().truths.at("EnableDataCollection"));
}

TEST_F(Settings, NoDataCollectionIsAnnouncedToo) {
  WriteMachineSetting("[General]\nCollectData=1\n");
  EXPECT_EQ(Parse({"-Mstorage", "-e0"}), 0);
  EXPECT_EQ(Screen(), kPlainBanner + "Data collection is disabled.\n\n");
  EXPECT_FALSE(First().truths.at("EnableDataCollection")) << "the line outranks the machine";
}

TEST_F(Settings, TheMachineDecidesWhenTheLineDoesNot) {
  WriteMachineSetting("[General]\nCollectData=1\n");
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  EXPECT_TRUE(First().truths.at("EnableDataCollection"));
  EXPECT_TRUE(Second().truths.at("EnableDataCollection"));
  EXPECT_EQ(Screen(), kAbortBanner) << "nothing is announced";
}

TEST_F(Settings, AnyOtherMachineValueMeansNo) {
  WriteMachineSetting("[General]\nCollectData=2\n");
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  EXPECT_FALSE(First().truths.at("EnableDataCollection"));
}

TEST_F(Settings, ALogFolderGoesToTheService) {
  EXPECT_EQ(Parse({"-Mstorage", "-s" + folder}), 0);
  EXPECT_TRUE(First().truths.at("CLILogPathChanged"));
  EXPECT_TRUE(service().Called("SetLogPath(" + folder + ")"));
}

TEST_F(Settings, AnUnusableCacheFolderIsFatalAndTheSecondHandOverStillComes) {
  service().settingsThrowAt = 1;
  ExpectFatal({"-CHelm,1,key,/bad", "-e1", "-Mstorage", "-W"}, "Invalid cache directory passed.",
              -1, "storage");
  ASSERT_EQ(service().settings.size(), 2U);
  EXPECT_TRUE(Second().truths.at("ExecutionTrackerEnabled"));
}

TEST_F(Settings, AreNotHandedOverAfterAFatalError) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf,"}), 1);
  EXPECT_TRUE(service().settings.empty());
}

TEST_F(Settings, AreHandedOverForInformationToo) {
  EXPECT_EQ(Parse({"-v"}), 0);
  EXPECT_EQ(service().settings.size(), 2U);
}

// Erasing the records.

TEST_F(Settings, ErasingTheRecordsIsReported) {
  EXPECT_EQ(Parse({"-r"}), 0);
  EXPECT_EQ(host().cim.removals, std::vector<std::string>{"ROOT\\Tarvex\\Tarvex_Diagnostics"});
  EXPECT_EQ(Screen(), kPlainBanner + "Namespace Removed Successfully\n");
}

TEST_F(Settings, RecordsThatCannotBeErasedAreReported) {
  host().cim.removeResult = 1;
  EXPECT_EQ(Parse({"-r"}), 0);
  EXPECT_EQ(Screen(), kPlainBanner + "Namespace Removed Unsuccessfully\n");
}

TEST_F(Settings, NothingIsErasedOtherwise) {
  EXPECT_EQ(Parse({"-Mstorage", "-W"}), 0);
  EXPECT_TRUE(host().cim.removals.empty());
}

}  // namespace

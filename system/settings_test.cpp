#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "system/folders.h"
#include "system/ini_file.h"
#include "system/machine_setting.h"
#include "tests/support/test_folder.h"

namespace {

using tarvex::IniValues;

TEST(IniFile, KeepsValuesUnderSectionAndKeyInLowerCase) {
  EXPECT_EQ(tarvex::ParseIni("a=1\n[General]\nCollectData = 1 \r\n[Other One]\nKEY=A b=c"),
            (IniValues{{"/a", "1"}, {"general/collectdata", "1"}, {"other one/key", "A b=c"}}));
}

TEST(IniFile, PassesOverCommentsAndWhatItDoesNotKnow) {
  EXPECT_EQ(tarvex::ParseIni("#a=1\n;b=2\n  # c=3\nword\n[broken\n=value\n\n d = 4 # e"),
            (IniValues{{"/d", "4 # e"}}));
}

TEST(IniFile, KeepsTheFirstOfARepeatedKey) {
  EXPECT_EQ(tarvex::ParseIni("[s]\nk=1\n[S]\nK=2"), (IniValues{{"s/k", "1"}}));
}

TEST(IniFile, EmptyTextHasNoValues) {
  EXPECT_TRUE(tarvex::ParseIni("").empty());
}

TEST(IniFile, ReadsAFileAndRefusesWhatIsNone) {
  const TestFolder folder;
  folder.Write("good.ini", "[a]\nb=c\n");
  folder.Write("large.ini", "[a]\nb=" + std::string(1U << 20, 'x'));
  ASSERT_EQ(mkfifo((folder / "fifo.ini").c_str(), 0600), 0);
  IniValues values{{"old", "value"}};
  EXPECT_EQ(tarvex::ReadIniFile(folder / "large.ini", values), "is larger than 1048576 bytes");
  EXPECT_EQ(tarvex::ReadIniFile(folder / "fifo.ini", values), "is no regular file");
  EXPECT_EQ(tarvex::ReadIniFile(folder.Path() + "/.", values), "is no regular file");
  EXPECT_EQ(values, (IniValues{{"old", "value"}}));
  EXPECT_EQ(tarvex::ReadIniFile(folder / "good.ini", values), "");
  EXPECT_EQ(values, (IniValues{{"a/b", "c"}}));
  EXPECT_EQ(tarvex::ReadIniFile(folder / "missing.ini", values), "");
  EXPECT_TRUE(values.empty());
}

TEST(IniFile, ReadsNothingThatOthersMayWrite) {
  const TestFolder folder;
  folder.Write("a.ini", "[a]\nb=c\n");
  ASSERT_EQ(chmod((folder / "a.ini").c_str(), 0664), 0);
  IniValues values;
  EXPECT_EQ(tarvex::ReadIniFile(folder / "a.ini", values), "can be written by others");
  ASSERT_EQ(chmod((folder / "a.ini").c_str(), 0644), 0);
  ASSERT_EQ(chmod(folder.Path().c_str(), 0770), 0);
  EXPECT_EQ(tarvex::ReadIniFile(folder / "a.ini", values), "can be written by others");
  EXPECT_TRUE(values.empty());
}

TEST(ParseUnsigned, TakesWholeDecimalNumbersWithin32Bits) {
  unsigned value = 0;
  EXPECT_TRUE(tarvex::ParseUnsigned("4294967295", value));
  EXPECT_EQ(value, 4294967295U);
  EXPECT_TRUE(tarvex::ParseUnsigned("007", value));
  EXPECT_EQ(value, 7U);
}

TEST(ParseUnsigned, RefusesEverythingElse) {
  for (const char* const text : {"", "-1", "+1", " 1", "1 ", "0x1", "1.0", "4294967296", "a"}) {
    unsigned value = 9;
    EXPECT_FALSE(tarvex::ParseUnsigned(text, value)) << text;
    EXPECT_EQ(value, 9U) << text;
  }
}

class MachineSettingTest : public testing::Test {
 protected:
  const TestFolder folder_;
  const TestVariable configuration_{"TARVEX_CONFIG_DIR", folder_.Path()};
  std::uint32_t value_ = 9;
};

TEST_F(MachineSettingTest, ReadsANumberOfTheGeneralSection) {
  folder_.Write("orvan.ini", "CollectData=3\n[General]\nCollectData=1\n");
  EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 0);
  EXPECT_EQ(value_, 1U);
  EXPECT_EQ(ReadMachineSetting("collectdata", &value_), 0);
}

TEST_F(MachineSettingTest, TheNumberIsGivenAsItIs) {
  for (const std::uint32_t number : {0U, 1U, 2U, 4294967295U}) {
    folder_.Write("orvan.ini", "[General]\nCollectData=" + std::to_string(number));
    EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 0);
    EXPECT_EQ(value_, number);
  }
}

TEST_F(MachineSettingTest, ALinkIsFollowedToARegularFileOnly) {
  folder_.Write("real.ini", "[General]\nCollectData=1\n");
  const std::string path = folder_ / "orvan.ini";
  ASSERT_EQ(symlink("real.ini", path.c_str()), 0);
  EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 0);
  EXPECT_EQ(value_, 1U);
  for (const char* const target : {"/dev/zero", "/dev/tty", "nowhere", "."}) {
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(symlink(target, path.c_str()), 0);
    EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 1) << target;
  }
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 1);
  EXPECT_EQ(value_, 1U);
}

TEST_F(MachineSettingTest, MissingFileIsAFailure) {
  EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 1);
  EXPECT_EQ(value_, 9U);
}

TEST_F(MachineSettingTest, MissingValueIsAFailure) {
  folder_.Write("orvan.ini", "[Other]\nCollectData=1\n");
  EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 1);
  EXPECT_EQ(value_, 9U);
}

TEST_F(MachineSettingTest, ValueThatIsNoNumberIsAFailure) {
  folder_.Write("orvan.ini", "[General]\nCollectData=yes\nBig=4294967296\nNone=\n");
  EXPECT_EQ(ReadMachineSetting("CollectData", &value_), 1);
  EXPECT_EQ(ReadMachineSetting("Big", &value_), 1);
  EXPECT_EQ(ReadMachineSetting("None", &value_), 1);
  EXPECT_EQ(value_, 9U);
}

struct Folder {
  const char* variable;
  std::string (*function)();
  const char* standard;
};

const Folder kFolders[] = {
    {"TARVEX_RUN_DIR", tarvex::RunFolder, "/run/tarvex"},
    {"TARVEX_STATE_DIR", tarvex::StateFolder, "/var/lib/tarvex"},
    {"TARVEX_CONFIG_DIR", tarvex::ConfigFolder, "/etc/tarvex"},
    {"ORVAN_MODULE_DIR", [] { return tarvex::ModuleFolder("/std"); }, "/std"},
    {"ORVAN_SCENARIO", tarvex::ScenarioFile, ""},
    {"ORVAN_RECORD", tarvex::RecordFile, ""},
    {"ORVAN_REPLAY", tarvex::ReplayFile, ""},
};

TEST(Folders, ComeFromTheEnvironment) {
  for (const Folder& folder : kFolders) {
    const TestVariable variable(folder.variable, "/else/where");
    EXPECT_EQ(folder.function(), "/else/where") << folder.variable;
  }
}

TEST(Folders, KeepTheirDefaultsWithoutOne) {
  for (const Folder& folder : kFolders) {
    const TestVariable variable(folder.variable, "");
    EXPECT_EQ(folder.function(), folder.standard) << folder.variable;
    unsetenv(folder.variable);
    EXPECT_EQ(folder.function(), folder.standard) << folder.variable;
  }
}

}  // namespace

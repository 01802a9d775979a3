#include "service/core/plugin_source.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <utility>

#include "service/core/platform.h"
#include "tests/support/service_test_support.h"

namespace orvan::core {
namespace {

using testing::TemporaryFolder;

class PluginSourceTest : public ::testing::Test {
 protected:
  // Puts the plug-in that was built with that fault into the folder, under the name.
  void Place(const std::string& fault, const std::string& name) {
    std::filesystem::copy_file(std::string(TARVEX_BINARY_DIR) + "/tests/plugins/" + fault + ".so",
                               folder.Path(name));
    ASSERT_EQ(chmod(folder.Path(name).c_str(), 0644), 0);
  }

  TemporaryFolder folder;
};

TEST_F(PluginSourceTest, TheSourceReadsTheSettingFileAndLogsRefusals) {
  Place("good", "a.so");
  Place("throws", "b.so");
  TemporaryFolder other;
  const std::string settings = other.Write("service.ini", "[storage]\ninclude_loop=1\n");
  log::ServiceLog log(other.Path("log"));
  PluginSource source(folder.Path(), settings);
  const std::optional<std::vector<LoadedModule>> modules = source.Load(log);
  ASSERT_TRUE(modules.has_value());
  ASSERT_EQ(modules->size(), 1U);
  EXPECT_EQ(modules->front().module->Help().whole, LibraryFolder() + "|storage/include_loop=1;");
  EXPECT_EQ(source.Refusals().size(), 1U);
  EXPECT_EQ(
      testing::LogLinesAfterStart(other.Path("log")),
      std::vector<std::string>{testing::RunErrorLine(
          "plugin-refused", "plug-in " + folder.Path("b.so") + " was refused: no machine here")});
}

TEST_F(PluginSourceTest, TheSourceCallsAFolderAFolder) {
  TemporaryFolder other;
  log::ServiceLog log(other.Path("log"));
  PluginSource source(folder.Path("missing"), "");
  const std::optional<std::vector<LoadedModule>> modules = source.Load(log);
  ASSERT_TRUE(modules.has_value());
  EXPECT_TRUE(modules->empty());
  EXPECT_EQ(testing::LogLinesAfterStart(other.Path("log")),
            std::vector<std::string>{testing::RunErrorLine(
                "plugin-refused", "plug-in folder " + folder.Path("missing") +
                                      " was refused: No such file or directory")});
}

TEST_F(PluginSourceTest, TheSourceKeepsTheRulesForCallers) {
  const PluginSource source(folder.Path(), "");
  OrvanSettings settings;
  settings.SetString(kSettingCacheDir, folder.Path("missing"));
  EXPECT_THROW(source.CheckSettings(settings), FailedToVisitLocalCache);
  CallerInfo caller;
  caller.appKey = "short";
  EXPECT_THROW(source.CheckCaller(caller), InvalidAppKey);
}

TEST_F(PluginSourceTest, OnlyARecordingsHardwareIsNotThisMachines) {
  const auto isOfThisMachine = [this](protocol::MachineKind kind) {
    remote::MachinePlan machine;
    machine.kind = kind;
    return PluginSource(folder.Path(), "", std::move(machine)).IsOfThisMachine();
  };
  EXPECT_TRUE(isOfThisMachine(protocol::MachineKind::kLive));
  EXPECT_TRUE(isOfThisMachine(protocol::MachineKind::kRecording));
  EXPECT_FALSE(isOfThisMachine(protocol::MachineKind::kReplay));
}

}  // namespace
}  // namespace orvan::core

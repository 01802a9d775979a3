#include "service/core/plugin_loader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "service/core/platform.h"
#include "service/sdk/descriptor.h"
#include "tests/support/service_test_support.h"

namespace orvan::core {
namespace {

using testing::TemporaryFolder;

class PluginLoaderTest : public ::testing::Test {
 protected:
  // Puts the plug-in that was built with that fault into the folder, under the name.
  void Place(const std::string& fault, const std::string& name) {
    std::filesystem::copy_file(std::string(TARVEX_BINARY_DIR) + "/tests/plugins/" + fault + ".so",
                               folder.Path(name));
    ASSERT_EQ(chmod(folder.Path(name).c_str(), 0644), 0);
  }
  std::string ReasonOf(const std::string& fault) {
    Place(fault, "tried.so");
    const LoadedPlugins loaded = LoadPlugins(folder.Path(), {});
    EXPECT_TRUE(loaded.modules.empty());
    return loaded.refusals.size() == 1 && loaded.refusals[0].path == folder.Path("tried.so")
               ? loaded.refusals[0].reason
               : "?";
  }

  TemporaryFolder folder;
};

TEST_F(PluginLoaderTest, LoadsInTheOrderOfTheFileNamesAndLooksAtNothingElse) {
  Place("good", "b.so");
  Place("good", "a.so");
  Place("wrong_magic", "notes.txt");
  const LoadedPlugins loaded = LoadPlugins(folder.Path(), {nullptr, {{"s/k", "v"}}, "/lib/x"});
  ASSERT_EQ(loaded.modules.size(), 2U);
  EXPECT_TRUE(loaded.refusals.empty());
  EXPECT_EQ(loaded.modules[0].origin, folder.Path("a.so"));
  EXPECT_EQ(loaded.modules[1].origin, folder.Path("b.so"));
  EXPECT_EQ(loaded.modules[0].module->Name(), "Small");
  EXPECT_EQ(loaded.modules[0].module->Help().whole, "/lib/x|s/k=v;");
}

TEST_F(PluginLoaderTest, OneThatIsRefusedDoesNotStopTheOthers) {
  Place("wrong_abi", "a.so");
  Place("good", "b.so");
  Place("throws", "c.so");
  const LoadedPlugins loaded = LoadPlugins(folder.Path(), {});
  EXPECT_EQ(loaded.modules.size(), 1U);
  ASSERT_EQ(loaded.refusals.size(), 2U);
  EXPECT_EQ(loaded.refusals[0].path, folder.Path("a.so"));
  EXPECT_EQ(loaded.refusals[1].path, folder.Path("c.so"));
}

TEST_F(PluginLoaderTest, RefusesADescriptorOfAnotherKind) {
  EXPECT_EQ(ReasonOf("wrong_magic"), "has a descriptor of another kind");
}

TEST_F(PluginLoaderTest, RefusesAnotherInterfaceVersion) {
  EXPECT_EQ(ReasonOf("wrong_abi"),
            "has interface version 99 and not " + std::to_string(sdk::kModuleAbiVersion));
}

TEST_F(PluginLoaderTest, RefusesAnotherDescriptorSize) {
  EXPECT_EQ(ReasonOf("wrong_size").substr(0, 29), "has descriptor size 8 and not");
}

TEST_F(PluginLoaderTest, RefusesAnIncompleteDescriptor) {
  EXPECT_EQ(ReasonOf("no_destroy"), "has an incomplete descriptor");
}

TEST_F(PluginLoaderTest, RefusesNoDescriptor) {
  EXPECT_EQ(ReasonOf("no_descriptor"), "gives no descriptor");
}

TEST_F(PluginLoaderTest, RefusesALibraryWithoutTheEntry) {
  EXPECT_NE(ReasonOf("no_entry").find("OrvanModuleEntry"), std::string::npos);
}

TEST_F(PluginLoaderTest, RefusesAModuleThatThrowsAndNamesItsReason) {
  EXPECT_EQ(ReasonOf("throws"), "no machine here");
}

TEST_F(PluginLoaderTest, RefusesAModuleThatIsNone) {
  EXPECT_EQ(ReasonOf("makes_null"), "makes no module");
}

TEST_F(PluginLoaderTest, RefusesAModuleThatTakesAnOptionOfTheProgram) {
  EXPECT_EQ(ReasonOf("taken_letter"),
            "its diagnostic SMALL_TEST has the option \"-v\", which no module can have");
}

TEST_F(PluginLoaderTest, RefusesAModuleThatTakesALongOptionOfTheProgram) {
  EXPECT_EQ(ReasonOf("taken_name"),
            "its diagnostic SMALL_TEST has the option \"--help\", which no module can have");
}

TEST_F(PluginLoaderTest, RefusesAModuleWithALetterThatTheScannerGivesAMeaning) {
  EXPECT_EQ(ReasonOf("scanner_letter"),
            "its diagnostic SMALL_TEST has the option \"-;\", which no module can have");
}

TEST_F(PluginLoaderTest, LoadsADiagnosticWithoutALetterForItTakesNone) {
  Place("no_letter", "a.so");
  const LoadedPlugins loaded = LoadPlugins(folder.Path(), {});
  EXPECT_TRUE(loaded.refusals.empty());
  ASSERT_EQ(loaded.modules.size(), 1U);
  EXPECT_EQ(loaded.modules[0].module->Diagnostics().at(0).option, "");
}

TEST_F(PluginLoaderTest, RefusesWhatIsNoLibrary) {
  folder.Write("text.so", "not an ELF file");
  ASSERT_EQ(chmod(folder.Path("text.so").c_str(), 0644), 0);
  const LoadedPlugins loaded = LoadPlugins(folder.Path(), {});
  ASSERT_EQ(loaded.refusals.size(), 1U);
  EXPECT_EQ(loaded.refusals[0].path, folder.Path("text.so"));
  EXPECT_EQ(loaded.refusals[0].reason, "file too short");
}

TEST_F(PluginLoaderTest, RefusesLinksAndWhatOthersMayWrite) {
  Place("good", "open.so");
  ASSERT_EQ(chmod(folder.Path("open.so").c_str(), 0666), 0);
  ASSERT_EQ(symlink("open.so", folder.Path("link.so").c_str()), 0);
  std::filesystem::create_directory(folder.Path("sub.so"));
  const LoadedPlugins loaded = LoadPlugins(folder.Path(), {});
  EXPECT_TRUE(loaded.modules.empty());
  ASSERT_EQ(loaded.refusals.size(), 3U);
  EXPECT_EQ(loaded.refusals[0].reason, "is no regular file");
  EXPECT_EQ(loaded.refusals[1].reason, "can be written by others");
  EXPECT_EQ(loaded.refusals[2].reason, "is no regular file");
}

TEST_F(PluginLoaderTest, AFolderThatOthersMayWriteIsRefusedWhole) {
  Place("good", "a.so");
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  const LoadedPlugins loaded = LoadPlugins(folder.Path(), {});
  EXPECT_TRUE(loaded.modules.empty());
  ASSERT_EQ(loaded.refusals.size(), 1U);
  EXPECT_EQ(loaded.refusals[0].path, folder.Path());
}

TEST_F(PluginLoaderTest, AMissingFolderLoadsNothing) {
  const LoadedPlugins loaded = LoadPlugins(folder.Path("missing"), {});
  EXPECT_TRUE(loaded.modules.empty());
  EXPECT_EQ(loaded.refusals.size(), 1U);
}

TEST(LibraryFolder, IsWhereThisProgramStands) {
  EXPECT_EQ(LibraryFolder(), std::filesystem::canonical("/proc/self/exe").parent_path().string());
}

}  // namespace
}  // namespace orvan::core

#include "tests/fakes/front_end_test.h"

namespace {

class Help : public FrontEndTest {};

TEST_F(Help, ShowsTheWholeTextWithTheModulesInLowerCase) {
  service().AddModule("Storage");
  service().AddModule("PCI_Express");
  EXPECT_EQ(Inform({"-h"}), HelpText("storage, pci_express"));
}

TEST_F(Help, ASingleModuleHasNoComma) {
  AddStorage();
  EXPECT_EQ(Inform({"-h"}), HelpText("storage"));
}

TEST_F(Help, NoModuleLeavesNothingBehindTheColon) {
  Start();
  cli->modules = &service().moduleList;
  cli->view = std::make_unique<OrvanStdio>(capture);
  cli->ShowGeneralHelp();
  EXPECT_EQ(Screen(), HelpText(""));
}

TEST_F(Help, IsShownWithoutAnyArgument) {
  AddStorage();
  EXPECT_EQ(Parse({}), 0);
  EXPECT_EQ(Screen(), kPlainBanner);
  cli->ShowInformation();
  EXPECT_EQ(Screen(), HelpText("storage"));
}

TEST_F(Help, DoesNotChangeWithOtherOptions) {
  AddStorage();
  EXPECT_EQ(Inform({"-W", "-h", "-G5"}), HelpText("storage"));
}

TEST_F(Help, OfAModuleFollowsTheGeneralHelp) {
  AddStorage().helpText = "-Q, --quick\n  Quick_Check (|f)";
  AddMemory();
  EXPECT_EQ(Inform({"-Mstorage", "-h"}),
            HelpText("storage, memory") + "> -Q, --quick\n  Quick_Check (|f)\n\n")
      << "the module's text is shown as it is";
}

TEST_F(Help, OfSeveralModulesComesInTheOrderOfTheLine) {
  AddStorage();
  AddMemory();
  EXPECT_EQ(Inform({"-Mmemory", "-Mstorage", "-h"}),
            HelpText("storage, memory") + "> help of memory\n\n> help of storage\n\n");
}

TEST_F(Help, ToolHintIsMadeFromWhatTheToolSays) {
  FakeTool& tool = AddStorage().AddTool("smart_tool", "READS_|S|M|A|R|T_DATA", "smart");
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  capture.Take();
  cli->ShowToolHint(&tool, "storage");
  EXPECT_EQ(Screen(),
            "\n => Smart Tool\n"
            "\tDescription\tReads SMART data\n"
            "\tHint\t\tsmart\n"
            "\tMore info\tTarvexDiagnosticsCLI -Mstorage -Tsmart\n");
}

}  // namespace

#include "tools/recover/rbs_cli.h"

#include <functional>

#include "boundary/hostlayer_console.h"
#include "tests/fakes/tool_test.h"
#include "tests/support/test_pipe.h"
#include "tools/tool_data_error.h"

namespace {

using Texts = std::vector<std::string>;
using Property = FakeTool::Property;

const std::string kSigns(58, '=');
const std::string kBlanking = std::string(35, ' ') + "\r";
const std::string kTitle =
    kBlanking + "\n" + kSigns + "\n Tarvex Helm Desk  -  Recover bad sectors tool\n";
const std::string kHeader = kTitle + kSigns + "\n\n\n";
const std::string kAbortHeader = kTitle + " Press ESC To Abort Operations\n" + kSigns + "\n\n";
const std::string kHelpStart = "> General options\n";
const std::string kQuestionEnd = "> Are you sure you want to proceed? (y/n) ";
const std::string kHint =
    ">> To see instructions use: TarvexDiagnosticsCLI -Mstorage -Trecover -h\n";

class RbsCliTest : public ToolTest {
 protected:
  RbsCliTest() {
    AddDevice("0", "Disk A");
    AddDevice("1", "Disk B");
    tool.body = [this](FakeToolRun& run) {
      if (run.hasListener && play) play(run);
    };
  }
  // Executes what stands behind the tool's option, as the program's hand-over does; the output. The
  // time stands still, so that no progress comes in between, unless the test moves it.
  std::string Execute(const Texts& words, bool supervised = false) {
    Texts line{"-Mstorage", "-Trecover"};
    line.insert(line.end(), words.begin(), words.end());
    ToolArgv argv(line);
    RbsCli command(&module, &tool, supervised, capture, tarvex::TerminalWait(tarvex::Descriptor()),
                   host().timer);
    command.SetProperty({"BOOTABLE", "FALSE"});
    command.ToolExecute(argv.Count(), argv.Data());
    return capture.Take();
  }
  void Type(const std::string& keys) {
    for (const char key : keys) host().console.Press(key);
  }
  // The ids that the repair ran on; none when there was no repair.
  Texts Repaired() const { return repaired; }
  int Repairs() {
    return service().CountCalls("RunTool(some_tool,1)") +
           service().CountCalls("RunTool(some_tool,2)");
  }
  static bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
  }

  Texts repaired;
  std::function<void(FakeToolRun&)> play = [this](FakeToolRun& run) {
    repaired = IdsOf(run.devices);
  };
};

TEST_F(RbsCliTest, TheToolAloneShowsItsHelpWithoutAWarning) {
  const std::string output = Execute({});
  EXPECT_EQ(output.substr(0, (kHeader + kHelpStart).size()), kHeader + kHelpStart);
  EXPECT_TRUE(EndsWith(output, "  -Trecover -r\n\n"));
  EXPECT_EQ(module.scans, 0);
  EXPECT_EQ(tool.Settings(), (std::vector<Property>{}));
}

TEST_F(RbsCliTest, StrayWordsAreNamedAndTheHelpIsShown) {
  const std::string output = Execute({"x", "Y"});
  const std::string start =
      kHeader + "[Warning] Ignoring: x, y\n[Warning] No valid option specified\n\n" + kHelpStart;
  EXPECT_EQ(output.substr(0, start.size()), start);
}

TEST_F(RbsCliTest, ErrorsComeWithTheUsageHintAndEndTheCommand) {
  struct Row {
    const char* option;
    const char* text;
  };
  for (const Row& row :
       {Row{"-z", "Unrecognized option found"},
        Row{"-b", "It is not possible to a tool in background mode"},
        Row{"-ofile", "It is not possible to redirect the output while running a tool"}}) {
    std::string text = row.text;
    // Only the first key begins with a bar.
    if (row.option != std::string("-z")) text[0] = 'i';
    EXPECT_EQ(Execute({"-r", row.option}),
              kAbortHeader + ">> Errors:\n\t- " + text + "\n\n" + kHint)
        << row.option;
  }
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, OnlyInvalidDevicesAreAWarningAndAnError) {
  EXPECT_EQ(Execute({"-r", "x,x"}),
            kAbortHeader +
                "[Warning] Following are not available or not applicable devices: x\n\n"
                ">> Errors:\n\t- All devices and partitions specified are invalid to that "
                "operation\n\n" +
                kHint);
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, EmptyTokensAreSeenAndAreNoDevices) {
  EXPECT_EQ(Execute({"-r", ",", "-y"}),
            kAbortHeader +
                ">> Errors:\n\t- All devices and partitions specified are invalid to that "
                "operation\n\n" +
                kHint);
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, WithoutAnIdEveryDeviceIsRepairedAfterConfirmation) {
  Type("y\r");
  const std::string output = Execute({"-r"});
  EXPECT_EQ(module.scans, 1);
  EXPECT_EQ(Repaired(), (Texts{"0", "1"}));
  EXPECT_EQ(output.substr(0, kAbortHeader.size()), kAbortHeader);
  EXPECT_TRUE(EndsWith(output, kQuestionEnd + "y\n\n"));
}

TEST_F(RbsCliTest, ARepeatedDeviceIsRepairedOnce) {
  Execute({"-r", "-y", "0,0", "0"});
  EXPECT_EQ(Repaired(), Texts{"0"});
}

TEST_F(RbsCliTest, InvalidDevicesAreNamedAndTheOthersRepaired) {
  EXPECT_EQ(
      Execute({"-ry", "0,X_1"}),
      kAbortHeader + "[Warning] Following are not available or not applicable devices: X_1\n\n");
  EXPECT_EQ(Repaired(), Texts{"0"});
}

TEST_F(RbsCliTest, ANoEndsTheCommandWithoutAWord) {
  Type("n\r");
  EXPECT_TRUE(EndsWith(Execute({"-r"}), kQuestionEnd + "n\n"));
  EXPECT_EQ(Repairs(), 0);
  EXPECT_EQ(tool.Settings(), (std::vector<Property>{{"Operation", {"filterDevices"}}}));
}

TEST_F(RbsCliTest, WithoutATerminalNothingIsRepaired) {
  EXPECT_TRUE(EndsWith(Execute({"-r"}), kQuestionEnd + "\n"));
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, YesAloneRepairsNothing) {
  EXPECT_EQ(Execute({"-y"}), Execute({}));
  EXPECT_EQ(tool.Settings(), (std::vector<Property>{}));
}

TEST_F(RbsCliTest, TheListIsOfTheDevicesThatTheToolTakes) {
  tool.refusedDevices = {"1"};
  const std::string dashes(58, '-');
  const std::string list =
      "> List of devices\n" + dashes + "\n  Device Id\t\t0\n  Display Name\t\tDisk A\n\n\n";
  EXPECT_EQ(Execute({"-l"}), kHeader + list);
  EXPECT_EQ(Execute({"-l", "7"}), kHeader + "[Warning] Ignoring: 7\n\n" + list);
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, AListOrHelpBesideARepairIsShownBeforeIt) {
  std::string output = Execute({"-r", "-l", "-y"});
  EXPECT_NE(output.find("> List of devices"), std::string::npos);
  EXPECT_EQ(Repaired(), (Texts{"0", "1"}));
  repaired.clear();
  output = Execute({"-h", "-r", "-y", "1"});
  EXPECT_EQ(output.substr(0, (kHeader + kHelpStart).size()), kHeader + kHelpStart);
  EXPECT_EQ(Repaired(), Texts{"1"});
}

TEST_F(RbsCliTest, WithoutDevicesThereIsNothingToRepair) {
  module.deviceList.clear();
  EXPECT_EQ(
      Execute({"-r", "-y"}),
      kAbortHeader + ">> Errors:\n\t- There are no devices applicable for that operation\n\n");
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, TheOperationIsSetBeforeTheRunAndAnEarlierAbortTakenBack) {
  std::vector<Property> settings;
  play = [&settings](FakeToolRun& run) { settings = run.tool.Settings(); };
  Execute({"-r", "-y"});
  EXPECT_EQ(settings,
            (std::vector<Property>{
                {"Operation", {"filterDevices"}}, {"Operation", {"repair"}}, {"ForcedAbort", {}}}));
}

TEST_F(RbsCliTest, ARunIsShown) {
  play = [](FakeToolRun& run) {
    run.Fire("OnRecoverInit");
    run.Fire("OnOperationInit", "OperationInit", {"repair"});
    run.Fire("OnDeviceInit", "DeviceInit", {"0"});
    run.tool.SetToolProperty("SectorsInfo", {"8", "1", "1", "0"});
    run.tool.SetToolProperty("BadSectorsList", {"5"});
    run.Fire("OnDeviceFinish", "DeviceFinish", {"0", "9"});
    run.Fire("OnOperationFinish");
    run.Fire("OnRecoverFinish");
  };
  EXPECT_EQ(Execute({"-r", "-y", "0"}),
            kAbortHeader +
                "Started Operation: Repair\n=> Disk A \n"
                "   Number of sectors read: 8\n   Number of bad sectors found: 1\n"
                "   Number of fixed sectors: 1\n   Number of non fixed sectors: 0\n"
                "   Operation status: Passed\n   Elapsed time: 0 second\n"
                "\n   Bad sectors list:\n   5\n\n\n");
}

TEST_F(RbsCliTest, ProgressIsDrawnWhileADeviceIsRepaired) {
  host().timer.AdvanceWithEachLook(251);
  play = [](FakeToolRun& run) {
    // The percentage comes before the device: without one no line is drawn.
    run.Fire("OnProgress", "Progress", {"42"});
    run.Fire("OnDeviceInit", "DeviceInit", {"0"});
    // The second look at the keyboard from here on comes behind a progress line.
    host().console.AwaitReads(host().console.Reads() + 3);
  };
  EXPECT_NE(Execute({"-r", "-y"}).find("=> Disk A \n   42% "), std::string::npos);
}

TEST_F(RbsCliTest, EscapeThatWasTypedBeforeTheRunStopsIt) {
  host().console.Press(kKeyEscape);
  play = [](FakeToolRun& run) { run.AwaitAbort(); };
  Execute({"-r", "-y"});
  EXPECT_EQ(service().CountCalls("AbortTool(some_tool)"), 1);
}

TEST_F(RbsCliTest, ARunHoweverShortLooksForEscape) {
  Execute({"-r", "-y"});
  EXPECT_GE(host().console.Reads(), 1);
}

TEST_F(RbsCliTest, ATerminationRequestAtTheQuestionIsPassedOnAndTheQuestionStays) {
  TestPipe terminal;
  ToolArgv argv({"-Mstorage", "-Trecover", "-r"});
  RbsCli command(&module, &tool, false, capture, tarvex::TerminalWait(std::move(terminal.reading)));
  std::thread user([this] {
    host().console.AwaitReads(1);
    host().signals.Fire(2);
    EXPECT_EQ(service().CountCalls("AbortTool(some_tool)"), 1);
    Type("n\r");
  });
  command.ToolExecute(argv.Count(), argv.Data());
  user.join();
  EXPECT_TRUE(EndsWith(capture.Take(), kQuestionEnd + "n\n"));
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, TheForcedAbortLivesAsLongAsTheCommand) {
  {
    const RbsCli command(&module, &tool, false, capture);
    EXPECT_EQ(host().signals.handlers.size(), 1U);
  }
  EXPECT_EQ(host().signals.handlers.size(), 0U);
  EXPECT_EQ(host().consoleUses, host().consoleReleases);
}

TEST_F(RbsCliTest, ASupervisedRepairNeedsAYes) {
  EXPECT_EQ(Execute({"-r", "--HDK"}, true), kBlanking);
  EXPECT_EQ(host().console.Reads(), 0);
  EXPECT_EQ(Repairs(), 0);
  play = [](FakeToolRun& run) {
    run.Fire("OnRecoverInit");
    run.Fire("OnOperationInit", "OperationInit", {"repair"});
    run.Fire("OnDeviceInit", "DeviceInit", {"1"});
    run.tool.SetToolProperty("SectorsInfo", {"8", "1", "1", "0"});
    run.Fire("OnDeviceFinish", "DeviceFinish", {"1", "9"});
    run.Fire("OnOperationFinish");
    run.Fire("OnRecoverFinish");
  };
  EXPECT_EQ(Execute({"-r", "-y", "1", "--HDK"}, true),
            kBlanking +
                "\nBeginRBS:::SCAN_AND_FIX_TOOL|1|Disk B\n"
                "EndRBS:::1|8|1|1|0|9|00:00:00\n\n");
}

TEST_F(RbsCliTest, ASupervisedLineWithoutARepairSaysNothing) {
  EXPECT_EQ(Execute({"-h", "--HDK"}, true), kBlanking);
  EXPECT_EQ(Execute({"--HDK"}, true), kBlanking);
  EXPECT_EQ(Execute({"-z", "--HDK"}, true), kBlanking);
  EXPECT_EQ(Execute({"-r", "-y", "x", "--HDK"}, true), kBlanking);
  EXPECT_EQ(Repairs(), 0);
}

TEST_F(RbsCliTest, ASupervisedListHasABlockForEachDevice) {
  EXPECT_EQ(Execute({"-l", "--HDK"}, true),
            kBlanking + "\nID:::0\nDISPLAY_NAME:::Disk A\n\nID:::1\nDISPLAY_NAME:::Disk B\n\n");
  tool.refusedDevices = {"0", "1"};
  EXPECT_EQ(Execute({"-l", "--HDK"}, true), kBlanking + "\n");
}

TEST_F(RbsCliTest, ASupervisorsMarkDropsTheHelpOnAConsoleToo) {
  EXPECT_EQ(Execute({"-h", "--HDK"}), kHeader);
}

TEST_F(RbsCliTest, WhatTheServiceSaysWrongEndsTheCommandInOrder) {
  play = [](FakeToolRun& run) {
    run.tool.SetToolProperty("SectorsInfo", {});
    run.Fire("OnDeviceFinish", "DeviceFinish", {"0", "9"});
  };
  const auto missing = [this](const Texts& words, bool supervised) {
    try {
      Execute(words, supervised);
    } catch (const ToolDataError& error) {
      return std::string(error.Missing());
    }
    return std::string("nothing");
  };
  EXPECT_EQ(missing({"-r", "-y", "--HDK"}, true),
            "tool recover_bad_sectors, property SectorsInfo: 0 of 4 values");
  play = [](FakeToolRun& run) { run.Fire("OnDeviceFinish", "DeviceFinish", {"0"}); };
  EXPECT_EQ(missing({"-r", "-y"}, false), "tool some_tool, property DeviceFinish: 1 of 2 values");
  module.AddDevice("2", "Disk C");
  EXPECT_EQ(missing({"-l"}, false),
            "tool some_tool, property NonRotatingMedia of device 2: 0 of 1 values");
  EXPECT_EQ(host().signals.handlers.size(), 0U);
}

TEST_F(RbsCliTest, TheBootableFlagIsReadFromItsProperty) {
  ToolArgv argv({"-Mstorage", "-Trecover"});
  for (const char* value : {"TRUE", "FALSE", "true"}) {
    RbsCli command(&module, &tool, false, capture);
    command.SetProperty({"BOOTABLE", value});
    command.ToolExecute(argv.Count(), argv.Data());
    EXPECT_EQ(command.bootable(), value == std::string("TRUE")) << value;
  }
}

}  // namespace

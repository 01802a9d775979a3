#include "tools/smart/st_cli.h"

#include <functional>

#include "boundary/hostlayer_console.h"
#include "tests/fakes/tool_test.h"
#include "tools/tool_data_error.h"

namespace {

using Texts = std::vector<std::string>;
using Property = FakeTool::Property;

const std::string kSigns(58, '=');
const std::string kHeader = std::string(35, ' ') + "\r\n" + kSigns +
                            "\n Tarvex Diagnostics CLI  -  Smart tool\n" + kSigns + "\n\n\n";
const std::string kHelpStart = "> General options\n";
const std::string kHint = ">> To see instructions use: TarvexDiagnosticsCLI -Mstorage -Tsmart -h\n";
const std::string kNotPossible =
    "It is not possible to retrieve smart attributes for this device\n\n";

class STCliTest : public ToolTest {
 protected:
  STCliTest() {
    AddDevice("0", "Disk A");
    AddDevice("1", "Disk B");
    tool.body = [this](FakeToolRun& run) {
      ++reads;
      read = IdsOf(run.devices);
      if (play) play(run);
    };
  }
  // Executes what stands behind the tool's option, as the program's hand-over does; the output.
  std::string Execute(const Texts& words) {
    Texts line{"-Mstorage", "-Tsmart"};
    line.insert(line.end(), words.begin(), words.end());
    ToolArgv argv(line);
    STCli command(&module, &tool, capture, host().timer);
    command.SetProperty({"BOOTABLE", "FALSE"});
    command.ToolExecute(argv.Count(), argv.Data());
    return capture.Take();
  }
  static void ExpectHelp(const std::string& output, const std::string& warnings = {}) {
    const std::string start = kHeader + warnings + kHelpStart;
    EXPECT_EQ(output.substr(0, start.size()), start);
    const std::string end = "  -Tsmart -i\n\n";
    ASSERT_GE(output.size(), end.size());
    EXPECT_EQ(output.substr(output.size() - end.size()), end);
  }

  int reads = 0;
  Texts read;  // the ids of the last run's devices
  std::function<void(FakeToolRun&)> play;
};

TEST_F(STCliTest, TheToolAloneShowsItsHelpWithoutAWarning) {
  ExpectHelp(Execute({}));
  EXPECT_EQ(module.scans, 0);
  EXPECT_EQ(tool.Settings(), (std::vector<Property>{}));
}

TEST_F(STCliTest, StrayWordsAreNamedAndTheHelpIsShown) {
  ExpectHelp(Execute({"x", "Y"}),
             "[Warning] Ignoring: x, y\n[Warning] No valid option specified\n\n");
  EXPECT_EQ(module.scans, 0);
}

TEST_F(STCliTest, WithoutAnIdEveryDeviceIsReadWithoutAQuestion) {
  EXPECT_EQ(Execute({"-i"}), kHeader);
  EXPECT_EQ(reads, 1);
  EXPECT_EQ(read, (Texts{"0", "1"}));
  EXPECT_EQ(module.scans, 1);
  EXPECT_EQ(Execute({"--info"}), kHeader);
  EXPECT_EQ(reads, 2);
}

TEST_F(STCliTest, OnlyInvalidDevicesAreAWarningAndAnError) {
  EXPECT_EQ(Execute({"-i", "9"}),
            kHeader +
                "[Warning] Following are not available or not applicable devices: 9\n\n"
                ">> Errors:\n\t- All devices specified are invalid to that operation\n\n" +
                kHint);
  EXPECT_EQ(reads, 0);
}

TEST_F(STCliTest, EmptyTokensAreSeenAndAreNoDevices) {
  EXPECT_EQ(
      Execute({"-i", ","}),
      kHeader + ">> Errors:\n\t- All devices specified are invalid to that operation\n\n" + kHint);
  EXPECT_EQ(reads, 0);
}

TEST_F(STCliTest, InvalidDevicesAreNamedAndTheOthersReadOnceInTheirOrder) {
  EXPECT_EQ(Execute({"-i", "1,0", "X_1,1", "_"}),
            kHeader +
                "[Warning] Ignoring: _\n"
                "[Warning] Following are not available or not applicable devices: X_1\n\n");
  EXPECT_EQ(read, (Texts{"0", "1"}));
  Execute({"-i", "1"});
  EXPECT_EQ(read, Texts{"1"});
}

TEST_F(STCliTest, ErrorsComeWithTheUsageHintAndEndTheCommand) {
  struct Row {
    const char* option;
    const char* text;
  };
  for (const Row& row :
       {Row{"-y", "Unrecognized option found"}, Row{"--yes", "Unrecognized option found"},
        Row{"-r", "Unrecognized option found"}, Row{"--HDK", "Unrecognized option found"},
        Row{"-b", "it is not possible to a tool in background mode"},
        Row{"--background", "it is not possible to a tool in background mode"},
        Row{"-ofile", "it is not possible to redirect the output while running a tool"},
        Row{"--output", "it is not possible to redirect the output while running a tool"}}) {
    EXPECT_EQ(Execute({"-i", row.option}), kHeader + ">> Errors:\n\t- " + row.text + "\n\n" + kHint)
        << row.option;
  }
  EXPECT_EQ(reads, 0);
  EXPECT_EQ(module.scans, 0);
}

TEST_F(STCliTest, HelpBesideInfoIsTheHelpOnly) {
  ExpectHelp(Execute({"-h", "-i"}));
  EXPECT_EQ(reads, 0);
}

TEST_F(STCliTest, AListBesideInfoIsTheListOnly) {
  tool.refusedDevices = {"1"};
  const std::string list = "> List of devices\n" + std::string(58, '-') +
                           "\n  Device Id\t\t0\n  Display Name\t\tDisk A\n\n\n";
  EXPECT_EQ(Execute({"-l", "-i"}), kHeader + list);
  EXPECT_EQ(Execute({"-l"}), kHeader + list);
  EXPECT_EQ(Execute({"-l", "7"}), kHeader + "[Warning] Ignoring: 7\n\n" + list);
  EXPECT_EQ(reads, 0);
}

TEST_F(STCliTest, HelpAndListAreBothShown) {
  tool.refusedDevices = {"0", "1"};
  const std::string output = Execute({"-h", "-l"});
  const std::string end = "  -Tsmart -i\n\n> there are no applicable devices for this tool\n";
  EXPECT_EQ(output.substr(0, (kHeader + kHelpStart).size()), kHeader + kHelpStart);
  EXPECT_EQ(output.substr(output.size() - end.size()), end);
}

TEST_F(STCliTest, WithoutDevicesThereIsNothingToRead) {
  module.deviceList.clear();
  EXPECT_EQ(Execute({"-i"}),
            kHeader + ">> Errors:\n\t- There are no devices applicable for that operation\n\n");
  EXPECT_EQ(reads, 0);
}

TEST_F(STCliTest, TheOperationStaysThatOfTheSearch) {
  std::vector<Property> settings;
  play = [&settings](FakeToolRun& run) { settings = run.tool.Settings(); };
  Execute({"-i"});
  EXPECT_EQ(settings,
            (std::vector<Property>{{"Operation", {"filterDevices"}}, {"ForcedAbort", {}}}));
}

TEST_F(STCliTest, ARunIsShown) {
  play = [](FakeToolRun& run) {
    run.Fire("OnSmartToolInit");
    run.Fire("OnDeviceInit", "DeviceInit", {"0"});
    run.Fire("OnProgress", "Progress", {"50"});
    run.Fire("OnDeviceFinish", "DeviceFinish", {"0", "3", "ata", "{}", ""});
    run.Fire("OnDeviceInit", "DeviceInit", {"1"});
    run.Fire("OnDeviceFinish", "DeviceFinish", {"1", "0", "ata", "", ""});
    run.Fire("OnSmartToolFinish");
  };
  EXPECT_EQ(Execute({"-i"}),
            kHeader + "=> Disk A \nNot enough privileges\n=> Disk B \n" + kNotPossible);
}

TEST_F(STCliTest, EscapeStopsTheRunWithTheFirstQuietMoment) {
  host().console.Press(kKeyEscape);
  play = [](FakeToolRun& run) {
    run.Fire("OnDeviceInit", "DeviceInit", {"0"});
    host().timer.Advance(251);
    run.AwaitAbort();
    run.Fire("OnDeviceFinish", "DeviceFinish", {"0", "2", "ata", "{}", ""});
  };
  EXPECT_EQ(Execute({"-i"}), kHeader + "=> Disk A \n\n");
  EXPECT_EQ(service().CountCalls("AbortTool(some_tool)"), 1);
}

TEST_F(STCliTest, NoKeyIsReadBeforeTheFirstQuietMoment) {
  play = [](FakeToolRun&) {
    host().timer.Advance(250);
    // By the third look at the time a pass that found something due has read a key.
    host().timer.AwaitLooks(6);
    EXPECT_EQ(host().console.Reads(), 0);
    host().timer.Advance(1);
    host().console.AwaitReads(1);
  };
  Execute({"-i"});
}

TEST_F(STCliTest, NoProgressIsDrawnHoweverLongARunTakes) {
  play = [](FakeToolRun& run) {
    run.Fire("OnDeviceInit", "DeviceInit", {"0"});
    run.Fire("OnProgress", "Progress", {"50"});
    host().timer.AdvanceWithEachLook(251);
    host().console.AwaitReads(3);
  };
  EXPECT_EQ(Execute({"-i"}), kHeader + "=> Disk A \n");
}

TEST_F(STCliTest, ATerminationRequestStopsTheRun) {
  play = [](FakeToolRun& run) {
    host().signals.Fire(2);
    run.AwaitAbort();
    EXPECT_EQ(run.tool.GetToolProperty("ForcedAbort"), Texts{"Forced to abort"});
  };
  Execute({"-i"});
  EXPECT_EQ(service().CountCalls("AbortTool(some_tool)"), 1);
}

TEST_F(STCliTest, WhatTheServiceSaysWrongEndsTheCommandInOrder) {
  module.AddDevice("2", "Disk C");  // does not say whether it rotates
  EXPECT_THROW(Execute({"-l"}), ToolDataError);
  EXPECT_EQ(host().signals.handlers.size(), 0U);
}

TEST_F(STCliTest, TheForcedAbortLivesAsLongAsTheCommand) {
  {
    const STCli command(&module, &tool, capture);
    EXPECT_EQ(host().signals.handlers.size(), 1U);
  }
  EXPECT_EQ(host().signals.handlers.size(), 0U);
  EXPECT_EQ(host().consoleUses, host().consoleReleases);
}

TEST_F(STCliTest, TheBootableFlagIsReadFromItsProperty) {
  ToolArgv argv({"-Mstorage", "-Tsmart"});
  for (const char* value : {"TRUE", "FALSE", "true"}) {
    STCli command(&module, &tool, capture);
    command.SetProperty({"BOOTABLE", value});
    command.ToolExecute(argv.Count(), argv.Data());
    EXPECT_EQ(command.bootable(), value == std::string("TRUE")) << value;
  }
}

}  // namespace

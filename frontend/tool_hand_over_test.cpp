#include <getopt.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "frontend/tool_makers.h"
#include "tests/fakes/front_end_test.h"
#include "tools/tool_data_error.h"
#include "tools/tool_run.h"

namespace {

using Words = std::vector<std::string>;

// What the tool of this file was made from and told. Null pointers in `made` mean that none was.
struct ToolRecord {
  bool offered = false;  // MakeTool has one
  std::string name;
  ToolMaking made;
  std::map<std::string, std::string> properties;
  Words words;
  int scanStopped = 0;
  std::uint32_t held = 0;
  std::exception_ptr failure;  // what ToolExecute throws
  bool freed = false;
};
ToolRecord record;

class RecordingTool : public ToolCli {
 public:
  ~RecordingTool() override { record.freed = true; }
  void ToolExecute(int argc, char** argv) override {
    record.properties = properties;
    record.words.assign(argv, argv + argc);
    record.scanStopped = optind;
    record.held = GetProcessState().SystemEventHoldMask;
    if (record.failure) std::rethrow_exception(record.failure);
  }
  void ToolRun() override {}
};

}  // namespace

// In place of the program's table.
std::unique_ptr<ToolCli> MakeTool(const std::string& name, const ToolMaking& making) {
  record.name = name;
  if (!record.offered) return nullptr;
  record.made = making;
  return std::make_unique<RecordingTool>();
}

namespace {

class ToolHandOver : public FrontEndTest {
 protected:
  ToolHandOver() : storage(AddStorage()) {
    record = {};
    record.offered = true;
  }
  // Parses a line with the tool of that name and hands over; the tool's output.
  std::string HandOver(const std::string& name, const Words& words) {
    tool = &storage.AddTool(name, "DOES", "some");
    EXPECT_EQ(Parse(words), 0);
    cli->result = kResultNone;
    capture.Take();
    cli->HandOverToTool(argv->Count(), argv->Data());
    return capture.Take();
  }

  FakeModule& storage;
  FakeTool* tool = nullptr;
};

TEST_F(ToolHandOver, TheToolGetsTheLineAsItIs) {
  EXPECT_EQ(HandOver("|SOME_TOOL", {"-Mstorage", "-Tsome", "-i", "0,1"}), "");
  EXPECT_EQ(record.name, "some_tool");
  EXPECT_EQ(record.made.module, &storage);
  EXPECT_EQ(record.made.tool, tool);
  EXPECT_FALSE(record.made.supervised);
  EXPECT_EQ(record.words, (Words{"TarvexDiagnosticsCLI", "-Mstorage", "-Tsome", "-i", "0,1"}));
  EXPECT_EQ(record.scanStopped, 3);
  EXPECT_TRUE(record.freed);
  EXPECT_EQ(cli->result, kResultPassed);
}

TEST_F(ToolHandOver, ASupervisorsMarkReachesTheTool) {
  HandOver("some_tool", {"-Mstorage", "-Tsome", "-i", "--HDK"});
  EXPECT_TRUE(record.made.supervised);
}

TEST_F(ToolHandOver, TheToolIsToldWhetherTheSystemIsBootable) {
  HandOver("some_tool", {"-Mstorage", "-Tsome"});
  EXPECT_EQ(record.properties, (std::map<std::string, std::string>{{"BOOTABLE", "FALSE"}}));
  cli->bootable = true;
  cli->HandOverToTool(argv->Count(), argv->Data());
  EXPECT_EQ(record.properties, (std::map<std::string, std::string>{{"BOOTABLE", "TRUE"}}));
}

TEST_F(ToolHandOver, ShutdownWaitsForTheToolAndNoLonger) {
  HandOver("some_tool", {"-Mstorage", "-Tsome"});
  EXPECT_EQ(record.held, 9U);
  EXPECT_EQ(GetProcessState().SystemEventHoldMask, 0U);
}

TEST_F(ToolHandOver, WhatGoesWrongInAToolPassesOnceTheToolIsGone) {
  for (const std::exception_ptr& failure :
       {std::make_exception_ptr(std::out_of_range("no such element")),
        std::make_exception_ptr(ToolDataError("no such element", "of 2")),
        std::make_exception_ptr(std::system_error(EIO, std::generic_category())),
        std::make_exception_ptr(std::bad_alloc())}) {
    record.failure = failure;
    optind = 0;
    EXPECT_THROW(HandOver("some_tool", {"-Mstorage", "-Tsome"}), std::exception);
    EXPECT_EQ(capture.Take(), "");
    EXPECT_TRUE(record.freed);
    EXPECT_EQ(GetProcessState().SystemEventHoldMask, 0U);
  }
}

std::exception_ptr NoThread() {
  return std::make_exception_ptr(
      ToolThreadError(EAGAIN, std::generic_category(), "cannot start a thread"));
}

TEST_F(ToolHandOver, AToolWithoutAThreadEndsInOrderAndIsToldOfOnStandardError) {
  for (const Words& words : {Words{"-Mstorage", "-Tsome"}, Words{"-Mstorage", "-Tsome", "--HDK"}}) {
    record.failure = NoThread();
    record.freed = false;
    optind = 0;
    ::testing::internal::CaptureStderr();
    const std::string output = HandOver("some_tool", words);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "TarvexDiagnosticsCLI: The tool ended early: cannot start a thread: "
              "Resource temporarily unavailable\n");
    EXPECT_EQ(output, "");
    EXPECT_TRUE(record.freed);
    EXPECT_EQ(GetProcessState().SystemEventHoldMask, 0U);
    EXPECT_EQ(cli->result, kResultPassed);
  }
}

TEST_F(ToolHandOver, AToolWithoutACommandIsPassedOverInSilence) {
  record.offered = false;
  EXPECT_EQ(HandOver("other_tool", {"-Mstorage", "-Tsome"}), "");
  EXPECT_EQ(record.name, "other_tool");
  EXPECT_EQ(cli->result, kResultNone);
}

class PropertyTool : public RecordingTool {
 public:
  const std::map<std::string, std::string>& Properties() const { return properties; }
};

TEST(ToolCli, APropertyKeepsItsFirstValue) {
  PropertyTool tool;
  tool.SetProperty({"BOOTABLE", "TRUE"});
  tool.SetProperty({"BOOTABLE", "FALSE"});
  tool.SetProperty({"OTHER", "x"});
  const std::map<std::string, std::string> expected{{"BOOTABLE", "TRUE"}, {"OTHER", "x"}};
  EXPECT_EQ(tool.Properties(), expected);
  PropertyTool copy(tool);
  EXPECT_EQ(copy.Properties(), expected);
  PropertyTool assigned;
  assigned = tool;
  EXPECT_EQ(assigned.Properties(), expected);
}

}  // namespace

#include <stdexcept>
#include <typeinfo>

#include "tests/support/tool_adapter_fixture.h"

namespace orvan::core {
namespace {

using testing::Texts;
using testing::ToolAdapterTest;

// What a run of it throws to its caller, with its type when that is none of the program's own for
// it; empty when it returns.
std::string ThrownBy(const std::function<void()>& run) {
  try {
    run();
  } catch (const std::exception& error) {
    return typeid(error) == typeid(std::runtime_error)
               ? error.what()
               : std::string(typeid(error).name()) + ": " + error.what();
  } catch (...) {
    return "no exception of the library";
  }
  return {};
}

TEST_F(ToolAdapterTest, WhatAToolThrowsPassesAsATextAndIsInTheLog) {
  int runs = 0;
  Start([&](sdk::ToolContext&) {
    if (++runs == 2) throw 7;
    throw std::out_of_range("lost\nat once");
  });
  testing::TemporaryFolder folder;
  service->SetLogPath(folder.Path());
  EXPECT_EQ(ThrownBy([&] { service->RunTool(tool, &listener, {}); }),
            std::string("tool recover_bad_sectors ended: lost") + tarvex::kSubstitute + "at once");
  EXPECT_EQ(ThrownBy([&] { service->RunTool(tool, nullptr, {}); }),
            "tool recover_bad_sectors ended: an exception of unknown type");
  EXPECT_EQ(runs, 2);
  const std::vector<std::string> lines = testing::LogLinesAfterStart(folder.Path());
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines.at(1), testing::RunErrorLine("exception",
                                               "tool recover_bad_sectors ended: "
                                               "an exception of unknown type"));
}

TEST_F(ToolAdapterTest, ARunThatDidNotDoWhatItWasAskedForIsAnErrorOfTheLog) {
  Start([](sdk::ToolContext& context) {
    context.Log(sdk::LogLevel::kInfo, "looking");
    context.Fail("not quite");
    context.Fail("the drive is locked");
  });
  testing::TemporaryFolder folder;
  service->SetLogPath(folder.Path());
  service->RunTool(tool, &listener, {});
  const std::vector<std::string> lines = testing::LogLinesAfterStart(folder.Path());
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_NE(lines.at(0).find(R"("message":"tool recover_bad_sectors: looking")"),
            std::string::npos);
  EXPECT_EQ(lines.at(1),
            testing::RunErrorLine("tool-failed", "tool recover_bad_sectors: the drive is locked"));
}

TEST_F(ToolAdapterTest, AToolThatThrewCanBeRunAgain) {
  std::vector<bool> stopped;
  Start([&](sdk::ToolContext& context) {
    stopped.push_back(context.StopToken().stop_requested());
    if (stopped.size() == 1) throw std::bad_alloc();
  });
  EXPECT_EQ(ThrownBy([&] { service->RunTool(tool, &listener, {}); }),
            "tool recover_bad_sectors ended: std::bad_alloc");
  // It counts for the next run only when the one that threw is over.
  service->AbortTool(tool);
  EXPECT_EQ(ThrownBy([&] { service->RunTool(tool, &listener, {}); }), "");
  EXPECT_EQ(stopped, (std::vector<bool>{false, true}));
}

TEST_F(ToolAdapterTest, WhatTheReportOfACanceledRunThrowsPassesToo) {
  mayWrite = true;
  canceled = [](sdk::ToolContext&) { throw std::runtime_error("no words"); };
  Start([](sdk::ToolContext&) {});
  service->AbortExecution(2, 0, 0);
  EXPECT_EQ(ThrownBy([&] { service->RunTool(tool, &listener, {}); }),
            "tool recover_bad_sectors ended: no words");
}

TEST_F(ToolAdapterTest, WhatAHandlerThrowsStopsTheToolAndPassesOnceItHasReturned) {
  Texts steps;
  listener.SetHandler("OnShort", [](DiagTool* called, const std::string&) {
    return called->GetToolProperty("Nothing").at(0).empty();
  });
  listener.SetHandler("OnMore", [&](DiagTool*, const std::string&) {
    steps.emplace_back("told more");
    return true;
  });
  Start([&](sdk::ToolContext& context) {
    EXPECT_FALSE(context.StopToken().stop_requested());
    EXPECT_FALSE(context.Fire("OnShort"));
    EXPECT_TRUE(context.StopToken().stop_requested());
    EXPECT_FALSE(context.Fire("OnMore"));
    steps.emplace_back("returned");
  });
  EXPECT_THROW(service->RunTool(tool, &listener, {}), std::out_of_range);
  EXPECT_EQ(steps, Texts{"returned"});
  // The next run is a run like any other.
  EXPECT_THROW(service->RunTool(tool, &listener, {}), std::out_of_range);
  EXPECT_EQ(steps.size(), 2U);
}

TEST_F(ToolAdapterTest, WhatAHandlerThrowsPassesAlsoWhenTheToolThenThrowsItself) {
  listener.SetHandler("OnShort", [](DiagTool*, const std::string&) -> bool {
    throw std::out_of_range("of the handler");
  });
  Start([](sdk::ToolContext& context) {
    context.Fire("OnShort");
    throw std::runtime_error("of the tool");
  });
  EXPECT_THROW(service->RunTool(tool, &listener, {}), std::out_of_range);
}

}  // namespace
}  // namespace orvan::core

#pragma once

#include <getopt.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/argv.h"
#include "tests/fakes/fake_host.h"
#include "tests/fakes/fake_service.h"
#include "tests/support/console_capture.h"
#include "tools/tool_event_queue.h"
#include "tools/tool_target.h"

// A tool of module "storage" on a fake host and a fake service, in this process.
class ToolTest : public ::testing::Test {
 protected:
  ToolTest()
      : module((ResetFakeHost(), ResetFakeService(), service().AddModule("storage"))),
        tool(module.AddTool("some_tool", "DOES_SOMETHING", "some")) {}

  static FakeHost& host() { return TheFakeHost(); }
  static FakeService& service() { return TheFakeService(); }
  ToolTarget Target() { return ToolTarget::Of(&module, &tool); }

  // A device that says whether it rotates: "T", "F" or anything else.
  FakeDevice& AddDevice(const std::string& id, const std::string& name,
                        const std::string& nonRotating = "F") {
    FakeDevice& device = module.AddDevice(id, name);
    device.information.properties["NonRotatingMedia"] = nonRotating;
    return device;
  }
  static void AddPartition(FakeDevice& device,
                           std::vector<std::pair<std::string, std::string>> pairs) {
    device.resources.push_back({"PARTITION", std::move(pairs)});
  }
  // Sends an event to the listener, with a property of the tool, on this thread.
  bool SendTo(orvan_service::ToolListenerView& listener, const std::string& event,
              const std::string& property, const std::vector<std::string>& values) {
    tool.SetToolProperty(property, values);
    return listener.Dispatch(&tool, event);
  }
  // The next event on the queue, which must be of that kind.
  template <class Event>
  static std::unique_ptr<Event> NextOf(ToolEventQueue& queue) {
    std::unique_ptr<ToolEvent> next = queue.Take();
    auto* event = dynamic_cast<Event*>(next.get());
    if (event == nullptr) throw std::runtime_error("another event, or none");
    next.release();
    return std::unique_ptr<Event>(event);
  }
  // The ids of the records or devices.
  template <class Records>
  static std::vector<std::string> IdsOf(const Records& records) {
    std::vector<std::string> ids;
    for (const auto& record : records) ids.push_back(record.id);
    return ids;
  }
  static std::vector<std::string> IdsOf(const std::vector<DiagDevice*>& devices) {
    std::vector<std::string> ids;
    for (DiagDevice* device : devices) {
      std::string id;
      ids.push_back(device->GetId(id));
    }
    return ids;
  }

  FakeModule& module;
  FakeTool& tool;
  tarvex::ConsoleCapture capture;
};

// A command line of a tool, scanned by the program as far as the tool's option.
class ToolArgv : public Argv {
 public:
  explicit ToolArgv(const std::vector<std::string>& words) : Argv(words) {
    std::vector<char*> copy(Data(), Data() + Count() + 1);
    optind = 0;  // starts the scanner afresh
    opterr = 0;
    int value = 0;
    do {
      value = getopt_long(Count(), copy.data(), "M::T::", nullptr, nullptr);
    } while (value != 'T' && value != -1);
  }
};

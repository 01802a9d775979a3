#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "boundary/orvan_service_errors.h"
#include "boundary/orvan_service_settings.h"
#include "service/core/module_source.h"
#include "service/core/service.h"
#include "tests/support/log_test_support.h"

// What the tests of the service's core and of its simulated modules share.
namespace orvan::core::testing {

using namespace log::testing;

class PlainDevice final : public sdk::Device {
 public:
  explicit PlainDevice(std::string id) : id_(std::move(id)) {}
  std::string Id() const override { return id_; }
  DeviceInformation Information() const override {
    if (broken) throw std::runtime_error("no information");
    DeviceInformation information;
    information.name = "Device " + id_;
    return information;
  }
  std::vector<DiagResource> Resources(std::stop_token) const override {
    if (broken) throw std::runtime_error("no resources");
    return {{"PARTITION", {{"LABEL", "root"}}}};
  }
  std::string UniqueId() const override { return "serial-" + id_; }
  std::optional<std::string> WhyUntestable() const override { return whyUntestable; }
  std::optional<std::string> ResultText() const override { return resultText; }

  bool broken = false;
  std::optional<std::string> resultText;
  std::optional<std::string> whyUntestable;

 private:
  std::string id_;
};

// A module whose every part a test can set before it hands it to a service.
class PlainModule final : public sdk::Module {
 public:
  std::string Name() const override { return name; }
  ProductVersion Version() const override { return {1, 2, 3, 4}; }
  sdk::ModuleHelp Help() const override {
    return {.summary = {}, .whole = help ? help() : "help of " + name};
  }
  const std::vector<sdk::DiagnosticRecord>& Diagnostics() const override { return diagnostics; }
  const std::vector<sdk::ToolRecord>& Tools() const override { return tools; }
  void ScanDevices(sdk::ScanContext& context) override {
    for (auto& device : scan(context.StopToken())) context.Found(std::move(device));
    if (afterScan) afterScan();
  }

  std::string name = "Plain";
  std::function<std::string()> help;
  std::vector<sdk::DiagnosticRecord> diagnostics;
  std::vector<sdk::ToolRecord> tools;
  std::function<std::vector<std::unique_ptr<sdk::Device>>(std::stop_token)> scan =
      [](std::stop_token) {
        std::vector<std::unique_ptr<sdk::Device>> devices;
        devices.push_back(std::make_unique<PlainDevice>("0"));
        devices.push_back(std::make_unique<PlainDevice>("1"));
        return devices;
      };
  std::function<void()> afterScan;  // once all are told
};

inline ModulePointer Own(std::unique_ptr<sdk::Module> module) {
  return {module.release(), [](sdk::Module* ended) { delete ended; }};
}

class PlainSource : public ModuleSource {
 public:
  std::optional<std::vector<LoadedModule>> Load(log::ServiceLog& /*log*/) override {
    std::vector<LoadedModule> loaded;
    for (ModulePointer& module : modules) {
      loaded.push_back({std::move(module), "number " + std::to_string(loaded.size())});
    }
    return loaded;
  }
  void CheckSettings(const OrvanSettings& /*settings*/) const override {
    if (cacheFails) throw FailedToVisitLocalCache();
  }
  void CheckCaller(const CallerInfo& /*caller*/) const override {
    if (keyFails) throw InvalidAppKey();
  }
  bool IsScripted() const override { return scripted; }

  std::vector<ModulePointer> modules;
  bool cacheFails = false;
  bool keyFails = false;
  bool scripted = false;
};

using Runner = std::function<sdk::Verdict(sdk::TestContext&)>;

inline sdk::TestRecord MakeTest(const std::string& name, std::uint64_t identifier, Runner run) {
  sdk::TestRecord test;
  test.name = name;
  test.option = name.substr(0, 1);
  test.longName = name;
  test.key = {5, 2, 3, identifier};
  test.run = std::move(run);
  return test;
}

inline Runner Passes() {
  return [](sdk::TestContext&) { return sdk::Verdict::Passed(); };
}

inline sdk::DiagnosticRecord MakeDiagnostic(const std::string& name, std::uint64_t identifier,
                                            std::vector<sdk::TestRecord> tests) {
  sdk::DiagnosticRecord diagnostic;
  diagnostic.name = name;
  diagnostic.option = name.substr(0, 1);
  diagnostic.longName = name;
  diagnostic.key = {1, kDiagnosticKindQuick, 0, identifier};
  diagnostic.tests = std::move(tests);
  return diagnostic;
}

template <typename Object>
std::string NameOf(Object* object) {
  std::string name;
  return object != nullptr ? object->Name(name) : "null";
}

// The calls of both listeners in one list. A call whose text is in `refused` answers false.
struct CallList {
  std::vector<std::string> calls;
  std::set<std::string> refused;
  bool Add(const std::string& call) {
    calls.push_back(call);
    return refused.count(call) == 0;
  }
};

class RecordingSuite final : public orvan_service::SuiteListenerView {
 public:
  explicit RecordingSuite(CallList& list) : list_(list) {}
  bool OnSuiteStart() override { return list_.Add("suite"); }
  void OnSuiteEnd() override {
    list_.Add("suite end");
    if (onSuiteEnd) onSuiteEnd();
  }
  bool OnDeviceStart() override { return list_.Add("device"); }
  void OnDeviceEnd(DiagModule* /*module*/, DiagDevice* device, std::string text) override {
    std::string id;
    list_.Add("device end " + (device != nullptr ? device->GetId(id) : "null") + " " + text);
  }
  bool OnDiagnosticStart(DiagDiagnostic* diagnostic) override {
    return list_.Add("diagnostic " + NameOf(diagnostic));
  }
  void OnDiagnosticEnd() override { list_.Add("diagnostic end"); }
  bool OnTestStart(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/,
                   DiagTest* test) override {
    const bool goesOn = list_.Add("test " + NameOf(test));
    if (onTestStart) onTestStart(NameOf(test));
    return goesOn;
  }
  void OnTestEnd(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/, DiagTest* test,
                 TestStatus status) override {
    list_.Add("test end " + NameOf(test) + " " + std::to_string(status));
    if (onTestEnd) onTestEnd();
  }

  std::function<void(const std::string&)> onTestStart;
  std::function<void()> onTestEnd;
  std::function<void()> onSuiteEnd;

 private:
  CallList& list_;
};

class RecordingTest final : public orvan_service::TestListenerView {
 public:
  explicit RecordingTest(CallList& list) : list_(list) {}
  void OnTestReport(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/, DiagTest* test,
                    std::int32_t percent, std::string message) override {
    list_.Add("report " + NameOf(test) + " " + std::to_string(percent) + " " + message);
  }

 private:
  CallList& list_;
};

// The whole plan of a module: every test of every diagnostic.
inline std::vector<DiagnosticRunItem> WholePlan(DiagModule& module) {
  std::vector<DiagnosticRunItem> plan;
  for (DiagDiagnostic* diagnostic : *module.GetDiagnostics()) {
    DiagnosticRunItem item;
    item.diagnostic = diagnostic;
    for (DiagTest* test : *diagnostic->Tests()) {
      item.tests.push_back({test, {}, {}});
    }
    plan.push_back(std::move(item));
  }
  return plan;
}

}  // namespace orvan::core::testing

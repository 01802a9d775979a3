#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "boundary/orvan_service_listeners.h"
#include "boundary/orvan_service_objects.h"
#include "boundary/orvan_service_version.h"

// The objects of a fake service, filled by the test before the front end sees them.

class FakeService;

class FakeDevice final : public DiagDevice {
 public:
  FakeDevice(std::string deviceId, std::string name);
  std::string& GetId(std::string& text) override {
    ++timesAskedForId;
    return text = id;
  }
  DeviceInformation& GetInformation(DeviceInformation& record) override {
    return record = information;
  }
  std::vector<DiagResource>& GetResources(std::vector<DiagResource>& out) override {
    return out = resources;
  }
  // Adds an entry of the information record.
  FakeDevice& Entry(const std::string& label, const std::string& value);

  std::string id;
  DeviceInformation information;
  std::vector<DiagResource> resources;
  std::size_t timesAskedForId = 0;  // one thread at a time asks
};

// What a running test of the fake service can do. Service thread.
class FakeTestRun {
 public:
  FakeTestRun(FakeService& fakeService, DiagDevice* runDevice, DiagDiagnostic* runDiagnostic,
              DiagTest* runTest)
      : device(runDevice), service_(fakeService), diagnostic_(runDiagnostic), test_(runTest) {}

  // Tells the installed test listener.
  void Report(std::int32_t percent, const std::string& message = {});
  // Blocks until the run is to stop.
  void AwaitAbort();

  DiagDevice* const device;

 private:
  FakeService& service_;
  DiagDiagnostic* diagnostic_;
  DiagTest* test_;
};

class FakeTest final : public DiagTest {
 public:
  std::string& Name(std::string& text) override { return text = name; }
  DiagKey& Key(DiagKey& out) override { return out = key; }
  bool AppliesTo(DiagDevice* device) override;
  bool NeedsOperator() override { return needsOperator; }
  std::vector<TestParameter>& DefaultParameters(std::vector<TestParameter>& out) override {
    return out = parameters;
  }
  std::vector<TestParameter>& GetParameters(std::vector<TestParameter>& out,
                                            DiagDevice* device) override;

  // Builder. Each returns the test.
  FakeTest& Status(TestStatus value);
  FakeTest& Body(std::function<TestStatus(FakeTestRun&)> value);
  FakeTest& NotOn(const std::string& deviceId);
  FakeTest& Operator();
  FakeTest& Parameter(const std::string& parameterName, std::int32_t type);
  FakeTest& Rule(std::uint32_t rule);

  std::string name;
  DiagKey key;
  TestStatus status = 0;
  std::function<TestStatus(FakeTestRun&)> body;  // in place of `status`
  std::set<std::string> refusedDevices;
  bool needsOperator = false;
  std::vector<TestParameter> parameters;
  // By device identifier, in place of `parameters`.
  std::map<std::string, std::vector<TestParameter>> deviceParameters;
  std::atomic<int> appliesAsked{0};
  class FakeCatalogEntry* entry = nullptr;
};

class FakeCatalogEntry final : public DiagCatalogEntry {
 public:
  std::string& Option(std::string& text) override { return text = option; }
  std::string& LongName(std::string& text) override { return text = longName; }
  std::uint32_t ParameterRule() override { return rule; }

  std::string option;
  std::string longName;
  std::uint32_t rule = 0;
};

class FakeModule;

class FakeDiagnostic final : public DiagDiagnostic {
 public:
  explicit FakeDiagnostic(FakeModule& module) : module_(module) {}
  std::string& Name(std::string& text) override { return text = name; }
  std::vector<DiagTest*>* Tests() override { return &list_; }
  DiagKey& Key(DiagKey& out) override { return out = key; }

  // Adds a test with its row in the module's test catalogue.
  FakeTest& AddTest(const std::string& testName, const std::string& option,
                    const std::string& longName);
  // Adds a test that stands in another diagnostic already.
  void Share(FakeTest& test) { list_.push_back(&test); }

  std::string name;
  DiagKey key;

 private:
  FakeModule& module_;
  std::vector<std::unique_ptr<FakeTest>> tests_;
  std::vector<DiagTest*> list_;
};

// What a running tool of the fake service can do. The thread of the run.
class FakeToolRun {
 public:
  FakeToolRun(FakeService& fakeService, class FakeTool& runTool,
              orvan_service::ToolListenerView* listener, std::vector<DiagDevice*> runDevices)
      : tool(runTool),
        hasListener(listener != nullptr),
        devices(std::move(runDevices)),
        service_(fakeService),
        listener_(listener) {}

  // Calls the listener's handler of that event; false when there is none.
  bool Fire(const std::string& event);
  // The same, with a property set first.
  bool Fire(const std::string& event, const std::string& property,
            const std::vector<std::string>& values);
  // Blocks until the tool was asked to stop.
  void AwaitAbort();

  FakeTool& tool;
  const bool hasListener;
  const std::vector<DiagDevice*> devices;

 private:
  FakeService& service_;
  orvan_service::ToolListenerView* listener_;
};

class FakeTool final : public DiagTool {
 public:
  struct Property {
    std::string key;
    std::vector<std::string> values;
    bool operator==(const Property&) const = default;
  };
  void SetToolProperty(const std::string& key, const std::vector<std::string>& values) override;
  std::vector<std::string> GetToolProperty(const std::string& key) override;
  std::string& GetName(std::string& text) override { return text = name; }
  std::string& GetDescription(std::string& text) override { return text = description; }
  std::string& GetHint(std::string& text) override { return text = hint; }
  bool IsApplicable(DiagDevice* device) override;

  // Every property that was set, in order.
  std::vector<Property> Settings();

  std::string name;
  std::string description;
  std::string hint;
  std::set<std::string> refusedDevices;
  std::function<void(FakeToolRun&)> body;  // what RunTool does; none: nothing
  // Called before a property is set, on that thread; may be empty.
  std::function<void(const std::string& key)> onSet;

 private:
  std::mutex lock_;  // guards the rest
  std::map<std::string, std::vector<std::string>> properties_;
  std::vector<Property> settings_;
};

class FakeModule final : public DiagModule {
 public:
  FakeModule(FakeService& service, std::string name);
  DiagCatalogue* Catalogue() override { return catalogueMissing ? nullptr : &catalogue; }
  DiagCatalogue* TestCatalogue() override { return &testCatalogue; }
  std::string& GetHelpText(std::string& text) override { return text = helpText; }
  std::string& GetDisplayName(std::string& text) override { return text = displayName; }
  std::vector<DiagDevice*>* GetDevices() override { return &deviceList; }
  std::vector<DiagTool*>* Tools() override { return &toolList; }
  std::vector<DiagDiagnostic*>* GetDiagnostics() override { return &diagnosticList; }
  DiagDevice* GetDevice(std::uint32_t index) override;
  std::uint32_t DeviceCount() override { return static_cast<std::uint32_t>(deviceList.size()); }
  void ScanDevices() override;
  const ProductVersion* Version() override { return &version; }

  // Builder. The diagnostic comes with its row in the catalogue; rows and keys count up from 1 in
  // the order of the calls.
  FakeDiagnostic& AddDiagnostic(const std::string& name, const std::string& option,
                                const std::string& longName, std::uint32_t kind);
  FakeDevice& AddDevice(const std::string& id, const std::string& name);
  FakeTool& AddTool(const std::string& name, const std::string& description,
                    const std::string& hint);

  std::string displayName;
  std::string helpText;
  ProductVersion version{1, 0, 0, 0};
  bool catalogueMissing = false;
  DiagCatalogue catalogue;
  DiagCatalogue testCatalogue;
  std::vector<DiagDevice*> deviceList;
  std::vector<DiagTool*> toolList;
  std::vector<DiagDiagnostic*> diagnosticList;
  std::function<void()> onScan;  // called within ScanDevices, on the service thread
  std::atomic<int> scans{0};

 private:
  friend class FakeDiagnostic;
  FakeCatalogEntry& AddEntry(DiagCatalogue& to, const DiagKey& key, const std::string& option,
                             const std::string& longName);

  FakeService& service_;
  std::uint64_t nextIdentifier_ = 1;
  std::vector<std::unique_ptr<FakeDevice>> devices_;
  std::vector<std::unique_ptr<FakeTool>> tools_;
  std::vector<std::unique_ptr<FakeDiagnostic>> diagnostics_;
  std::vector<std::unique_ptr<FakeCatalogEntry>> entries_;
};

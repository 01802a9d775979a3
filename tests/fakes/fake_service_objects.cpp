#include "tests/fakes/fake_service_objects.h"

#include <utility>

#include "tests/fakes/fake_service.h"

FakeDevice::FakeDevice(std::string deviceId, std::string name) : id(std::move(deviceId)) {
  information.name = std::move(name);
}

FakeDevice& FakeDevice::Entry(const std::string& label, const std::string& value) {
  information.entries.emplace_back(value, label);
  return *this;
}

void FakeTestRun::Report(std::int32_t percent, const std::string& message) {
  service_.testListener->OnTestReport(device, diagnostic_, test_, percent, message);
}

void FakeTestRun::AwaitAbort() {
  service_.AwaitAbort();
}

bool FakeTest::AppliesTo(DiagDevice* device) {
  ++appliesAsked;
  std::string id;
  if (device != nullptr) device->GetId(id);
  return refusedDevices.count(id) == 0;
}

std::vector<TestParameter>& FakeTest::GetParameters(std::vector<TestParameter>& out,
                                                    DiagDevice* device) {
  std::string id;
  if (device != nullptr) device->GetId(id);
  const auto own = deviceParameters.find(id);
  return out = own == deviceParameters.end() ? parameters : own->second;
}

FakeTest& FakeTest::Status(TestStatus value) {
  status = value;
  return *this;
}

FakeTest& FakeTest::Body(std::function<TestStatus(FakeTestRun&)> value) {
  body = std::move(value);
  return *this;
}

FakeTest& FakeTest::NotOn(const std::string& deviceId) {
  refusedDevices.insert(deviceId);
  return *this;
}

FakeTest& FakeTest::Operator() {
  needsOperator = true;
  return *this;
}

FakeTest& FakeTest::Parameter(const std::string& parameterName, std::int32_t type) {
  TestParameter parameter;
  parameter.name = parameterName;
  parameter.label = "LABEL_OF_" + parameterName;
  parameter.detail = "detail of " + parameterName;
  parameter.initialValue = "initial";
  parameter.value = "initial";
  parameter.type = type;
  parameter.extra = "extra of " + parameterName;
  parameter.range = {1, 9};
  parameters.push_back(parameter);
  return *this;
}

FakeTest& FakeTest::Rule(std::uint32_t rule) {
  entry->rule = rule;
  return *this;
}

FakeTest& FakeDiagnostic::AddTest(const std::string& testName, const std::string& option,
                                  const std::string& longName) {
  auto test = std::make_unique<FakeTest>();
  test->name = testName;
  test->key = {1, 2, 3, module_.nextIdentifier_++};
  test->entry = &module_.AddEntry(module_.testCatalogue, test->key, option, longName);
  list_.push_back(test.get());
  tests_.push_back(std::move(test));
  return *tests_.back();
}

bool FakeToolRun::Fire(const std::string& event) {
  return listener_ != nullptr && listener_->Dispatch(&tool, event);
}

bool FakeToolRun::Fire(const std::string& event, const std::string& property,
                       const std::vector<std::string>& values) {
  tool.SetToolProperty(property, values);
  return Fire(event);
}

void FakeToolRun::AwaitAbort() {
  service_.AwaitToolAbort();
}

void FakeTool::SetToolProperty(const std::string& key, const std::vector<std::string>& values) {
  if (onSet) onSet(key);
  const std::lock_guard guard(lock_);
  properties_[key] = values;
  settings_.push_back({key, values});
}

std::vector<std::string> FakeTool::GetToolProperty(const std::string& key) {
  const std::lock_guard guard(lock_);
  const auto found = properties_.find(key);
  return found == properties_.end() ? std::vector<std::string>{} : found->second;
}

std::vector<FakeTool::Property> FakeTool::Settings() {
  const std::lock_guard guard(lock_);
  return settings_;
}

bool FakeTool::IsApplicable(DiagDevice* device) {
  std::string id;
  if (device != nullptr) device->GetId(id);
  return refusedDevices.count(id) == 0;
}

FakeModule::FakeModule(FakeService& service, std::string name)
    : displayName(std::move(name)), helpText("help of " + displayName), service_(service) {}

DiagDevice* FakeModule::GetDevice(std::uint32_t index) {
  return index < deviceList.size() ? deviceList[index] : nullptr;
}

void FakeModule::ScanDevices() {
  service_.NoteThread("ScanDevices(" + displayName + ")");
  ++scans;
  if (onScan) onScan();
}

FakeCatalogEntry& FakeModule::AddEntry(DiagCatalogue& to, const DiagKey& key,
                                       const std::string& option, const std::string& longName) {
  entries_.push_back(std::make_unique<FakeCatalogEntry>());
  FakeCatalogEntry& entry = *entries_.back();
  entry.option = option;
  entry.longName = longName;
  to[key] = &entry;
  return entry;
}

FakeDiagnostic& FakeModule::AddDiagnostic(const std::string& name, const std::string& option,
                                          const std::string& longName, std::uint32_t kind) {
  diagnostics_.push_back(std::make_unique<FakeDiagnostic>(*this));
  FakeDiagnostic& diagnostic = *diagnostics_.back();
  diagnostic.name = name;
  diagnostic.key = {1, kind, 0, nextIdentifier_++};
  AddEntry(catalogue, diagnostic.key, option, longName);
  diagnosticList.push_back(&diagnostic);
  return diagnostic;
}

FakeDevice& FakeModule::AddDevice(const std::string& id, const std::string& name) {
  devices_.push_back(std::make_unique<FakeDevice>(id, name));
  deviceList.push_back(devices_.back().get());
  return *devices_.back();
}

FakeTool& FakeModule::AddTool(const std::string& name, const std::string& description,
                              const std::string& hint) {
  tools_.push_back(std::make_unique<FakeTool>());
  FakeTool& tool = *tools_.back();
  tool.name = name;
  tool.description = description;
  tool.hint = hint;
  toolList.push_back(&tool);
  return tool;
}

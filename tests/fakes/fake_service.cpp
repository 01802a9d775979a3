#include "tests/fakes/fake_service.h"

#include <algorithm>
#include <utility>

#include "boundary/orvan_service_errors.h"

namespace {

std::unique_ptr<FakeService>& Current() {
  static std::unique_ptr<FakeService> service = std::make_unique<FakeService>();
  return service;
}

std::atomic<int> instances{0};

std::string Word(bool value) {
  return value ? "true" : "false";
}

std::string NameOf(DiagModule* module) {
  std::string name;
  if (module != nullptr) module->GetDisplayName(name);
  return name;
}

std::string IdOf(DiagDevice* device) {
  std::string id = "null";
  if (device != nullptr) device->GetId(id);
  return id;
}

}  // namespace

FakeService& TheFakeService() {
  return *Current();
}

void ResetFakeService() {
  Current() = std::make_unique<FakeService>();
  instances = 0;
}

int FakeServiceInstances() {
  return instances;
}

OrvanService* GetOrvanServiceInstance() {
  FakeService& service = TheFakeService();
  service.NoteThread("GetOrvanServiceInstance");
  if (service.instanceMissing) return nullptr;
  instances = 1;
  return &service;
}

void ReleaseOrvanServiceInstance() {
  TheFakeService().NoteThread("ReleaseOrvanServiceInstance");
  instances = 0;
}

OrvanSettings::OrvanSettings() = default;

void OrvanSettings::SetBool(const std::string& key, bool value) {
  truths[key] = value;
}

void OrvanSettings::SetString(const std::string& key, const std::string& value) {
  texts[key] = value;
}

void FakeService::Note(const std::string& call) {
  const std::lock_guard guard(lock);
  calls_.push_back(call);
  called_.notify_all();
}

void FakeService::AwaitCall(const std::string& call) {
  std::unique_lock guard(lock);
  called_.wait(guard,
               [&] { return std::find(calls_.begin(), calls_.end(), call) != calls_.end(); });
}

void FakeService::NoteThread(const std::string& operation) {
  const std::lock_guard guard(lock);
  calls_.push_back(operation);
  called_.notify_all();
  threads.emplace_back(operation, std::this_thread::get_id());
}

std::vector<std::string> FakeService::Calls() {
  const std::lock_guard guard(lock);
  return calls_;
}

int FakeService::CountCalls(const std::string& call) {
  const std::lock_guard guard(lock);
  return static_cast<int>(std::count(calls_.begin(), calls_.end(), call));
}

bool FakeService::Called(const std::string& call) {
  return CountCalls(call) > 0;
}

FakeModule& FakeService::AddModule(const std::string& displayName) {
  modules_.push_back(std::make_unique<FakeModule>(*this, displayName));
  moduleList.push_back(modules_.back().get());
  return *modules_.back();
}

std::vector<DiagModule*>* FakeService::LoadModules(int reserved) {
  NoteThread("LoadModules(" + std::to_string(reserved) + ")");
  if (onLoad) onLoad();
  return modulesMissing ? nullptr : &moduleList;
}

void FakeService::SetSuiteListener(orvan_service::SuiteListenerView* listener) {
  Note(std::string("SetSuiteListener(") + (listener == nullptr ? "null" : "set") + ")");
  suiteListener = listener;
}

void FakeService::SetTestListener(orvan_service::TestListenerView* listener) {
  Note(std::string("SetTestListener(") + (listener == nullptr ? "null" : "set") + ")");
  testListener = listener;
}

void FakeService::ExecuteDiagnostics(DiagModule* module, DiagDevice* device,
                                     std::vector<DiagnosticRunItem> plan) {
  NoteThread("ExecuteDiagnostics(" + NameOf(module) + "," + IdOf(device) + ")");
  {
    const std::lock_guard guard(lock);
    abortAsked_ = false;
    runs.push_back({module, device, plan, std::this_thread::get_id()});
  }
  suiteListener->OnSuiteStart();
  suiteListener->OnDeviceStart();
  for (const DiagnosticRunItem& item : plan) PlayDiagnostic(device, item);
  suiteListener->OnDeviceEnd(module, device, deviceResult);
  suiteListener->OnSuiteEnd();
}

void FakeService::PlayDiagnostic(DiagDevice* device, const DiagnosticRunItem& item) {
  if (!suiteListener->OnDiagnosticStart(item.diagnostic)) return;
  for (const TestRunItem& one : item.tests) {
    if (beforeTest) beforeTest();
    if (!suiteListener->OnTestStart(device, item.diagnostic, one.test)) continue;
    const TestStatus status = PlayTest(device, item.diagnostic, one.test);
    suiteListener->OnTestEnd(device, item.diagnostic, one.test, status);
  }
  suiteListener->OnDiagnosticEnd();
}

TestStatus FakeService::PlayTest(DiagDevice* device, DiagDiagnostic* diagnostic, DiagTest* test) {
  if (AbortAsked()) return kTestCanceled;
  auto* script = static_cast<FakeTest*>(test);
  if (!script->body) return script->status;
  FakeTestRun run(*this, device, diagnostic, test);
  return script->body(run);
}

void FakeService::RunTool(DiagTool* tool, orvan_service::ToolListenerView* listener,
                          std::vector<DiagDevice*> devices) {
  std::string name;
  Note("RunTool(" + tool->GetName(name) + "," + std::to_string(devices.size()) + ")");
  auto* script = static_cast<FakeTool*>(tool);
  FakeToolRun run(*this, *script, listener, std::move(devices));
  if (script->body) script->body(run);
}

void FakeService::AbortTool(DiagTool* tool) {
  std::string name;
  Note("AbortTool(" + tool->GetName(name) + ")");
  const std::lock_guard guard(lock);
  toolAbortAsked_ = true;
  aborted_.notify_all();
}

void FakeService::AwaitToolAbort() {
  std::unique_lock guard(lock);
  aborted_.wait(guard, [this] { return toolAbortAsked_; });
}

void FakeService::AbortExecution(int signal, std::uintptr_t first, std::uintptr_t second) {
  Note("AbortExecution");
  const std::lock_guard guard(lock);
  aborts.push_back({signal, first, second});
  abortAsked_ = true;
  aborted_.notify_all();
}

void FakeService::AwaitAbort() {
  std::unique_lock guard(lock);
  aborted_.wait(guard, [this] { return abortAsked_; });
}

bool FakeService::AbortAsked() {
  const std::lock_guard guard(lock);
  return abortAsked_;
}

void FakeService::NotifySystemEvent(std::uint32_t bit) {
  Note("NotifySystemEvent(" + std::to_string(bit) + ")");
}

void FakeService::ClearSystemEvents() {
  Note("ClearSystemEvents");
}

void FakeService::BeginFinalResult(std::int64_t groupId, const CallerInfo& caller) {
  Note("BeginFinalResult");
  finalResults.push_back({groupId, caller});
  if (beginThrowsInvalidAppKey) throw InvalidAppKey();
}

void FakeService::GetFinalResultCode(std::string& text, int size) {
  Note("GetFinalResultCode");
  finalResultSizes.push_back(size);
  text = finalResultCode;
}

void FakeService::SetLogPath(const std::string& path) {
  Note("SetLogPath(" + path + ")");
}

void FakeService::SetNoDevicesMode(bool flag) {
  Note("SetNoDevicesMode(" + Word(flag) + ")");
}

void FakeService::EnableSupervisedRun() {
  Note("EnableSupervisedRun");
}

void FakeService::ApplySettings(const OrvanSettings& given) {
  Note("ApplySettings");
  settings.push_back(given);
  if (static_cast<int>(settings.size()) == settingsThrowAt) throw FailedToVisitLocalCache();
}

#include "service/core/service.h"

#include <utility>

#include "boundary/orvan_service_settings.h"
#include "service/core/execution_record.h"
#include "service/core/guard.h"
#include "service/core/outside_text.h"
#include "service/core/platform.h"
#include "service/log/machine_identity.h"
#include "system/execution_tracker.h"
#include "system/record_store_report.h"
#include "system/standard_error.h"
#include "system/system_path.h"
#include "system/text_conversion.h"

namespace orvan::core {
namespace {

bool IsOn(const std::map<std::string, bool>& truths, const char* key) {
  const auto found = truths.find(key);
  return found != truths.end() && found->second;
}

log::LogSubject SubjectOf(const ServiceOptions& options, const ModuleSource& source) {
  const log::MachineIdentity machine = log::ThisMachine();
  log::LogSubject subject;
  subject.program = log::ProgramName();
  subject.version = options.version;
  subject.machine = machine.hostName;
  subject.machineId = machine.id;
  subject.isSimulated = !source.IsOfThisMachine();
  subject.software = {{"Tarvex Diagnostics", options.version},
                      {machine.system, machine.release, "SYSTEM"}};
  return subject;
}

}  // namespace

Service::Service(std::unique_ptr<ModuleSource> source, ServiceOptions options)
    : source_(std::move(source)),
      observer_(source_->Observer()),
      options_(std::move(options)),
      log_(options_.logFolder, SubjectOf(options_, *source_)),
      collection_(options_.version) {}

Service::~Service() {
  Close();
}

void Service::Close() {
  if (closed_.exchange(true)) return;
  observer_.OnRelease();
  abort_.request_stop();
  source_->Close();
  modulePointers_.clear();
  tracker_.reset();
  if (options_.recordStore != nullptr) {
    options_.recordStore->Finish();
    LogStoreNotes(options_.recordStore, log_);
  }
  if (!collection_.End()) {
    log_.Text(log::LogSeverity::kWarning, "the collected data of the run could not be kept");
  }
  log_.End();
}

void Service::AddModule(LoadedModule loaded) {
  try {
    modules_.push_back(std::make_unique<ModuleAdapter>(std::move(loaded.module), log_, observer_,
                                                       requests_, abort_.get_token()));
    modulePointers_.push_back(modules_.back().get());
  } catch (...) {
    const std::string text = "module " + loaded.origin + " was refused: " + CurrentExceptionText();
    log_.Error("module-refused", text);
    tarvex::TellOnStandardError(text);
  }
}

std::vector<DiagModule*>* Service::LoadModules(int /*reserved*/) {
  if (!std::exchange(loadTried_, true)) {
    std::optional<std::vector<LoadedModule>> found = source_->Load(log_);
    loaded_ = found.has_value();
    if (found) {
      for (LoadedModule& loaded : *found) {
        AddModule(std::move(loaded));
      }
    }
  }
  return loaded_ ? &modulePointers_ : nullptr;
}

void Service::SetSuiteListener(orvan_service::SuiteListenerView* listener) {
  suiteListener_ = listener;
}

void Service::SetTestListener(orvan_service::TestListenerView* listener) {
  testListener_ = listener;
}

void Service::ExecuteDiagnostics(DiagModule* module, DiagDevice* device,
                                 std::vector<DiagnosticRunItem> plan) {
  if (closed_) return;
  const ResolvedPlan resolved = ResolvePlan(modules_, module, device, plan);
  observer_.OnExecuteDiagnostics(resolved);
  BeginLog();
  RunSurroundings surroundings;
  surroundings.suite = suiteListener_;
  surroundings.test = testListener_;
  surroundings.stop = abort_.get_token();
  surroundings.requests = &requests_;
  surroundings.log = &log_;
  if (resolved.module != nullptr && resolved.device != nullptr) {
    surroundings.hardware = &inventory_.Of(*resolved.module, *resolved.device);
    surroundings.hardwareIsListed = inventory_.IsListed(*resolved.device);
  }
  surroundings.source = source_.get();
  // The caller may ask for the final code as soon as the suite's end is reported, so each verdict
  // is there before its test ends.
  surroundings.countForGroup = [this](TestStatus status) {
    const std::lock_guard lock(mutex_);
    groupWorst_.Add(status);
  };
  bool tracked = false;
  {
    const std::lock_guard lock(mutex_);
    surroundings.version = Version();
    surroundings.groupId = groupId_;
    tracked = IsOn(truths_, kSettingExecutionTracker);
  }
  if (tracked && tracker_ == nullptr && options_.makeTracker) tracker_ = options_.makeTracker();
  surroundings.tracker = tracked ? tracker_.get() : nullptr;
  surroundings.recordStore = options_.recordStore;
  if (const std::string folder = CollectionFolder(); !folder.empty()) {
    collection_.Begin(folder);
    surroundings.collection = &collection_;
  }
  Executor(surroundings).Run(resolved);
}

void Service::BeginLog() {
  if (!std::exchange(logBegun_, true)) {
    log::LogSubject subject = SubjectOf(options_, *source_);
    inventory_.List(modules_, subject);
    if (!log_.Begin(std::move(subject))) inventory_.Unlist();
  }
}

Service::OwnedTool Service::FindTool(const DiagTool* tool) const {
  if (closed_) {
    return {};
  }
  for (const std::unique_ptr<ModuleAdapter>& module : modules_) {
    if (ToolAdapter* found = module->FindTool(tool)) {
      return {found, module.get()};
    }
  }
  return {};
}

void Service::RunTool(DiagTool* tool, orvan_service::ToolListenerView* listener,
                      std::vector<DiagDevice*> devices) {
  const OwnedTool found = FindTool(tool);
  if (found.tool == nullptr) {
    log_.Error("tool-refused", "a run of an unknown tool was refused");
    return;
  }
  std::vector<const DeviceAdapter*> known;
  std::vector<std::string> ids;
  for (const DiagDevice* device : devices) {
    const DeviceAdapter* adapter = found.module->FindDevice(device);
    if (adapter != nullptr && !found.module->IsWithdrawn(adapter)) {
      known.push_back(adapter);
      ids.push_back(adapter->Id());
    } else {
      log_.Error("tool-refused", "tool " + found.tool->Name() +
                                     ": a device that is unknown or was withdrawn was left out");
    }
  }
  observer_.OnRunTool(found.tool->Name(), listener != nullptr, ids);
  found.tool->Run(listener, known);
}

void Service::AbortTool(DiagTool* tool) {
  if (ToolAdapter* found = FindTool(tool).tool) {
    observer_.OnAbortTool(found->Name());
    found->Abort();
  }
}

void Service::AbortExecution(int signal, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  if (!closed_) {
    observer_.OnAbortExecution();
    requests_.Terminate();
    // A signal asks for the program's end; it changes what a log says, and nothing else.
    requests_.Stop(signal != 0 ? sdk::StopReason::kTermination : sdk::StopReason::kAborted);
    abort_.request_stop();
  }
}

void Service::NotifySystemEvent(std::uint32_t bit) {
  if (!closed_) {
    observer_.OnNotifySystemEvent(bit);
    requests_.AddEvents(bit);
  }
}

void Service::ClearSystemEvents() {
  if (!closed_) {
    observer_.OnClearSystemEvents();
    requests_.ClearEvents();
  }
}

void Service::BeginFinalResult(std::int64_t groupId, const CallerInfo& caller) {
  observer_.OnBeginFinalResult(groupId, caller);
  source_->CheckCaller(caller);
  const std::lock_guard lock(mutex_);
  groupId_ = groupId;
  groupWorst_ = WorstVerdict();
}

std::string Service::CollectionFolder() const {
  const std::lock_guard lock(mutex_);
  const auto folder = texts_.find(kSettingCacheDir);
  return IsOn(truths_, kSettingDataCollection) && folder != texts_.end()
             ? tarvex::WithSlashes(folder->second)
             : std::string();
}

std::string Service::Version() const {
  const auto found = texts_.find(kSettingAppVersion);
  return found != texts_.end() && !found->second.empty() ? found->second : options_.version;
}

void Service::GetFinalResultCode(std::string& text, int size) {
  observer_.OnGetFinalResultCode();
  std::optional<std::string> code = source_->FinalResultCode();
  if (!code) {
    const std::lock_guard lock(mutex_);
    code = ProvisionalCode(Version(), groupWorst_, groupId_);
  }
  text = tarvex::CutUtf8(InLine(*std::move(code)), size);
}

void Service::SetLogPath(const std::string& path) {
  observer_.OnSetLogPath(path);
  log_.MoveTo(path);
}

void Service::SetNoDevicesMode(bool flag) {
  observer_.OnSetNoDevicesMode(flag);
  noDevices_ = flag;
}

void Service::EnableSupervisedRun() {
  observer_.OnEnableSupervisedRun();
  supervised_ = true;
}

void Service::ApplySettings(const OrvanSettings& settings) {
  observer_.OnApplySettings(settings);
  source_->CheckSettings(settings);
  const std::lock_guard lock(mutex_);
  for (const auto& [key, value] : settings.texts) {
    texts_.insert_or_assign(key, value);
  }
  for (const auto& [key, value] : settings.truths) {
    truths_.insert_or_assign(key, value);
  }
}

}  // namespace orvan::core

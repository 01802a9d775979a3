#include "service/core/plugin_source.h"

#include <utility>

#include "service/core/caller_rules.h"
#include "service/core/guard.h"
#include "service/core/platform.h"
#include "service/log/log.h"
#include "service/remote/journal.h"
#include "service/remote/remote_module.h"
#include "system/ini_file.h"
#include "system/standard_error.h"

namespace orvan::core {

// What becomes of workers is written into the service's log.
class PluginSource::LogJournal final : public remote::Journal {
 public:
  explicit LogJournal(log::ServiceLog& log) : log_(log) {}
  void Note(sdk::LogLevel level, const std::string& text) override {
    if (level == sdk::LogLevel::kError) {
      log_.Error("worker-lost", text);
    } else {
      log_.Text(log::SeverityOf(level), text);
    }
  }
  void Tell(const std::string& text) override { tarvex::TellOnStandardError(text); }

 private:
  log::ServiceLog& log_;
};

PluginSource::PluginSource(std::string folder, std::string settingFile, remote::MachinePlan machine,
                           std::string stateFolder)
    : stateFolder_(std::move(stateFolder)),
      folder_(std::move(folder)),
      settingFile_(std::move(settingFile)),
      machine_(std::move(machine)),
      keeper_(LibraryFolder() + "/orvan/orvan-worker") {}

PluginSource::~PluginSource() = default;

LoadedModule PluginSource::Host(LoadedPlugin plugin, int folder,
                                const sdk::ModuleEnvironment& environment) {
  remote::WorkerPlan plan;
  plan.hello.program = ProcessNumber();
  plan.hello.name = plugin.name;
  plan.hello.shownFolder = folder_;
  plan.hello.capabilities = plugin.descriptor->capabilities;
  plan.hello.memoryBytes = plugin.descriptor->memoryBytes + sdk::kMemoryGraceBytes;
  plan.hello.settings = environment.settings;
  plan.hello.libraryDirectory = environment.libraryDirectory;
  plan.hello.machine = machine_.kind;
  plan.hello.key = machine_.key;
  plan.hello.recordingBegin = machine_.begin;
  plan.recording = machine_.recording;
  if (machine_.kind != protocol::MachineKind::kReplay && !stateFolder_.empty()) {
    plan.openState = [this, name = plugin.name.substr(0, plugin.name.rfind('.'))] {
      std::string fault;
      tarvex::Descriptor folder = MakeModuleFolder(stateFolder_, name, fault);
      if (!fault.empty()) {
        journal_->Note(sdk::LogLevel::kWarning, "module " + name + " has no state: " + fault);
      }
      return folder;
    };
  }
  plan.folder = folder;
  plan.file = std::move(plugin.file);
  auto module = std::make_unique<remote::RemoteModule>(std::move(plugin.module), std::move(plan),
                                                       keeper_, *journal_);
  hosts_.push_back(module->Host());
  return {{module.release(), [](sdk::Module* ended) { delete ended; }}, std::move(plugin.origin)};
}

std::optional<std::vector<LoadedModule>> PluginSource::Load(log::ServiceLog& log) {
  journal_ = std::make_unique<LogJournal>(log);
  if (!machine_.note.empty()) log.Text(log::SeverityOf(sdk::LogLevel::kInfo), machine_.note);
  sdk::ModuleEnvironment environment;
  environment.machine = &noMachine_;
  environment.libraryDirectory = LibraryFolder();
  if (const std::string fault = tarvex::ReadIniFile(settingFile_, environment.settings);
      !fault.empty()) {
    log.Error("settings-refused", "settings " + settingFile_ + " were not read: " + fault);
  }
  LoadedPlugins loaded = LoadPlugins(folder_, environment);
  std::vector<LoadedModule> modules;
  for (LoadedPlugin& plugin : loaded.modules) {
    const std::string origin = plugin.origin;
    try {
      modules.push_back(Host(std::move(plugin), loaded.folder, environment));
    } catch (...) {
      loaded.refusals.push_back({origin, CurrentExceptionText()});
    }
  }
  refusals_ = std::move(loaded.refusals);
  for (const PluginRefusal& refusal : refusals_) {
    const std::string text = (refusal.isFolder ? "plug-in folder " : "plug-in ") + refusal.path +
                             " was refused: " + refusal.reason;
    log.Error("plugin-refused", text);
    tarvex::TellOnStandardError(text);
  }
  return modules;
}

void PluginSource::Close() {
  for (const std::weak_ptr<remote::WorkerHost>& host : hosts_) {
    if (const auto known = host.lock()) known->Close();
  }
}

void PluginSource::CheckSettings(const OrvanSettings& settings) const {
  RequireUsableCache(settings);
}

void PluginSource::CheckCaller(const CallerInfo& caller) const {
  RequireAppKey(caller);
}

}  // namespace orvan::core

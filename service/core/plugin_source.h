#pragma once

#include <memory>
#include <string>
#include <vector>

#include "service/core/module_source.h"
#include "service/core/plugin_loader.h"
#include "service/remote/worker_host.h"
#include "service/remote/worker_keeper.h"
#include "service/sdk/closed_machine.h"

namespace orvan::core {

// The modules of this machine: the plug-ins of one folder, under the rules for callers. A plug-in
// is made here for its tables alone; its work is done by a worker process (service/remote), which
// is started when there is some.
class PluginSource final : public ModuleSource {
 public:
  // `folder` holds the plug-ins; `settingFile` is the service setting file, which may be missing;
  // `machine` is what all of them get. `stateFolder` keeps what they keep, each in
  // "modules/NAME", which is made when its worker is started; empty: they keep nothing.
  PluginSource(std::string folder, std::string settingFile, remote::MachinePlan machine = {},
               std::string stateFolder = {});
  ~PluginSource() override;

  std::optional<std::vector<LoadedModule>> Load(log::ServiceLog& log) override;
  void Close() override;
  void CheckSettings(const OrvanSettings& settings) const override;
  void CheckCaller(const CallerInfo& caller) const override;
  bool IsOfThisMachine() const override { return machine_.kind != protocol::MachineKind::kReplay; }
  const std::vector<PluginRefusal>& Refusals() const { return refusals_; }

 private:
  class LogJournal;

  // The module that stands here for a plug-in's own.
  LoadedModule Host(LoadedPlugin plugin, int folder, const sdk::ModuleEnvironment& environment);

  const std::string stateFolder_;
  std::string folder_;
  std::string settingFile_;
  const remote::MachinePlan machine_;
  std::vector<PluginRefusal> refusals_;
  sdk::ClosedMachine noMachine_;
  remote::WorkerKeeper keeper_;
  std::unique_ptr<LogJournal> journal_;
  std::vector<std::weak_ptr<remote::WorkerHost>> hosts_;
};

}  // namespace orvan::core

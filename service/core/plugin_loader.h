#pragma once

#include <memory>
#include <string>
#include <vector>

#include "service/core/module_source.h"

namespace orvan::core {

// A plug-in, or a folder of them, that was not taken, and why.
struct PluginRefusal {
  std::string path;
  std::string reason;
  bool isFolder = false;
};

struct LoadedPlugins {
  std::vector<LoadedModule> modules;  // in the order of their file names
  std::vector<PluginRefusal> refusals;
};

// Loads every plug-in "*.so" of the folder, in the order of the file names. One that cannot be
// trusted, loaded or made is refused, and so is one with a diagnostic whose option no module can
// have (boundary/reserved_options.h); the others go on. A folder that others may write, or that
// is missing, is refused whole. Plug-ins stay mapped until the process ends, for a call into the
// kernel that hangs may return into one at any time. Never throws but for want of memory.
LoadedPlugins LoadPlugins(const std::string& folder, const sdk::ModuleEnvironment& environment);

// The modules of this machine: the plug-ins of one folder, under the rules for callers.
class PluginSource final : public ModuleSource {
 public:
  // `folder` holds the plug-ins; `settingFile` is the service setting file, which may be missing;
  // the modules reach `machine`.
  PluginSource(std::string folder, std::string settingFile, std::unique_ptr<sdk::Machine> machine)
      : folder_(std::move(folder)),
        settingFile_(std::move(settingFile)),
        machine_(std::move(machine)) {}

  std::optional<std::vector<LoadedModule>> Load(log::ServiceLog& log) override;
  void CheckSettings(const OrvanSettings& settings) const override;
  void CheckCaller(const CallerInfo& caller) const override;
  const std::vector<PluginRefusal>& Refusals() const { return refusals_; }

 private:
  std::string folder_;
  std::string settingFile_;
  std::unique_ptr<sdk::Machine> machine_;
  std::vector<PluginRefusal> refusals_;
};

}  // namespace orvan::core

#include "service/scenario/scenario_source.h"

#include <filesystem>

#include "boundary/orvan_service_errors.h"
#include "service/scenario/player.h"
#include "service/scenario/scenario_file.h"
#include "service/scenario/trace.h"

namespace orvan::scenario {
namespace {

void Throw(ThrownError error) {
  switch (error) {
    case ThrownError::kInvalidAppKey:
      throw InvalidAppKey();
    case ThrownError::kFailedToVisitLocalCache:
      throw FailedToVisitLocalCache();
    case ThrownError::kNone:
      break;
  }
}

class ScenarioSource final : public core::ModuleSource {
 public:
  // Throws ScenarioFault.
  explicit ScenarioSource(const std::string& path) : scenario_(ReadScenario(path)) {
    if (scenario_.trace) {
      const std::string folder = std::filesystem::path(path).parent_path().string();
      const std::string fault = trace_.Open(folder.empty() ? "." : folder, *scenario_.trace);
      if (!fault.empty()) throw ScenarioFault("trace: " + fault);
    }
  }

  std::optional<std::vector<core::LoadedModule>> Load(log::ServiceLog& /*log*/) override {
    if (!scenario_.loadsModules) return std::nullopt;
    std::vector<core::LoadedModule> modules;
    for (ModuleScript& script : scenario_.modules) {
      modules.push_back({core::ModulePointer(MakeModule(std::move(script)).release(),
                                             [](sdk::Module* module) { delete module; }),
                         "modules[" + std::to_string(modules.size()) + ']'});
    }
    return modules;
  }
  void CheckSettings(const OrvanSettings& /*settings*/) const override {
    Throw(scenario_.applySettings);
  }
  void CheckCaller(const CallerInfo& /*caller*/) const override {
    Throw(scenario_.beginFinalResult);
  }
  std::optional<std::string> FinalResultCode() const override { return scenario_.finalResultCode; }
  std::optional<std::string> PseudoDeviceResult() const override { return "SCENARIO"; }
  bool IsScripted() const override { return true; }
  bool IsOfThisMachine() const override { return false; }
  core::CallObserver& Observer() override { return trace_; }

 private:
  Scenario scenario_;
  Trace trace_;
};

class EmptySource final : public core::ModuleSource {
 public:
  std::optional<std::vector<core::LoadedModule>> Load(log::ServiceLog& /*log*/) override {
    return std::nullopt;
  }
  void CheckSettings(const OrvanSettings& /*settings*/) const override {}
  void CheckCaller(const CallerInfo& /*caller*/) const override {}
};

}  // namespace

std::unique_ptr<core::ModuleSource> MakeScenarioSource(const std::string& path,
                                                       std::string& fault) {
  try {
    return std::make_unique<ScenarioSource>(path);
  } catch (const std::exception& error) {
    fault = OneLine(path + ": " + error.what());
    return nullptr;
  }
}

std::unique_ptr<core::ModuleSource> MakeEmptySource() {
  return std::make_unique<EmptySource>();
}

}  // namespace orvan::scenario

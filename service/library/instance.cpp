#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_cim.h"
#include "boundary/orvan_service.h"
#include "service/core/platform.h"
#include "service/core/plugin_source.h"
#include "service/core/service.h"
#include "service/library/machine_choice.h"
#include "service/scenario/scenario_source.h"
#include "system/execution_tracker.h"
#include "system/folders.h"
#include "system/record_store_report.h"
#include "system/standard_error.h"

namespace {

using orvan::core::ModuleSource;
using orvan::core::Service;

struct Instances {
  std::mutex mutex;  // guards all below
  std::unique_ptr<Service> current;
  // A termination request may reach a service on a host thread while it is being released.
  std::vector<std::unique_ptr<Service>> ended;
};

// Never destroyed, for host threads may outlive the static objects of this library.
Instances& GetInstances() {
  static Instances* const instances = new Instances;
  return *instances;
}

std::unique_ptr<ModuleSource> MakeSource() {
  orvan::remote::MachinePlan machine;
  std::string fault = orvan::library::ChooseMachine(machine);
  const std::string scenario = tarvex::ScenarioFile();
  if (scenario.empty() && fault.empty()) {
    return std::make_unique<orvan::core::PluginSource>(
        tarvex::ModuleFolder(orvan::core::LibraryFolder() + "/orvan/modules"),
        tarvex::ConfigFolder() + "/service.ini", std::move(machine), tarvex::StateFolder());
  }
  std::unique_ptr<ModuleSource> source;
  if (fault.empty()) source = orvan::scenario::MakeScenarioSource(scenario, fault);
  if (source == nullptr) {
    tarvex::TellOnStandardError(fault);
    source = orvan::scenario::MakeEmptySource();
  }
  return source;
}

std::unique_ptr<Service> MakeService() {
  orvan::core::ServiceOptions options;
  options.version = TARVEX_VERSION;
  options.logFolder = tarvex::StateFolder() + "/log";
  options.makeTracker = [] { return std::make_unique<WindowsSystemExecutionTracker>(); };
  options.recordStore = dynamic_cast<tarvex::RecordStoreReport*>(get_cim());
  return std::make_unique<Service>(MakeSource(), std::move(options));
}

}  // namespace

OrvanService* GetOrvanServiceInstance() {
  Instances& instances = GetInstances();
  const std::lock_guard lock(instances.mutex);
  if (instances.current == nullptr) {
    try {
      instances.current = MakeService();
    } catch (...) {
      return nullptr;
    }
  }
  return instances.current.get();
}

void ReleaseOrvanServiceInstance() {
  Instances& instances = GetInstances();
  const std::lock_guard lock(instances.mutex);
  if (instances.current != nullptr) {
    instances.current->Close();
    instances.ended.push_back(std::move(instances.current));
  }
}

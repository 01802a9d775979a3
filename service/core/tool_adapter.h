#pragma once

#include <map>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "boundary/orvan_service_listeners.h"
#include "boundary/orvan_service_objects.h"
#include "service/core/call_observer.h"
#include "service/sdk/tool.h"

namespace orvan::core {

class DeviceAdapter;
class ModuleAdapter;

// The property by which a caller tells of a forced abort; an empty list takes an abort back that no
// run has met yet.
inline constexpr char kForcedAbortProperty[] = "ForcedAbort";

// A module's tool behind the boundary.
//
// An abort that comes while the tool does not run counts for its next run with a listener, for a
// caller that starts the run on another thread cannot know whether it has begun. Clearing
// kForcedAbortProperty takes it back.
class ToolAdapter final : public DiagTool {
 public:
  // The record, the module and the observer outlive the adapter.
  ToolAdapter(const sdk::ToolRecord& record, const ModuleAdapter& module, CallObserver& observer)
      : record_(record), module_(module), observer_(observer) {}

  void SetToolProperty(const std::string& key, const std::vector<std::string>& values) override;
  std::vector<std::string> GetToolProperty(const std::string& key) override;
  std::string& GetName(std::string& text) override { return text = record_.name; }
  std::string& GetDescription(std::string& text) override { return text = record_.description; }
  std::string& GetHint(std::string& text) override { return text = record_.hint; }
  // False for a device of another module, and without a device.
  bool IsApplicable(DiagDevice* device) override;

  // Runs the tool on the calling thread; one run at a time. An exception of the tool ends the run
  // and leaves a line in the log.
  void Run(orvan_service::ToolListenerView* listener,
           const std::vector<const DeviceAdapter*>& devices);
  // Any thread.
  void Abort();
  const std::string& Name() const { return record_.name; }

 private:
  class Context;

  void Store(const std::string& key, const std::vector<std::string>& values);
  std::stop_token BeginRun(bool listened);
  void EndRun();

  const sdk::ToolRecord& record_;
  const ModuleAdapter& module_;
  CallObserver& observer_;
  std::mutex mutex_;  // guards all below
  std::map<std::string, std::vector<std::string>> properties_;
  std::stop_source stop_{std::nostopstate};
  bool running_ = false;
  bool abortPending_ = false;
};

}  // namespace orvan::core

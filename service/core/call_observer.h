#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct CallerInfo;
class OrvanSettings;

namespace orvan::core {

class ModuleAdapter;
struct ResolvedPlan;

// Sees each call of the boundary before the service acts on it. Any thread; must not block long
// and must not throw.
class CallObserver {
 public:
  virtual ~CallObserver() = default;
  virtual void OnApplySettings(const OrvanSettings& /*settings*/) {}
  virtual void OnSetLogPath(const std::string& /*path*/) {}
  virtual void OnBeginFinalResult(std::int64_t /*groupId*/, const CallerInfo& /*caller*/) {}
  virtual void OnGetFinalResultCode() {}
  virtual void OnEnableSupervisedRun() {}
  virtual void OnSetNoDevicesMode(bool /*flag*/) {}
  virtual void OnScanDevices(const std::string& /*module*/) {}
  virtual void OnExecuteDiagnostics(const ResolvedPlan& /*plan*/) {}
  virtual void OnAbortExecution() {}
  virtual void OnNotifySystemEvent(std::uint32_t /*bit*/) {}
  virtual void OnClearSystemEvents() {}
  virtual void OnSetToolProperty(const std::string& /*tool*/, const std::string& /*key*/,
                                 const std::vector<std::string>& /*values*/) {}
  virtual void OnRunTool(const std::string& /*tool*/, bool /*listener*/,
                         const std::vector<std::string>& /*devices*/) {}
  virtual void OnAbortTool(const std::string& /*tool*/) {}
  virtual void OnRelease() {}
};

}  // namespace orvan::core

#pragma once

#include <mutex>
#include <string>

#include "os/only_file.h"
#include "service/core/call_observer.h"

namespace orvan::scenario {

// Writes one JSON object and a line end for each call of the service, in the order of the calls,
// whatever their threads. Bytes that are no UTF-8 become U+FFFD. What cannot be written is lost.
class Trace final : public core::CallObserver {
 public:
  // Opens the file `path` below the folder, which may be a stranger's, and empties it. It goes over
  // no link, and takes a regular file that has one name only and is empty or begins like a trace.
  // Empty, or why not. Without a file, or after a failure, nothing is written.
  std::string Open(const std::string& folder, const std::string& path);

  void OnApplySettings(const OrvanSettings& settings) override;
  void OnSetLogPath(const std::string& path) override;
  void OnBeginFinalResult(std::int64_t groupId, const CallerInfo& caller) override;
  void OnGetFinalResultCode() override;
  void OnEnableSupervisedRun() override;
  void OnSetNoDevicesMode(bool flag) override;
  void OnScanDevices(const std::string& module) override;
  void OnExecuteDiagnostics(const core::ResolvedPlan& plan) override;
  void OnAbortExecution() override;
  void OnNotifySystemEvent(std::uint32_t bit) override;
  void OnClearSystemEvents() override;
  void OnSetToolProperty(const std::string& tool, const std::string& key,
                         const std::vector<std::string>& values) override;
  void OnRunTool(const std::string& tool, bool listener,
                 const std::vector<std::string>& devices) override;
  void OnAbortTool(const std::string& tool) override;
  void OnRelease() override;

 private:
  // `members` is what follows the call's name in the object: empty, or begins with ",".
  void Line(const char* call, const std::string& members = {});

  std::mutex mutex_;       // keeps lines whole and in order; guards file_ from the first call on
  tarvex::OnlyFile file_;  // opened before the first call; none when it may not be written
};

}  // namespace orvan::scenario

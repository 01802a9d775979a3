#pragma once

#include <map>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "boundary/orvan_service_listeners.h"
#include "boundary/orvan_service_objects.h"
#include "service/core/call_observer.h"
#include "service/core/outside_text.h"
#include "service/core/run_requests.h"
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
// caller that starts the run on another thread cannot know whether it has begun. A request to end
// the program stops the tool that runs, and is no abort of a later run. Clearing
// kForcedAbortProperty takes it back, but not for a tool that may write: setting the property to
// anything is a termination request, and after one of those no such tool begins. Its run with a
// listener only tells that each device was canceled.
class ToolAdapter final : public DiagTool {
 public:
  // All but the token, by which a running tool is told of the end of the program, outlive the
  // adapter.
  ToolAdapter(const sdk::ToolRecord& record, ModuleAdapter& module, CallObserver& observer,
              RunRequests& requests, std::stop_token ending)
      : record_(record),
        module_(module),
        observer_(observer),
        requests_(requests),
        ending_(std::move(ending)) {}

  void SetToolProperty(const std::string& key, const std::vector<std::string>& values) override;
  std::vector<std::string> GetToolProperty(const std::string& key) override;
  std::string& GetName(std::string& text) override { return text = InLine(record_.name); }
  std::string& GetDescription(std::string& text) override {
    return text = InLine(record_.description);
  }
  std::string& GetHint(std::string& text) override { return text = InLine(record_.hint); }
  // False for a device of another module, and without a device.
  bool IsApplicable(DiagDevice* device) override;

  // Runs the tool on the calling thread; one run at a time. An exception of the tool ends the run,
  // leaves a line in the log, and is thrown here as a std::runtime_error with that line's text. One
  // of the listener stops the tool and is thrown here, before any of the tool's own, once the tool
  // has returned. A run without a listener whose operation begins with "filterDevices" gets the
  // devices of the module's last scan instead of `devices`.
  void Run(orvan_service::ToolListenerView* listener,
           const std::vector<const DeviceAdapter*>& devices);
  // Any thread.
  void Abort();
  const std::string& Name() const { return record_.name; }

 private:
  class Context;

  // As it was stored.
  std::vector<std::string> Property(const std::string& key);
  void Store(const std::string& key, const std::vector<std::string>& values);
  bool IsFiltering() const;
  std::stop_token BeginRun(bool listened);
  void EndRun();
  // Stops the run that goes on, if any.
  void StopRun(sdk::StopReason reason);
  sdk::StopReason WhyStop() const;
  void TellNotGiven(const DeviceAdapter& device, bool filtering) const;
  // What a run calls: the tool itself, or what stands in for it.
  void CallTool(Context& context);

  const sdk::ToolRecord& record_;
  ModuleAdapter& module_;
  CallObserver& observer_;
  RunRequests& requests_;
  const std::stop_token ending_;
  mutable std::mutex mutex_;  // guards all below
  std::map<std::string, std::vector<std::string>> properties_;
  std::stop_source stop_{std::nostopstate};
  bool running_ = false;
  bool abortPending_ = false;
  bool isForced_ = false;                         // the caller set the property to anything
  sdk::StopReason why_ = sdk::StopReason::kNone;  // of the present run
};

}  // namespace orvan::core

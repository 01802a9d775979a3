#include "service/scenario/player.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace orvan::scenario {
namespace {

using Clock = std::chrono::steady_clock;

// Waits until then; false as soon as stop is requested.
bool WaitUntil(Clock::time_point then, const std::stop_token& stop) {
  if (Clock::now() < then) {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    wake.wait_until(lock, stop, then, [] { return false; });
  }
  return !stop.stop_requested();
}

const OutcomeScript& OutcomeOn(const TestScript& script, const sdk::Device* device) {
  if (device != nullptr) {
    const auto found = script.outcomes.find(device->Id());
    if (found != script.outcomes.end()) return found->second;
  }
  return script.outcome;
}

sdk::Verdict PlayOutcome(const OutcomeScript& outcome, sdk::TestContext& context) {
  const Clock::time_point start = Clock::now();
  const std::stop_token stop = context.StopToken();
  for (const ReportScript& report : outcome.reports) {
    if (!WaitUntil(start + report.at, stop)) return sdk::Verdict::Canceled();
    context.Report(report.percent, report.message);
  }
  if (!WaitUntil(start + outcome.duration, stop)) return sdk::Verdict::Canceled();
  sdk::Verdict verdict;
  verdict.status = outcome.status;
  return verdict;
}

// False when stop came before the end.
bool PlaySteps(const std::vector<StepScript>& steps, sdk::ToolContext& context,
               const std::stop_token& stop) {
  for (const StepScript& step : steps) {
    if (!WaitUntil(Clock::now() + step.after, stop)) return false;
    for (const auto& [key, values] : step.set) {
      context.SetProperty(key, values);
    }
    if (!step.event.empty()) context.Fire(step.event);
  }
  return true;
}

void WithdrawDevices(const std::set<std::string>& ids, sdk::ToolContext& context) {
  for (const sdk::Device* device : context.Candidates()) {
    if (ids.contains(device->Id())) context.Withdraw(*device);
  }
}

class ScriptedDevice final : public sdk::Device {
 public:
  // The script outlives the device.
  explicit ScriptedDevice(const DeviceScript& script) : script_(script) {}
  std::string Id() const override { return script_.id; }
  DeviceInformation Information() const override { return script_.information; }
  std::vector<DiagResource> Resources(std::stop_token) const override { return script_.resources; }
  std::string UniqueId() const override { return script_.udi; }
  std::optional<std::string> ResultText() const override { return script_.result; }

 private:
  const DeviceScript& script_;
};

class ScriptedModule final : public sdk::Module {
 public:
  explicit ScriptedModule(ModuleScript script) : script_(std::move(script)) {}
  std::string Name() const override { return script_.name; }
  ProductVersion Version() const override { return script_.version; }
  sdk::ModuleHelp Help() const override { return {.summary = {}, .whole = script_.help}; }
  const std::vector<sdk::DiagnosticRecord>& Diagnostics() const override {
    return script_.diagnostics;
  }
  const std::vector<sdk::ToolRecord>& Tools() const override { return script_.tools; }
  void ScanDevices(sdk::ScanContext& scan) override {
    WaitUntil(Clock::now() + script_.scan, scan.StopToken());
    for (const DeviceScript& device : script_.devices) {
      scan.Found(std::make_unique<ScriptedDevice>(device));
    }
  }

 private:
  const ModuleScript script_;
};

}  // namespace

std::function<sdk::Verdict(sdk::TestContext&)> PlayTest(TestScript script) {
  return [script = std::move(script)](sdk::TestContext& context) {
    return PlayOutcome(OutcomeOn(script, context.TestedDevice()), context);
  };
}

void PlayTool(ToolScript script, sdk::ToolRecord& tool) {
  tool.reportCanceled = [abort = script.abort](sdk::ToolContext& context) {
    PlaySteps(abort, context, std::stop_token());
  };
  tool.run = [script = std::move(script)](sdk::ToolContext& context) {
    if (!context.HasListener()) {
      WithdrawDevices(script.withdraws, context);
    } else if (!PlaySteps(script.run, context, context.StopToken())) {
      PlaySteps(script.abort, context, std::stop_token());
    }
  };
}

std::unique_ptr<sdk::Module> MakeModule(ModuleScript script) {
  return std::make_unique<ScriptedModule>(std::move(script));
}

}  // namespace orvan::scenario

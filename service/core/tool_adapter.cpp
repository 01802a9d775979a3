#include "service/core/tool_adapter.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

#include "service/core/canceled_repair.h"
#include "service/core/guard.h"
#include "service/core/module_adapter.h"

namespace orvan::core {

class ToolAdapter::Context final : public sdk::ToolContext {
 public:
  Context(ToolAdapter& tool, orvan_service::ToolListenerView* listener,
          std::vector<const sdk::Device*> devices, bool filtering)
      : tool_(tool),
        listener_(listener),
        devices_(filtering ? std::vector<const sdk::Device*>() : devices),
        candidates_(filtering ? std::move(devices) : std::vector<const sdk::Device*>()),
        stop_(tool.BeginRun(listener != nullptr)),
        // A tool that only reads may begin after such a request.
        ending_(tool.ending_.stop_requested() ? std::stop_token() : tool.ending_, Ending{tool}) {}
  ~Context() override { tool_.EndRun(); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  bool HasListener() const override { return listener_ != nullptr; }
  const std::vector<const sdk::Device*>& Devices() const override { return devices_; }
  const std::vector<const sdk::Device*>& Candidates() const override { return candidates_; }
  void SetProperty(const std::string& key, const std::vector<std::string>& values) override {
    tool_.Store(key, values);
  }
  std::vector<std::string> GetProperty(const std::string& key) const override {
    return tool_.Property(key);
  }
  bool Fire(const std::string& event) override {
    if (listener_ == nullptr || failure_) return false;
    try {
      return listener_->Dispatch(&tool_, event);
    } catch (...) {
      // Not through the module's code, which may be in the middle of a write.
      failure_ = std::current_exception();
    }
    tool_.Abort();
    return false;
  }
  void Withdraw(const sdk::Device& device) override {
    const bool isCandidate =
        std::find(candidates_.begin(), candidates_.end(), &device) != candidates_.end();
    if (isCandidate) tool_.module_.Withdraw(device);
  }
  std::stop_token StopToken() const override { return stop_; }
  sdk::StopReason WhyStop() const override { return tool_.WhyStop(); }
  std::uint32_t SystemEvents() const override { return tool_.requests_.Events(); }
  void Log(sdk::LogLevel level, const std::string& text) override {
    tool_.module_.Log().Text(log::SeverityOf(level), "tool " + tool_.Name() + ": " + text);
  }
  void Fail(const std::string& reason) override { outcome_ = reason; }

  // Why the tool did not do what it was asked for; none: it did.
  const std::optional<std::string>& Outcome() const { return outcome_; }
  // What a handler threw; null when none did.
  std::exception_ptr ListenerFailure() const { return failure_; }

 private:
  struct Ending {
    ToolAdapter& tool;
    void operator()() const { tool.StopRun(sdk::StopReason::kTermination); }
  };

  ToolAdapter& tool_;
  orvan_service::ToolListenerView* listener_;
  const std::vector<const sdk::Device*> devices_;
  const std::vector<const sdk::Device*> candidates_;
  const std::stop_token stop_;
  std::optional<std::string> outcome_;
  std::exception_ptr failure_;
  std::stop_callback<Ending> ending_;  // last: it uses what stands above
};

void ToolAdapter::Store(const std::string& key, const std::vector<std::string>& values) {
  const std::lock_guard lock(mutex_);
  properties_.insert_or_assign(key, values);
}

void ToolAdapter::SetToolProperty(const std::string& key, const std::vector<std::string>& values) {
  observer_.OnSetToolProperty(record_.name, key, values);
  const std::lock_guard lock(mutex_);
  properties_.insert_or_assign(key, values);
  if (key != kForcedAbortProperty) return;
  isForced_ = !values.empty();
  if (values.empty()) {
    abortPending_ = false;
  } else {
    requests_.Terminate();
  }
}

std::vector<std::string> ToolAdapter::GetToolProperty(const std::string& key) {
  return InLine(Property(key));
}

std::vector<std::string> ToolAdapter::Property(const std::string& key) {
  const std::lock_guard lock(mutex_);
  const auto found = properties_.find(key);
  return found != properties_.end() ? found->second : std::vector<std::string>{};
}

bool ToolAdapter::IsApplicable(DiagDevice* device) {
  const DeviceAdapter* known = module_.FindDevice(device);
  if (known == nullptr || known->WhyUntestable()) return false;
  return !record_.appliesTo || Guarded(module_.Log(), record_.name + " on " + known->Id(), false,
                                       [&] { return record_.appliesTo(known->Device()); });
}

std::stop_token ToolAdapter::BeginRun(bool listened) {
  const std::lock_guard lock(mutex_);
  stop_ = std::stop_source();
  running_ = true;
  why_ = sdk::StopReason::kNone;
  if (listened && abortPending_) {
    abortPending_ = false;
    why_ = isForced_ ? sdk::StopReason::kForced : sdk::StopReason::kAborted;
    stop_.request_stop();
  }
  return stop_.get_token();
}

void ToolAdapter::EndRun() {
  const std::lock_guard lock(mutex_);
  running_ = false;
}

bool ToolAdapter::IsFiltering() const {
  const std::lock_guard lock(mutex_);
  const auto found = properties_.find(sdk::kToolOperation);
  return found != properties_.end() && !found->second.empty() &&
         found->second.front() == sdk::kToolOperationFilter;
}

// The tool was not going to work on it in a filtering run.
void ToolAdapter::TellNotGiven(const DeviceAdapter& device, bool filtering) const {
  if (!filtering) {
    module_.Log().Error("scan-fault", "tool " + record_.name + " does not get device " +
                                          device.Id() + ", which could not be looked at");
  }
}

void ToolAdapter::Run(orvan_service::ToolListenerView* listener,
                      const std::vector<const DeviceAdapter*>& devices) {
  const bool filtering = listener == nullptr && IsFiltering();
  std::vector<const sdk::Device*> tested;
  for (const DeviceAdapter* device : filtering ? module_.FoundDevices() : devices) {
    if (device->WhyUntestable()) {
      TellNotGiven(*device, filtering);
      continue;
    }
    tested.push_back(&device->Device());
  }
  std::exception_ptr listenerFailure;
  std::optional<std::string> failure;
  {
    Context context(*this, listener, std::move(tested), filtering);
    try {
      CallTool(context);
    } catch (...) {
      // Only the text passes: the code of a module's exception may be unloaded before it is read.
      failure = "tool " + record_.name + " ended: " + CurrentExceptionText();
      module_.Log().Error("exception", *failure);
    }
    if (context.Outcome()) {
      module_.Log().Error("tool-failed", "tool " + record_.name + ": " + *context.Outcome());
    }
    listenerFailure = context.ListenerFailure();
  }
  if (listenerFailure) std::rethrow_exception(listenerFailure);
  if (failure) throw std::runtime_error(InLine(*std::move(failure)));
}

// Asked once the run has begun: a request that comes later is followed by an abort, which then
// reaches the tool.
void ToolAdapter::CallTool(Context& context) {
  if (!record_.mayWrite || !context.HasListener() || !requests_.IsTerminating()) {
    record_.run(context);
  } else if (record_.reportCanceled) {
    record_.reportCanceled(context);
  } else {
    ReportCanceledRepair(context);
  }
}

void ToolAdapter::Abort() {
  {
    const std::lock_guard lock(mutex_);
    if (!running_) abortPending_ = true;
  }
  StopRun(sdk::StopReason::kAborted);
}

void ToolAdapter::StopRun(sdk::StopReason reason) {
  std::stop_source stop(std::nostopstate);
  {
    const std::lock_guard lock(mutex_);
    if (!running_) return;
    if (why_ == sdk::StopReason::kNone) why_ = isForced_ ? sdk::StopReason::kForced : reason;
    stop = stop_;
  }
  // Outside the lock: what wakes up may read properties at once.
  stop.request_stop();
}

sdk::StopReason ToolAdapter::WhyStop() const {
  const std::lock_guard lock(mutex_);
  return why_;
}

}  // namespace orvan::core

#include "service/core/tool_adapter.h"

#include "service/core/guard.h"
#include "service/core/module_adapter.h"

namespace orvan::core {

class ToolAdapter::Context final : public sdk::ToolContext {
 public:
  Context(ToolAdapter& tool, orvan_service::ToolListenerView* listener,
          std::vector<const sdk::Device*> devices, std::stop_token stop)
      : tool_(tool), listener_(listener), devices_(std::move(devices)), stop_(std::move(stop)) {}

  bool HasListener() const override { return listener_ != nullptr; }
  const std::vector<const sdk::Device*>& Devices() const override { return devices_; }
  void SetProperty(const std::string& key, const std::vector<std::string>& values) override {
    tool_.Store(key, values);
  }
  std::vector<std::string> GetProperty(const std::string& key) const override {
    return tool_.GetToolProperty(key);
  }
  bool Fire(const std::string& event) override {
    return listener_ != nullptr && listener_->Dispatch(&tool_, event);
  }
  std::stop_token StopToken() const override { return stop_; }

 private:
  ToolAdapter& tool_;
  orvan_service::ToolListenerView* listener_;
  std::vector<const sdk::Device*> devices_;
  std::stop_token stop_;
};

void ToolAdapter::Store(const std::string& key, const std::vector<std::string>& values) {
  const std::lock_guard lock(mutex_);
  properties_.insert_or_assign(key, values);
}

void ToolAdapter::SetToolProperty(const std::string& key, const std::vector<std::string>& values) {
  observer_.OnSetToolProperty(record_.name, key, values);
  const std::lock_guard lock(mutex_);
  properties_.insert_or_assign(key, values);
  if (values.empty() && key == kForcedAbortProperty) {
    abortPending_ = false;
  }
}

std::vector<std::string> ToolAdapter::GetToolProperty(const std::string& key) {
  const std::lock_guard lock(mutex_);
  const auto found = properties_.find(key);
  return found != properties_.end() ? found->second : std::vector<std::string>{};
}

bool ToolAdapter::IsApplicable(DiagDevice* device) {
  const DeviceAdapter* known = module_.FindDevice(device);
  if (known == nullptr || known->WhyUntestable()) {
    return false;
  }
  return !record_.appliesTo || Guarded(module_.Log(), record_.name + " on " + known->Id(), false,
                                       [&] { return record_.appliesTo(known->Device()); });
}

std::stop_token ToolAdapter::BeginRun(bool listened) {
  const std::lock_guard lock(mutex_);
  stop_ = std::stop_source();
  running_ = true;
  if (listened && abortPending_) {
    abortPending_ = false;
    stop_.request_stop();
  }
  return stop_.get_token();
}

void ToolAdapter::EndRun() {
  const std::lock_guard lock(mutex_);
  running_ = false;
}

void ToolAdapter::Run(orvan_service::ToolListenerView* listener,
                      const std::vector<const DeviceAdapter*>& devices) {
  std::vector<const sdk::Device*> tested;
  tested.reserve(devices.size());
  for (const DeviceAdapter* device : devices) {
    if (device->WhyUntestable()) {
      module_.Log().Error("scan-fault", "tool " + record_.name + " does not get device " +
                                            device->Id() + ", which could not be looked at");
      continue;
    }
    tested.push_back(&device->Device());
  }
  Context context(*this, listener, std::move(tested), BeginRun(listener != nullptr));
  try {
    record_.run(context);
  } catch (...) {
    module_.Log().Error("exception", "tool " + record_.name + " ended: " + CurrentExceptionText());
  }
  EndRun();
}

void ToolAdapter::Abort() {
  std::stop_source stop(std::nostopstate);
  {
    const std::lock_guard lock(mutex_);
    if (!running_) {
      abortPending_ = true;
      return;
    }
    stop = stop_;
  }
  // Outside the lock: what wakes up may read properties at once.
  stop.request_stop();
}

}  // namespace orvan::core

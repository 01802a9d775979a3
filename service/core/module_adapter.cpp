#include "service/core/module_adapter.h"

#include <set>
#include <utility>

#include "service/core/guard.h"
#include "service/core/help_text.h"
#include "service/core/outside_text.h"
#include "service/core/unsearched_devices.h"
#include "system/key_format.h"
#include "system/standard_error.h"

namespace orvan::core {

namespace {

class GatheringScan final : public sdk::ScanContext {
 public:
  explicit GatheringScan(std::stop_token stop) : stop_(std::move(stop)) {}
  void Found(std::unique_ptr<sdk::Device> device) override { found.push_back(std::move(device)); }
  std::stop_token StopToken() const override { return stop_; }

  std::vector<std::unique_ptr<sdk::Device>> found;

 private:
  std::stop_token stop_;
};

// The first number from the count of devices on that is the id of none of them.
std::string FreeId(const std::vector<std::unique_ptr<sdk::Device>>& devices) {
  std::set<std::string> taken;
  for (const auto& device : devices) {
    if (device != nullptr) taken.insert(device->Id());
  }
  std::size_t number = devices.size();
  while (taken.contains(std::to_string(number))) ++number;
  return std::to_string(number);
}

}  // namespace

ModuleAdapter::ModuleAdapter(ModulePointer module, log::ServiceLog& log, CallObserver& observer,
                             RunRequests& requests, std::stop_token scanStop)
    : module_(std::move(module)),
      log_(log),
      observer_(observer),
      name_(InLine(module_->Name())),
      version_(module_->Version()),
      scanStop_(std::move(scanStop)) {
  AddDiagnostics();
  AddTools(requests);
}

void ModuleAdapter::AddEntry(DiagCatalogue& catalogue, const DiagKey& key,
                             const std::string& option, const std::string& longName,
                             std::uint32_t rule) {
  const auto [found, added] = catalogue.try_emplace(key, nullptr);
  if (added) {
    entries_.push_back(std::make_unique<CatalogEntry>(InLine(option), InLine(longName), rule));
    found->second = entries_.back().get();
  }
}

void ModuleAdapter::AddDiagnostics() {
  for (const sdk::DiagnosticRecord& record : module_->Diagnostics()) {
    diagnosticAdapters_.push_back(std::make_unique<DiagnosticAdapter>(record, *this));
    DiagnosticAdapter* diagnostic = diagnosticAdapters_.back().get();
    diagnostics_.push_back(diagnostic);
    diagnosticByPointer_.emplace(diagnostic, diagnostic);
    AddEntry(catalogue_, record.key, record.option, record.longName, record.parameterRule);
    for (const std::unique_ptr<TestAdapter>& test : diagnostic->Adapters()) {
      const sdk::TestRecord& row = test->Record();
      testByPointer_.emplace(test.get(), OwnedTest{test.get(), diagnostic});
      AddEntry(testCatalogue_, row.key, row.option, row.longName, row.parameterRule);
    }
  }
}

void ModuleAdapter::AddTools(RunRequests& requests) {
  for (const sdk::ToolRecord& record : module_->Tools()) {
    toolAdapters_.push_back(
        std::make_unique<ToolAdapter>(record, *this, observer_, requests, scanStop_));
    tools_.push_back(toolAdapters_.back().get());
  }
}

std::string& ModuleAdapter::GetHelpText(std::string& text) {
  text = Guarded(log_, "help of module " + name_, std::string(),
                 [this] { return InLines(HelpTextOf(*module_)); });
  return text;
}

std::string ModuleAdapter::VersionText() const {
  return std::to_string(version_.Major()) + '.' + std::to_string(version_.Minor()) + '.' +
         std::to_string(version_.Patch()) + '.' + std::to_string(version_.Build());
}

DiagDevice* ModuleAdapter::GetDevice(std::uint32_t index) {
  if (index >= devices_.size() || withdrawn_.contains(devices_[index])) return nullptr;
  return devices_[index];
}

std::vector<const DeviceAdapter*> ModuleAdapter::FoundDevices() const {
  std::vector<const DeviceAdapter*> found;
  found.reserve(devices_.size());
  for (const DiagDevice* device : devices_) {
    found.push_back(FindDevice(device));
  }
  return found;
}

void ModuleAdapter::Withdraw(const sdk::Device& device) {
  for (const DeviceAdapter* adapter : FoundDevices()) {
    if (&adapter->Device() == &device) withdrawn_.insert(adapter);
  }
}

void ModuleAdapter::ScanDevices() {
  observer_.OnScanDevices(name_);
  devices_.clear();
  withdrawn_.clear();
  GatheringScan scan(scanStop_);
  try {
    module_->ScanDevices(scan);
  } catch (...) {
    TellBroken(CurrentExceptionText(), scan.found);
  }
  Take(std::move(scan.found));
}

void ModuleAdapter::TellBroken(const std::string& reason,
                               std::vector<std::unique_ptr<sdk::Device>>& found) {
  log_.Error("exception", "scan of module " + name_ + " ended: " + reason);
  if (!found.empty() && scanStop_.stop_requested()) return;
  const std::string unsearched = found.empty() ? "the devices" : "further devices";
  // Who names a device is not shown the one that stands for others.
  tarvex::TellOnStandardError(unsearched + " of module " + name_ +
                              " could not be searched: " + reason);
  found.push_back(std::make_unique<UnsearchedDevices>(
      FreeId(found), name_ + ": " + unsearched + " could not be searched", reason));
}

void ModuleAdapter::Take(std::vector<std::unique_ptr<sdk::Device>> devices) {
  std::vector<DiagDevice*> found;
  std::set<std::string> ids;
  const auto tell = [this](const std::string& what) {
    log_.Error("scan-fault", "scan of module " + name_ + ": " + what);
  };
  for (std::unique_ptr<sdk::Device>& device : devices) {
    if (device == nullptr) {
      tell("a device that is none was left out");
      continue;
    }
    auto adapter = std::make_unique<DeviceAdapter>(std::move(device), log_, scanStop_);
    DeviceAdapter* pointer = adapter.get();
    if (!ids.insert(pointer->Id()).second) tell("more than one device has the id " + pointer->Id());
    if (pointer->WhyUntestable()) {
      tell("device " + pointer->Id() +
           " cannot be tested: " + tarvex::FormatKey(*pointer->WhyUntestable(), false, true, true));
    }
    deviceAdapters_.emplace(pointer, std::move(adapter));
    found.push_back(pointer);
  }
  devices_ = std::move(found);
}

const DeviceAdapter* ModuleAdapter::FindDevice(const DiagDevice* device) const {
  const auto found = deviceAdapters_.find(device);
  return found != deviceAdapters_.end() ? found->second.get() : nullptr;
}

DiagnosticAdapter* ModuleAdapter::FindDiagnostic(const DiagDiagnostic* diagnostic) const {
  const auto found = diagnosticByPointer_.find(diagnostic);
  return found != diagnosticByPointer_.end() ? found->second : nullptr;
}

ModuleAdapter::OwnedTest ModuleAdapter::FindTest(const DiagTest* test) const {
  const auto found = testByPointer_.find(test);
  return found != testByPointer_.end() ? found->second : OwnedTest{};
}

ToolAdapter* ModuleAdapter::FindTool(const DiagTool* tool) const {
  for (const std::unique_ptr<ToolAdapter>& adapter : toolAdapters_) {
    if (adapter.get() == tool) return adapter.get();
  }
  return nullptr;
}

}  // namespace orvan::core

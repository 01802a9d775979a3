#include "tools/tool_devices.h"

#include <utility>

#include "boundary/orvan_service_objects.h"
#include "tools/tool_data_error.h"

namespace {

constexpr char kNonRotatingProperty[] = "NonRotatingMedia";
// What the standard's error says of a map without the key, as other programs know it.
constexpr char kNoKey[] = "invalid map<K, T> key";

bool IsNonRotating(DiagTool& tool, const std::string& id, const DeviceInformation& information) {
  const auto found = information.properties.find(kNonRotatingProperty);
  if (found == information.properties.end()) {
    throw ToolDataError(kNoKey, tarvex::MissingValues(
                                    tarvex::ToolWord(tool),
                                    std::string(kNonRotatingProperty) + " of device " + id, 0, 1));
  }
  return found->second == "T";
}

}  // namespace

std::vector<ToolDeviceRecord> ToolDevices::applicableDevices() const {
  std::vector<ToolDeviceRecord> applicable;
  for (const ToolDeviceRecord& record : records_) {
    DiagDevice* device = target_.module->GetDevice(record.index);
    if (device != nullptr && target_.tool->IsApplicable(device)) applicable.push_back(record);
  }
  return applicable;
}

const ToolDeviceRecord* ToolDevices::findDevice(const std::string& id) const {
  const auto found = deviceMap_.find(id);
  return found == deviceMap_.end() ? nullptr : found->second;
}

void ToolDevices::Rescan() {
  target_.module->ScanDevices();
}

void ToolDevices::SetOperation(const std::vector<std::string>& words) {
  target_.tool->SetToolProperty(kToolPropertyOperation, words);
}

void ToolDevices::ReadRecords(const AddDetails& addDetails) {
  deviceMap_.clear();
  records_.clear();
  const std::uint32_t count = target_.module->DeviceCount();
  for (std::uint32_t index = 0; index < count; ++index) {
    DiagDevice* device = target_.module->GetDevice(index);
    if (device == nullptr) continue;
    filtered_ = true;
    ToolDeviceRecord record;
    record.index = index;
    device->GetId(record.id);
    DeviceInformation information;
    device->GetInformation(information);
    record.displayName = information.name;
    record.nonRotating = IsNonRotating(*target_.tool, record.id, information);
    if (addDetails) addDetails(*device, record);
    records_.push_back(std::move(record));
  }
  for (const ToolDeviceRecord& record : records_) deviceMap_[record.id] = &record;
}

void ToolDevices::AddRunDevice(const ToolDeviceRecord& record) {
  DiagDevice* device = target_.module->GetDevice(record.index);
  if (device != nullptr) runDevices_.push_back(device);
}

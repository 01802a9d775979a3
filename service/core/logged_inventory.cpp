#include "service/core/logged_inventory.h"

namespace orvan::core {
namespace {

// The value of an entry; empty when there is none.
std::string EntryOf(const DeviceInformation& information, const char* wanted) {
  for (const auto& [value, label] : information.entries) {
    if (label == wanted) return value;
  }
  return {};
}

DeviceInformation InformationOf(const DeviceAdapter& device) {
  try {
    return device.Device().Information();
  } catch (...) {
    return {};  // the listing of devices tells of the fault
  }
}

std::string KeyOf(const DeviceAdapter& device) {
  try {
    return device.Device().UniqueId();
  } catch (...) {
    return {};
  }
}

}  // namespace

const log::LogHardware& LoggedInventory::Of(const ModuleAdapter& module,
                                            const DeviceAdapter& device) {
  const auto [found, added] = devices_.try_emplace(&device);
  Entry& entry = found->second;
  if (added) {
    entry.number = devices_.size() - 1;
    const DeviceInformation information = InformationOf(device);
    const std::string path = EntryOf(information, "BUS_PATH");
    entry.hardware.id = std::to_string(entry.number);
    entry.hardware.name = information.name.empty() ? device.Id() : information.name;
    entry.hardware.location = module.Name() + ' ' + device.Id() + (path.empty() ? "" : ", " + path);
    entry.hardware.serialNumber = EntryOf(information, "SERIAL_NUMBER");
    entry.hardware.partType = module.Name();
    entry.hardware.key = KeyOf(device);
  }
  return entry.hardware;
}

void LoggedInventory::List(const std::vector<std::unique_ptr<ModuleAdapter>>& modules,
                           log::LogSubject& subject) {
  for (const std::unique_ptr<ModuleAdapter>& module : modules) {
    subject.software.push_back({module->Name(), module->VersionText()});
    for (const DiagDevice* pointer : *module->GetDevices()) {
      if (const DeviceAdapter* device = module->FindDevice(pointer)) {
        subject.hardware.push_back(Of(*module, *device));
      }
    }
  }
  listed_ = devices_.size();
}

bool LoggedInventory::IsListed(const DeviceAdapter& device) const {
  const auto found = devices_.find(&device);
  return found != devices_.end() && found->second.number < listed_;
}

}  // namespace orvan::core

#include "tools/smart/st_utils.h"

void STUtils::filterDevices(bool refresh) {
  if (refresh) Rescan();
  SetOperation({kToolOperationFilter});
  ReadRecords({});
}

void STUtils::prepareExecution(const std::set<std::string>& selection) {
  selection_ = &selection;
  for (const ToolDeviceRecord& device : records()) {
    if (selection.empty() || selection.count(device.id) != 0) AddRunDevice(device);
  }
}

#include "service/core/device_adapter.h"

#include "service/core/guard.h"

namespace orvan::core {

DeviceInformation& DeviceAdapter::GetInformation(DeviceInformation& record) {
  record = Guarded(log_, "information of device " + id_, DeviceInformation{},
                   [this] { return InLine(device_->Information()); });
  return record;
}

std::vector<DiagResource>& DeviceAdapter::GetResources(std::vector<DiagResource>& out) {
  out = Guarded(log_, "resources of device " + id_, std::vector<DiagResource>{},
                [this] { return InLine(device_->Resources(stop_)); });
  return out;
}

}  // namespace orvan::core

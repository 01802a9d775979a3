#include "service/core/canceled_repair.h"

namespace orvan::core {
namespace {

constexpr char kRepair[] = "repair";
constexpr char kCanceled[] = "8";

void ReportDevice(sdk::ToolContext& context, const std::string& id) {
  context.SetProperty("DeviceInit", {id});
  context.Fire("OnDeviceInit");
  context.SetProperty("Message", {});
  context.SetProperty("SectorsInfo", {"0", "0", "0", "0"});
  context.SetProperty("BadSectorsList", {});
  context.SetProperty("DeviceFinish", {id, kCanceled});
  context.Fire("OnDeviceFinish");
}

}  // namespace

void ReportCanceledRepair(sdk::ToolContext& context) {
  const std::vector<std::string> operation = context.GetProperty(sdk::kToolOperation);
  context.Fire("OnRecoverInit");
  context.SetProperty("OperationInit", {operation.empty() ? kRepair : operation.front()});
  context.Fire("OnOperationInit");
  for (const sdk::Device* device : context.Devices()) {
    ReportDevice(context, device->Id());
  }
  context.Fire("OnOperationFinish");
  context.Fire("OnRecoverFinish");
}

}  // namespace orvan::core

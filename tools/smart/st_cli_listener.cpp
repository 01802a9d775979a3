#include "tools/smart/st_cli_listener.h"

#include <array>

#include "tools/decimal.h"
#include "tools/smart/st_cli_event.h"

namespace {

constexpr char kDeviceFinish[] = "DeviceFinish";

std::unique_ptr<ToolEvent> MakeDeviceFinish(const ToolReport& report) {
  auto event = std::make_unique<STEventDeviceFinish>();
  const std::vector<std::string> finish = report.List(kDeviceFinish, 5);
  event->status = tarvex::ParseDecimal(finish[1]);
  event->deviceType = finish[2];
  event->attributes = finish[3];
  event->driveInformation = finish[4];
  const ToolDeviceRecord* device = report.Device(kDeviceFinish, 0);
  if (device == nullptr) return nullptr;
  event->deviceId = device->id;
  event->displayName = device->displayName;
  return event;
}

constexpr std::array kHandlers{
    ToolHandlerRow{"OnSmartToolInit", &tarvex::MakePlainEvent<STEventSmartToolInit>},
    ToolHandlerRow{"OnSmartToolFinish", &tarvex::MakePlainEvent<STEventSmartToolFinish>},
    ToolHandlerRow{"OnDeviceInit", &tarvex::MakeDeviceInitEvent<STEventDeviceInit>},
    ToolHandlerRow{"OnDeviceFinish", &MakeDeviceFinish},
    ToolHandlerRow{"OnProgress", &tarvex::MakeProgressEvent<STEventProgress>},
};

}  // namespace

STCliListener::STCliListener(ToolEventQueue& queue, const STUtils& utils)
    : ToolListener(queue, utils, kHandlers) {}

#include "tools/smart/st_cli_listener.h"

#include <array>

#include "tools/decimal.h"
#include "tools/smart/st_cli_event.h"

namespace {

constexpr char kDeviceFinish[] = "DeviceFinish";

std::unique_ptr<ToolEvent> MakeDeviceFinish(const ToolReport& report) {
  auto event = std::make_unique<STEventDeviceFinish>();
  const std::vector<std::string> finish = report.List(kDeviceFinish);
  event->status = tarvex::ParseDecimal(finish.at(1));
  event->deviceType = finish.at(2);
  event->attributes = finish.at(3);
  event->driveInformation = finish.at(4);
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

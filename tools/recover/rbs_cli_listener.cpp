#include "tools/recover/rbs_cli_listener.h"

#include <array>

#include "tools/decimal.h"
#include "tools/recover/operations.h"
#include "tools/recover/rbs_cli_event.h"

namespace {

using Event = std::unique_ptr<ToolEvent>;

constexpr std::size_t kSectorsOnALine = 5;
// The places of the sectors that were fixed and that were not in the list of counts.
constexpr std::size_t kFixed = 2;
constexpr std::size_t kNotFixed = 3;

std::string SectorLines(const std::vector<std::string>& sectors) {
  std::string lines;
  for (std::size_t i = 0; i < sectors.size(); ++i) {
    if (i > 0) lines += i % kSectorsOnALine == 0 ? "\n" : ", ";
    lines += sectors[i];
  }
  return lines;
}

Event MakeOperationInit(const ToolReport& report) {
  return std::make_unique<EventOperationInit>(report.Item("OperationInit", 0));
}

Event MakeDeviceFinish(const ToolReport& report) {
  const std::vector<std::string> finish = report.List("DeviceFinish", 2);
  const ToolDeviceRecord* device = report.Device("DeviceFinish", 0);
  if (device == nullptr) return nullptr;
  auto event = std::make_unique<EventDeviceFinish>();
  if (const auto message = report.List("Message"); !message.empty()) {
    event->message = message.front();
    event->hasMessage = true;
  }
  event->operation = kRbsOperationRepair;
  event->deviceId = device->id;
  event->displayName = device->displayName;
  event->status = tarvex::ParseDecimal(finish[1]);
  const bool isScan = report.Item(kToolPropertyOperation, 0) == kRbsOperationScan;
  event->sectorsInfo = report.List(kRbsSectorsInfo, isScan ? kRbsCounts : 0);
  if (isScan) {
    // A scan repairs nothing, whatever the counts say.
    event->sectorsInfo[kFixed] = "0";
    event->sectorsInfo[kNotFixed] = "0";
  }
  event->badSectorList = SectorLines(report.List("BadSectorsList"));
  return event;
}

constexpr std::array kHandlers{
    ToolHandlerRow{"OnRecoverInit", &tarvex::MakePlainEvent<EventRecoverInit>},
    ToolHandlerRow{"OnRecoverFinish", &tarvex::MakePlainEvent<EventRecoverFinish>},
    ToolHandlerRow{"OnOperationInit", &MakeOperationInit},
    ToolHandlerRow{"OnOperationFinish", &tarvex::MakePlainEvent<EventOperationFinish>},
    ToolHandlerRow{"OnDeviceInit", &tarvex::MakeDeviceInitEvent<EventDeviceInit>},
    ToolHandlerRow{"OnDeviceFinish", &MakeDeviceFinish},
    ToolHandlerRow{"OnProgress", &tarvex::MakeProgressEvent<EventProgress>},
};

}  // namespace

RbsCliListener::RbsCliListener(ToolEventQueue& queue, const RbsUtils& utils)
    : ToolListener(queue, utils, kHandlers) {}

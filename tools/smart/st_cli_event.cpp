#include "tools/smart/st_cli_event.h"

#include "tools/smart/st_cli_stdio.h"

void STEventSmartToolFinish::apply(ToolEventContext& context) {
  ViewOf(context).OnSmartToolFinish(text);
}

void STEventDeviceInit::apply(ToolEventContext& context) {
  ViewOf(context).OnDeviceInit(deviceId, displayName);
}

void STEventDeviceFinish::apply(ToolEventContext& context) {
  ViewOf(context).OnDeviceFinish(deviceId, displayName, status, deviceType, attributes,
                                 driveInformation);
}

void STEventProgress::apply(ToolEventContext& context) {
  ViewOf(context).SetProgress(percent, context.DeviceSeconds());
}

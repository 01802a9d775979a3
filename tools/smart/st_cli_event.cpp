#include "tools/smart/st_cli_event.h"

#include "tools/smart/st_cli_stdio.h"

void STEventSmartToolFinish::apply(ToolEventContext& context) {
  Of(context).view->OnSmartToolFinish(text);
}

void STEventDeviceInit::apply(ToolEventContext& context) {
  Of(context).view->OnDeviceInit(deviceId, displayName);
}

void STEventDeviceFinish::apply(ToolEventContext& context) {
  Of(context).view->OnDeviceFinish(deviceId, displayName, status, deviceType, attributes,
                                   driveInformation);
}

void STEventProgress::apply(ToolEventContext& context) {
  Of(context).view->SetProgress(percent, context.DeviceSeconds());
}

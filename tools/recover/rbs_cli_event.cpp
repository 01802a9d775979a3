#include "tools/recover/rbs_cli_event.h"

#include "tools/recover/rbs_cli_stdio.h"

void EventRecoverInit::apply(ToolEventContext& context) {
  Of(context).view->OnRecoverInit();
}

void EventRecoverFinish::apply(ToolEventContext& context) {
  Of(context).view->OnRecoverFinish(text);
}

void EventOperationInit::apply(ToolEventContext& context) {
  Of(context).view->OnOperationInit(operation);
}

void EventOperationFinish::apply(ToolEventContext& context) {
  Of(context).view->OnOperationFinish(text);
}

void EventDeviceInit::apply(ToolEventContext& context) {
  context.StartDevice();
  Of(context).view->OnDeviceInit(deviceId, displayName);
}

void EventDeviceFinish::apply(ToolEventContext& context) {
  RbsCliStdio& view = *Of(context).view;
  if (hasMessage) view.SetMessage(message);
  view.OnDeviceFinish(deviceId, displayName, status, context.DeviceSeconds(), sectorsInfo,
                      badSectorList, operation);
}

void EventProgress::apply(ToolEventContext& context) {
  Of(context).view->SetProgress(percent, context.DeviceSeconds());
}

#include "tools/recover/rbs_cli_event.h"

#include "tools/recover/rbs_cli_stdio.h"

void EventRecoverInit::apply(ToolEventContext& context) {
  ViewOf(context).OnRecoverInit();
}

void EventRecoverFinish::apply(ToolEventContext& context) {
  ViewOf(context).OnRecoverFinish(text);
}

void EventOperationInit::apply(ToolEventContext& context) {
  ViewOf(context).OnOperationInit(operation);
}

void EventOperationFinish::apply(ToolEventContext& context) {
  ViewOf(context).OnOperationFinish(text);
}

void EventDeviceInit::apply(ToolEventContext& context) {
  context.StartDevice();
  ViewOf(context).OnDeviceInit(deviceId, displayName);
}

void EventDeviceFinish::apply(ToolEventContext& context) {
  RbsCliStdio& view = ViewOf(context);
  if (hasMessage) view.SetMessage(message);
  view.OnDeviceFinish(deviceId, displayName, status, context.DeviceSeconds(), sectorsInfo,
                      badSectorList, operation);
}

void EventProgress::apply(ToolEventContext& context) {
  ViewOf(context).SetProgress(percent, context.DeviceSeconds());
}

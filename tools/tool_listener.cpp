#include "tools/tool_listener.h"

#include "boundary/orvan_service_objects.h"
#include "system/outside_text.h"
#include "tools/decimal.h"
#include "tools/tool_data_error.h"

std::vector<std::string> ToolReport::List(const std::string& property, std::size_t needed) const {
  std::vector<std::string> list = tool_.GetToolProperty(property);
  if (list.size() < needed) tarvex::NeedValues(tarvex::ToolWord(tool_), property, list, needed);
  return list;
}

std::string ToolReport::Item(const std::string& property, std::size_t index) const {
  return List(property, index + 1)[index];
}

std::int32_t ToolReport::Number(const std::string& property, std::size_t index) const {
  return tarvex::ParseDecimal(Item(property, index));
}

const ToolDeviceRecord* ToolReport::Device(const std::string& property, std::size_t index) const {
  return devices_.findDevice(tarvex::WithoutSteering(Item(property, index)));
}

ToolListener::ToolListener(ToolEventQueue& queue, const ToolDevices& devices,
                           std::span<const ToolHandlerRow> handlers)
    : queue_(queue), devices_(devices), handlers_(handlers) {
  ToolListener::RegisterHandlers();
}

void ToolListener::ClearReply(orvan_service::ToolReply* record) {
  if (record != nullptr) record->reply = 0;
}

void ToolListener::RegisterHandlers() {
  for (const ToolHandlerRow& row : handlers_) {
    SetHandler(row.event, [this, make = row.make](DiagTool* tool, const std::string&) {
      queue_.Append(make(ToolReport(*tool, devices_)));
      return true;
    });
  }
}

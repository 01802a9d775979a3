#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "boundary/orvan_service_listeners.h"
#include "tools/tool_devices.h"
#include "tools/tool_event_queue.h"

// What a handler makes its event from. Service threads.
class ToolReport {
 public:
  ToolReport(DiagTool& tool, const ToolDevices& devices) : tool_(tool), devices_(devices) {}

  // The list of that name. Throws ToolDataError when it has fewer than `needed` elements.
  std::vector<std::string> List(const std::string& property, std::size_t needed = 0) const;
  // An element of it. Throws ToolDataError for a list that is too short.
  std::string Item(const std::string& property, std::size_t index) const;
  // The same as a number; 0 for a text that is none.
  std::int32_t Number(const std::string& property, std::size_t index) const;
  // The record that an element names by its id; null for an unknown id. Throws as Item.
  const ToolDeviceRecord* Device(const std::string& property, std::size_t index) const;

 private:
  DiagTool& tool_;
  const ToolDevices& devices_;
};

// An event of the service and what becomes of it. Null, for a report of an unknown device, makes no
// event: there is nothing that it could be shown with.
struct ToolHandlerRow {
  const char* event;
  std::unique_ptr<ToolEvent> (*make)(const ToolReport& report);
};

// Turns the reports of a running tool into events on the queue; nothing here draws. A tool's
// listener is its table of handlers. Service threads, all but the constructor.
class ToolListener : public orvan_service::ToolListenerView {
 public:
  // Queue, devices and table outlive the listener.
  ToolListener(ToolEventQueue& queue, const ToolDevices& devices,
               std::span<const ToolHandlerRow> handlers);

  // Clears the answer and nothing else.
  void ClearReply(orvan_service::ToolReply* record) override;
  // Sets the handlers of all rows, again.
  void RegisterHandlers() override;

 private:
  ToolEventQueue& queue_;
  const ToolDevices& devices_;
  std::span<const ToolHandlerRow> handlers_;
};

// Makers of events that differ between the tools in their class alone.
namespace tarvex {

// An event without contents.
template <class Event>
std::unique_ptr<ToolEvent> MakePlainEvent(const ToolReport& /*report*/) {
  return std::make_unique<Event>();
}

// The start of a device, made of its id and display name.
template <class Event>
std::unique_ptr<ToolEvent> MakeDeviceInitEvent(const ToolReport& report) {
  const ToolDeviceRecord* device = report.Device("DeviceInit", 0);
  if (device == nullptr) return nullptr;
  return std::make_unique<Event>(device->id, device->displayName);
}

// Progress, made of its percentage.
template <class Event>
std::unique_ptr<ToolEvent> MakeProgressEvent(const ToolReport& report) {
  return std::make_unique<Event>(static_cast<std::uint32_t>(report.Number("Progress", 0)));
}

}  // namespace tarvex

#include "tools/tool_event_queue.h"

#include <cmath>
#include <utility>

double ToolEventContext::DeviceSeconds() const {
  return std::floor(timer->SecondsBetween(deviceStart, timer->Now()));
}

void ToolEventQueue::Append(std::unique_ptr<ToolEvent> event) {
  if (event == nullptr) return;
  events_.Push(std::move(event), [](const auto& added, const auto& newest) {
    return added->IsProgress() && newest->IsProgress();
  });
}

std::unique_ptr<ToolEvent> ToolEventQueue::Take() {
  return events_.Take().value_or(nullptr);
}

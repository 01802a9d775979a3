#pragma once

#include "tools/smart/st_utils.h"
#include "tools/tool_listener.h"

// Turns the reports of the SMART tool into STCliEvents.
class STCliListener final : public ToolListener {
 public:
  // Both outlive the listener.
  STCliListener(ToolEventQueue& queue, const STUtils& utils);
};

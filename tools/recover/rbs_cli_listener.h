#pragma once

#include "tools/recover/rbs_utils.h"
#include "tools/tool_listener.h"

// Turns the reports of the Recover Bad Sectors tool into RbsCliEvents.
class RbsCliListener final : public ToolListener {
 public:
  // Both outlive the listener.
  RbsCliListener(ToolEventQueue& queue, const RbsUtils& utils);
};

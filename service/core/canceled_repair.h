#pragma once

#include "service/sdk/tool.h"

namespace orvan::core {

// Tells the listener of a repair that is not begun: the operation starts, each device of the run
// ends canceled with no sector read, and the operation is over. Calls no code of a module but the
// ids of its devices, and writes to no device. The thread of the run.
void ReportCanceledRepair(sdk::ToolContext& context);

}  // namespace orvan::core

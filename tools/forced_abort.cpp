#include "tools/forced_abort.h"

#include <cstdint>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_signal_handler.h"
#include "boundary/orvan_service.h"
#include "system/process_state.h"

namespace {

// Written while no handler is installed, and read by the handler alone.
ToolTarget abortTarget;

bool OnTerminationRequest(int /*signal*/, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  GetProcessState().abort.forcedAbort = true;
  abortTarget.tool->SetToolProperty(kToolPropertyForcedAbort, {"Forced to abort"});
  abortTarget.service->AbortTool(abortTarget.tool);
  return true;
}

}  // namespace

ForcedAbort::ForcedAbort(const ToolTarget& target) {
  GetProcessState().abort.forcedAbort = false;
  abortTarget = target;
  get_signal_handler()->SetHandler(&OnTerminationRequest);
}

ForcedAbort::~ForcedAbort() {
  get_signal_handler()->RemoveHandler(&OnTerminationRequest);
}

bool ForcedAbort::IsUnderWay() {
  return GetProcessState().abort.forcedAbort;
}

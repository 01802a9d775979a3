#include "tools/forced_abort.h"

#include <atomic>
#include <cstdint>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_signal_handler.h"
#include "boundary/orvan_service.h"

namespace {

// Written while no handler is installed, and read by the handler alone.
ToolTarget abortTarget;
// The handler's thread sets it, the main thread reads it.
std::atomic<bool> underWay{false};

bool OnTerminationRequest(int /*signal*/, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  underWay = true;
  abortTarget.tool->SetToolProperty(kToolPropertyForcedAbort, {"Forced to abort"});
  abortTarget.service->AbortTool(abortTarget.tool);
  return true;
}

}  // namespace

ForcedAbort::ForcedAbort(const ToolTarget& target) {
  underWay = false;
  abortTarget = target;
  get_signal_handler()->SetHandler(&OnTerminationRequest);
}

ForcedAbort::~ForcedAbort() {
  get_signal_handler()->RemoveHandler(&OnTerminationRequest);
}

bool ForcedAbort::IsUnderWay() {
  return underWay;
}

#include "system/process_state.h"

ProcessState& GetProcessState() {
  static ProcessState state;
  return state;
}

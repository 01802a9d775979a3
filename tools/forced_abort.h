#pragma once

#include "tools/tool_target.h"

// While it lives, a termination request (Control-C, SIGTERM, SIGHUP) sets the flag, tells the tool
// that it was forced, and stops it, whether a run is under way or not. Nothing is printed. One per
// process at a time. Main thread, but for IsUnderWay: any.
class ForcedAbort {
 public:
  // Clears the flag and installs the handler.
  explicit ForcedAbort(const ToolTarget& target);
  // From here on the handler neither runs nor will be called.
  ~ForcedAbort();
  ForcedAbort(const ForcedAbort&) = delete;
  ForcedAbort& operator=(const ForcedAbort&) = delete;

  // Whether a termination request came since the latest construction.
  static bool IsUnderWay();
};

// The tool property that tells of a forced abort; an empty list takes it back.
inline constexpr char kToolPropertyForcedAbort[] = "ForcedAbort";

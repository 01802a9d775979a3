#pragma once

#include <functional>
#include <ostream>
#include <system_error>
#include <vector>

#include "tools/tool_event_queue.h"
#include "tools/tool_target.h"

class DiagDevice;
class ToolKeyboard;

namespace orvan_service {
class ToolListenerView;
}

// What a run needs of its tool. All of it outlives the run.
struct ToolRunRequest {
  ToolTarget target;
  orvan_service::ToolListenerView* listener = nullptr;  // appends to `queue`
  std::vector<DiagDevice*> devices;                     // not empty
  ToolEventQueue& queue;
  ToolEventContext& context;
  ToolKeyboard& keyboard;
  std::wostream& console;      // what it holds is shown before each wait
  bool keyBeforeLoop = false;  // one look at the keyboard before anything else
  // Draws the progress of the device that was started last. Whole seconds since then.
  std::function<void(double elapsedSeconds)> showProgress;
};

// No thread could be had for a run, and why. Nothing was run.
class ToolThreadError : public std::system_error {
 public:
  using std::system_error::system_error;
};

namespace tarvex {

// Runs the tool on a thread of its own, applies its events here as they come, and returns when it
// has finished and all are applied. Whenever no event waits, but at most every quarter of a second,
// it looks for Escape, which stops the tool (not while a forced abort does), and shows progress.
// What was printed is on the screen before it waits.
//
// An exception of the service's run is thrown here at the end. One that leaves an event stops the
// tool, is kept until the tool has stopped, and passes. Where no thread can be had nothing is run
// and ToolThreadError is thrown. Main thread.
void RunTool(const ToolRunRequest& request);

}  // namespace tarvex

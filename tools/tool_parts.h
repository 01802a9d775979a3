#pragma once

#include <concepts>
#include <string>
#include <vector>

#include "boundary/orvan_service_listeners.h"
#include "tools/tool_devices.h"
#include "tools/tool_event_queue.h"
#include "tools/tool_option_parser.h"

// What a tool brings for its ToolCommand. What a part lacks, the compiler names.

// The screens; a ToolView has them all. On the main thread, but for ShowScanning, which the spinner
// calls on its own thread while the devices are searched.
template <class View>
concept ToolScreens = requires(View& view, const std::vector<std::string>& keys, bool noEscape,
                               double elapsedSeconds) {
  view.ShowScanning();
  view.ShowHeader(noEscape);          // first; `noEscape`: no key ends what follows
  view.ShowWarnings(keys);            // of the command line; may be none
  view.ShowErrors(keys);              // of the command line, which is then not carried out
  view.ShowUsageHint();               // behind the errors
  view.ReportNoDevices(keys);         // in place of a run; `keys` are none
  view.ShowProgress(elapsedSeconds);  // whole seconds since the device that is worked on began
};

// The devices: made of the tool's target before anything else, and asked for those of the run once
// the tool's ToolRun has prepared them.
template <class Utils>
concept ToolUtilities =
    std::derived_from<Utils, ToolDevices> && std::constructible_from<Utils, const ToolTarget&>;

// The listener: turns reports of the service, on its threads, into events on the queue.
template <class Listener, class Utils>
concept ToolReports = std::derived_from<Listener, orvan_service::ToolListenerView> &&
    std::constructible_from<Listener, ToolEventQueue&, const Utils&>;

// The options: made for one line, and told whether the system is bootable.
template <class Parser, class Utils>
concept ToolOptions =
    std::derived_from<Parser, ToolOptionParser> && std::constructible_from<Parser, Utils&, bool>;

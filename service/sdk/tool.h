#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <stop_token>
#include <string>
#include <vector>

#include "service/sdk/device.h"
#include "service/sdk/run_state.h"

namespace orvan::sdk {

// The property whose first word names the operation of a run, and the word of a filtering run: one
// without a listener, in which the tool looks at all devices of its module and withdraws those that
// are not for it.
inline constexpr char kToolOperation[] = "Operation";
inline constexpr char kToolOperationFilter[] = "filterDevices";

// What a running tool may touch. The tool's own thread.
class ToolContext {
 public:
  virtual ~ToolContext() = default;
  virtual bool HasListener() const = 0;
  // The devices of the run; none in a filtering run.
  virtual const std::vector<const Device*>& Devices() const = 0;
  // What a filtering run may withdraw: the devices that the module's last scan found. None in any
  // other run.
  virtual const std::vector<const Device*>& Candidates() const = 0;
  virtual void SetProperty(const std::string& key, const std::vector<std::string>& values) = 0;
  virtual std::vector<std::string> GetProperty(const std::string& key) const = 0;
  // Calls the listener's handler of that event; false when there is none. A handler that throws
  // ends the run: stop is requested, no event is delivered any more, and the exception passes to
  // the caller of the run once the tool has returned.
  virtual bool Fire(const std::string& event) = 0;
  // Takes one of Candidates out of the module's devices until its next scan, so that nobody lists
  // it or works on it. Does nothing outside a filtering run.
  virtual void Withdraw(const Device& device) = 0;
  virtual std::stop_token StopToken() const = 0;
  // Why the stop token is set; kNone as long as it is not.
  virtual StopReason WhyStop() const { return StopReason::kNone; }
  // The bits of the system events that the service was told of and nobody has cleared since.
  virtual std::uint32_t SystemEvents() const { return 0; }
  // A line of the log. What a module's tool has for it beyond 16 MiB in one run is left out, and the
  // log says so.
  virtual void Log(LogLevel /*level*/, const std::string& /*text*/) {}
  // The run did not do what it was asked for: why, as plain text for the log. The last one counts.
  // What a user sees, the tool tells its listener.
  virtual void Fail(const std::string& /*reason*/) {}
};

// A tool of a module.
struct ToolRecord {
  std::string name;                              // key, e.g. "recover_bad_sectors"
  std::string description;                       // message key
  std::string hint;                              // the word that the command line names
  std::function<bool(const Device&)> appliesTo;  // none: every device
  // An exception of its own ends the run, leaves a line in the log, and passes with its text to the
  // caller of the run, which ends the program: what a tool can tell, it tells its listener.
  std::function<void(ToolContext&)> run;
  // Whether `run` may write to a device. A run with a listener is not begun any more once the end
  // of the program, or a forced abort, was asked for: the service itself reports that the operation
  // began and that each device was canceled, in the words of the tool that recovers bad sectors
  // ("OnDeviceFinish" with status 8, no sector read). None of the module's code is called, so there
  // is nothing that a module has to do about it.
  bool mayWrite = false;
  // Reports such a run in the service's place, for a tool that has words of its own. It writes to
  // no device.
  std::function<void(ToolContext&)> reportCanceled = {};
};

}  // namespace orvan::sdk

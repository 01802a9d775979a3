#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/core/call_observer.h"
#include "service/sdk/module.h"

namespace orvan::log {
class ServiceLog;
}  // namespace orvan::log

namespace orvan::core {

// A module and the way to end it: what a plug-in made, the plug-in ends.
using ModulePointer = std::unique_ptr<sdk::Module, void (*)(sdk::Module*)>;

struct LoadedModule {
  ModulePointer module;
  std::string origin;  // where it came from, for the log: a plug-in's path, a place in a file
};

// Where the service's modules come from, and the rules that go with that place.
class ModuleSource {
 public:
  virtual ~ModuleSource() = default;
  // Called once, on the service thread. No value: LoadModules returns null.
  virtual std::optional<std::vector<LoadedModule>> Load(log::ServiceLog& log) = 0;
  // Ends what the modules have going, for the service is over; never waits.
  virtual void Close() {}
  // Throws FailedToVisitLocalCache when the settings name a cache folder that cannot be used.
  virtual void CheckSettings(const OrvanSettings& settings) const = 0;
  // Throws InvalidAppKey when the caller's key is none.
  virtual void CheckCaller(const CallerInfo& caller) const = 0;
  // The final result code; no value: the service makes it.
  virtual std::optional<std::string> FinalResultCode() const { return std::nullopt; }
  // What the end of a run without a device reports; no value: the service makes it.
  virtual std::optional<std::string> PseudoDeviceResult() const { return std::nullopt; }
  // True when tests say what a script says: parameters, applicability and percents pass unchecked.
  virtual bool IsScripted() const { return false; }
  // False when the hardware is a script's or a recording's: what is found says nothing of this
  // machine.
  virtual bool IsOfThisMachine() const { return true; }
  // Lives as long as the source.
  virtual CallObserver& Observer() { return noObserver_; }

 private:
  CallObserver noObserver_;
};

}  // namespace orvan::core

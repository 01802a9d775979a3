#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "service/sdk/device.h"

namespace orvan::sdk {

// What a running tool may touch. The tool's own thread.
class ToolContext {
 public:
  virtual ~ToolContext() = default;
  virtual bool HasListener() const = 0;
  virtual const std::vector<const Device*>& Devices() const = 0;
  virtual void SetProperty(const std::string& key, const std::vector<std::string>& values) = 0;
  virtual std::vector<std::string> GetProperty(const std::string& key) const = 0;
  // Calls the listener's handler of that event; false when there is none.
  virtual bool Fire(const std::string& event) = 0;
  virtual std::stop_token StopToken() const = 0;
};

// A tool of a module.
struct ToolRecord {
  std::string name;                              // key, e.g. "recover_bad_sectors"
  std::string description;                       // message key
  std::string hint;                              // the word that the command line names
  std::function<bool(const Device&)> appliesTo;  // none: every device
  std::function<void(ToolContext&)> run;
};

}  // namespace orvan::sdk

#pragma once

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "service/sdk/module.h"

namespace selftest {

// Sleeps until it is to stop.
inline void WaitForStop(const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any changed;
  std::unique_lock lock(mutex);
  changed.wait(lock, stop, [] { return false; });
}

// Reads the first sector of a file through the machine, which hangs, and leaves it behind.
void LeaveCallBehind(orvan::sdk::Machine& machine, const std::string& file);

// The tests that a module may have, and those that ask their context or `machine` for much.
std::vector<orvan::sdk::TestRecord> WellBehavedTests(orvan::sdk::Machine* machine,
                                                     const std::string& file);
// The tool's own words of the setting "selftest/tool"; false for a word that is none. A deed behind
// "in-device-" is committed once a repair of the first device has begun.
bool RunTool(const std::string& word, orvan::sdk::ToolContext& context);

}  // namespace selftest

#pragma once

#include <cstdint>
#include <string>

#include "service/remote/worker_host.h"
#include "service/sdk/tool.h"

namespace orvan::remote {

// A row of a module's tools: its place, and the name that has to be there.
struct ToolName {
  std::uint32_t row = 0;
  std::string name;
  bool mayWrite = false;
  bool reportsCanceled = false;  // it has words of its own for that
};

// Runs the tool, or what reports it canceled, in the module's worker. Throws std::runtime_error
// with what the tool threw. A tool that did not begin, or whose worker had to be given up, has
// failed: its listener is told how each device ended, and where nobody can be told in the tool's
// words, who sits before the program is. A filtering run that failed withdraws all devices. A tool
// whose stop is set before it begins is only reported canceled.
void RunToolRemotely(WorkerHost& host, const ToolName& tool, bool reportsCanceled,
                     sdk::ToolContext& context);

}  // namespace orvan::remote

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
};

// Runs the tool, or what reports it canceled, in the module's worker. Throws std::runtime_error
// with what the tool threw, and with what became of a worker that had to be given up. A tool that
// does not end in time when it is to stop ends with its worker, and has failed.
void RunToolRemotely(WorkerHost& host, const ToolName& tool, bool reportsCanceled,
                     sdk::ToolContext& context);

}  // namespace orvan::remote

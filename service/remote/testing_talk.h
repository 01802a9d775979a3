#pragma once

#include <string>

#include "service/protocol/to_worker.h"
#include "service/remote/worker_host.h"
#include "service/sdk/context.h"
#include "service/sdk/verdict.h"

namespace orvan::remote {

// Runs the test of that row in the module's worker. What the worker's end makes of the test is
// invalid, a test that does not end in time when it is to stop is canceled, and what the test
// threw is thrown here, as a std::runtime_error with its text.
sdk::Verdict RunTestRemotely(WorkerHost& host, const protocol::RowName& row,
                             const std::string& title, sdk::TestContext& context);

}  // namespace orvan::remote

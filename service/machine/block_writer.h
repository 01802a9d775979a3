#pragma once

#include <atomic>
#include <memory>
#include <stop_token>

#include "service/machine/apart_calls.h"
#include "service/sdk/block_writer.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

// True as long as the row that may write runs.
using WriteGrant = std::shared_ptr<const std::atomic<bool>>;

// Opens a device of this machine for writing, once nobody uses it. Touches it only then. The writer
// does nothing more once the grant has ended. `calls` outlives it.
sdk::OpenedWriter OpenBlockWriter(ApartCalls& calls, std::shared_ptr<const sdk::MachineFiles> files,
                                  WriteGrant grant, const sdk::BlockWriterOptions& options,
                                  std::stop_token stop);

}  // namespace orvan::machine

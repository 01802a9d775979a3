#pragma once

#include <stop_token>

#include "service/machine/apart_calls.h"
#include "service/sdk/block_writer.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

// Opens a device of this machine for writing, once nobody uses it. Touches it only then. `calls`
// outlives the writer.
sdk::OpenedWriter OpenBlockWriter(ApartCalls& calls, std::shared_ptr<const sdk::MachineFiles> files,
                                  const sdk::BlockWriterOptions& options, std::stop_token stop);

}  // namespace orvan::machine

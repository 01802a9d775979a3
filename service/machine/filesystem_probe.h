#pragma once

#include <chrono>
#include <memory>

#include "service/machine/apart_calls.h"
#include "service/sdk/filesystem_probe.h"

namespace orvan::machine {

// The live probe. `calls` outlives it.
std::unique_ptr<sdk::FilesystemProbe> MakeFilesystemProbe(ApartCalls& calls,
                                                          std::chrono::milliseconds budget);

}  // namespace orvan::machine

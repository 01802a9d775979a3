#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "service/sdk/filesystem_probe.h"

namespace orvan::machine {

using sdk::FilesystemFacts;
using sdk::FilesystemProbe;

// The live probe, through the helper program at `helperPath`. After one probe ran into the limit
// the helper is given up and the next probe starts another. Once all probes together took `budget`,
// the rest is answered with none and touches no device.
std::unique_ptr<FilesystemProbe> MakeFilesystemProbe(std::string helperPath,
                                                     std::chrono::milliseconds limit,
                                                     std::chrono::milliseconds budget);

}  // namespace orvan::machine

#pragma once

#include <string>

#include "service/sdk/filesystem_probe.h"

namespace orvan::machine {

// Looks at a device and at a mounted file system; each may be empty. May hang.
sdk::FilesystemFacts LookAt(const std::string& device, const std::string& mountPoint);

}  // namespace orvan::machine

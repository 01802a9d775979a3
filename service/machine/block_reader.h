#pragma once

#include <stop_token>
#include <string>

#include "service/sdk/block_reader.h"

namespace orvan::machine {

using sdk::BlockGeometry;
using sdk::BlockRead;
using sdk::BlockReader;
using sdk::BlockReaderFactory;
using sdk::BlockReaderOptions;
using sdk::BlockReadResult;
using sdk::DeviceNumber;
using sdk::kLargestReadBytes;
using sdk::kMostReadsInFlight;
using sdk::kMostReadsQueued;
using sdk::OpenedReader;
using sdk::OpenFailure;
using sdk::ReaderState;
using sdk::ReadOutcome;

// Opens a device through the helper program `helperPath`. A transfer that hangs can neither be
// canceled nor left behind by the process that owns it, so reading happens in a process of its
// own, which is killed and forgotten when it hangs. The device is opened read-only and never
// written to.
OpenedReader OpenBlockReader(const std::string& helperPath, const BlockReaderOptions& options,
                             std::stop_token stop);

}  // namespace orvan::machine

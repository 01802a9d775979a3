#pragma once

#include <memory>
#include <stop_token>

#include "service/machine/apart_calls.h"
#include "service/sdk/block_reader.h"

namespace orvan::machine {

// Opens a device of this machine, for reading only. A transfer that hangs can neither be canceled
// nor freed of its memory, so a thread apart reads, and is left behind when it hangs.
sdk::OpenedReader OpenBlockReader(ApartCalls& calls, std::shared_ptr<LeftBehindCount> leftBehind,
                                  const sdk::BlockReaderOptions& options, std::stop_token stop);

}  // namespace orvan::machine

#pragma once

#include <string>

#include "service/protocol/to_worker.h"

namespace orvan::worker {

// Ends the process at once when its parent dies. First of all; the main thread.
void EndWithParent();

// Takes from the process all rights but those that the module's work needs. Before there is
// another thread and before any of the module's code. Empty, or the reason why it has more.
std::string Confine(const protocol::Hello& hello);

}  // namespace orvan::worker

#pragma once

#include <cstddef>

#include "service/sdk/machine_memory.h"

namespace orvan::machine {

// Memory of this process that is filled with pages at once and never paged out. EINVAL for none.
sdk::LockedMemoryResult LockPages(std::size_t bytes);

}  // namespace orvan::machine

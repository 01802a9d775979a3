#pragma once

#include <stop_token>
#include <vector>

#include "service/modules/storage/partitions.h"
#include "service/sdk/machine.h"

namespace orvan::storage {

// Looks at what only the media and the mounted file systems of a search's disks tell. The disk that
// took the least time so far has the next turn, and no first look may take from the others what is
// theirs, so a disk that answers late, or has many partitions, costs the others nothing; all
// together are given up after a bounded time, and so is each disk that did not answer a look.
void ProbeInTurns(sdk::Machine& machine, const std::vector<PartitionSearch*>& searches,
                  std::stop_token stop);

}  // namespace orvan::storage

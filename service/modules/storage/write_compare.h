#pragma once

#include "service/modules/storage/read_run.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {

struct WriteValues : RangeValues {
  std::uint64_t destructive = 0;  // 1: all data on the disk may be lost
  std::uint64_t overwrite = 0;    // 1: data that no signature names, too
  std::uint64_t passes = 0;
  std::uint64_t seed = 0;  // 0: another one each time
};

// Writes to the disk, reads back and compares. Only a disk that nobody uses, on which neither a
// partition nor a signature is, is written, and only when `destructive` says so.
sdk::TestWork WriteCompare(const ReadEnvironment& environment, const WriteValues& defaults);

}  // namespace orvan::storage

#pragma once

#include "service/modules/storage/read_run.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {

// The read tests, each with a file of its own and the values that it takes.

struct FunnelValues : RangeValues {
  std::uint64_t blocks = 0;
};
sdk::TestWork FunnelRead(const ReadEnvironment& environment, const FunnelValues& defaults);

struct RandomValues : RangeValues {
  std::uint64_t blocks = 0;
  std::uint64_t seed = 0;  // 0: another one each time
};
sdk::TestWork RandomRead(const ReadEnvironment& environment, const RandomValues& defaults);

sdk::TestWork LinearRead(const ReadEnvironment& environment, const RangeValues& defaults);

}  // namespace orvan::storage

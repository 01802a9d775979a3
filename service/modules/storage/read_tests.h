#pragma once

#include "service/modules/storage/read_run.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {

// The read tests, each with a file of its own and the values that it takes.

struct FunnelValues : ReadValues {
  std::uint64_t blocks = 0;
};
sdk::TestWork FunnelRead(const ReadEnvironment& environment, const FunnelValues& defaults);

struct RandomValues : ReadValues {
  std::uint64_t blocks = 0;
  std::uint64_t seed = 0;  // 0: another one each time
};
sdk::TestWork RandomRead(const ReadEnvironment& environment, const RandomValues& defaults);

struct PerformanceValues : ReadValues {
  std::uint64_t spotMib = 0;    // read in a row at each of the places
  std::uint64_t reads = 0;      // random ones, of which the times are taken
  std::uint64_t leastMibs = 0;  // MiB/s; 0: none
};
sdk::TestWork PerformanceRead(const ReadEnvironment& environment,
                              const PerformanceValues& defaults);

sdk::TestWork LinearRead(const ReadEnvironment& environment, const ReadValues& defaults);

}  // namespace orvan::storage

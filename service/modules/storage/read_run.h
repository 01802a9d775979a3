#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "service/machine/block_reader.h"
#include "service/modules/storage/block_order.h"
#include "service/sdk/module.h"

namespace orvan::storage {

// How the tests of this module reach disks.
struct ReadEnvironment {
  machine::BlockReaderFactory openReader;
  std::chrono::seconds timeLimit{30};
};

// The values of one run, after defaults.
struct ReadParameters {
  std::uint64_t blocks = 0;  // 0: all
  std::uint64_t blockBytes = 0;
  std::chrono::seconds seconds{0};
  std::uint64_t firstLba = 0;
  std::uint64_t lastLba = 0;  // 0: the end of the disk
  std::uint64_t seed = 0;     // 0: another one each time
};

// What sets one read test apart from the others.
struct ReadStyle {
  std::uint32_t mostInFlight = 1;
  // Blocks handed over beyond those. Those are read even when the time is up, so tests with a time
  // cap take few.
  std::uint32_t queued = 1;
  bool promisesAll = false;
  std::function<BlockOrder(std::uint64_t totalBlocks, const ReadParameters&)> order;
  // Said at the start; none: nothing.
  std::function<std::string(const ReadParameters&)> opening;
};

// At most so many bytes are in flight at the disk.
inline constexpr std::uint64_t kMostBytesInFlight = 4U << 20;

// Runs one read test on the disk of the context, with the defaults that `specs` tells.
sdk::Verdict RunReadTest(sdk::TestContext& context, const ReadEnvironment& environment,
                         const ReadStyle& style, const std::vector<sdk::ParameterSpec>& specs);

}  // namespace orvan::storage

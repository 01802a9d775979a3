#include "service/modules/storage/read_tests.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {

const ReadStyle& RandomRead() {
  static const ReadStyle style{
      .mostInFlight = 8,
      .queued = 8,
      .promisesAll = false,
      .order =
          [](std::uint64_t totalBlocks, const ReadParameters& parameters) {
            return RandomOrder(totalBlocks, parameters.blocks, parameters.seed);
          },
      .opening = [](const ReadParameters& parameters) { return words::SeedKey(parameters.seed); }};
  return style;
}

}  // namespace orvan::storage

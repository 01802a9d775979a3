#include "service/modules/storage/read_tests.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {

const ReadStyle& RandomRead() {
  static const ReadStyle style{
      8, false,
      [](std::uint64_t totalBlocks, const ReadParameters& parameters) {
        return RandomOrder(totalBlocks, parameters.blocks, parameters.seed);
      },
      [](const ReadParameters& parameters) { return words::SeedKey(parameters.seed); }};
  return style;
}

}  // namespace orvan::storage

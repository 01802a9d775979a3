#include "service/modules/storage/read_tests.h"

namespace orvan::storage {

// One block at a time, so that neither the kernel nor the drive puts the jumps into another order.
const ReadStyle& FunnelRead() {
  static const ReadStyle style{1, false,
                               [](std::uint64_t totalBlocks, const ReadParameters& parameters) {
                                 return FunnelOrder(totalBlocks, parameters.blocks);
                               },
                               nullptr};
  return style;
}

}  // namespace orvan::storage

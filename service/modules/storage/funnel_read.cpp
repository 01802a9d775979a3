#include "service/modules/storage/read_tests.h"

namespace orvan::storage {
namespace {

constexpr auto kNumbers = sdk::NumbersOf<FunnelValues>(BlocksNumber<FunnelValues>(), kBlockKib,
                                                       kSeconds, kFirstLba, kLastLba, kSlowMs);

// One block at a time, so that neither the kernel nor the drive puts the jumps into another order.
class Funnel final : public ReadStyle {
 public:
  explicit Funnel(const FunnelValues& values) : blocks_(values.blocks) {}
  BlockOrder Order(std::uint64_t totalBlocks) override { return FunnelOrder(totalBlocks, blocks_); }

 private:
  std::uint64_t blocks_;
};

}  // namespace

sdk::TestWork FunnelRead(const ReadEnvironment& environment, const FunnelValues& defaults) {
  return MakeReadTest<Funnel>(kNumbers, environment, defaults);
}

}  // namespace orvan::storage

#include "service/modules/storage/read_tests.h"

namespace orvan::storage {
namespace {

constexpr auto kNumbers = sdk::NumbersOf<RangeValues>(kBlockKib, kSeconds, kFirstLba, kLastLba);

class Linear final : public ReadStyle {
 public:
  explicit Linear(const RangeValues& /*values*/) {}
  Pace PaceOfReads() const override { return {16, 48}; }
  BlockOrder Order(std::uint64_t totalBlocks) override { return LinearOrder(totalBlocks); }
  bool PromisesAll() const override { return true; }
};

}  // namespace

sdk::TestWork LinearRead(const ReadEnvironment& environment, const RangeValues& defaults) {
  return MakeReadTest<Linear>(kNumbers, environment, defaults);
}

}  // namespace orvan::storage

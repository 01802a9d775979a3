#include "service/modules/storage/read_tests.h"
#include "service/modules/storage/surface_rates.h"

namespace orvan::storage {
namespace {

constexpr auto kNumbers =
    sdk::NumbersOf<ReadValues>(kBlockKib, kSeconds, kFirstLba, kLastLba, kSlowMs);

class Linear final : public ReadStyle {
 public:
  explicit Linear(const ReadValues& /*values*/) {}
  Pace PaceOfReads() const override { return {16, 48}; }
  BlockOrder Order(std::uint64_t totalBlocks) override {
    rates_ = SurfaceRates(totalBlocks);
    return LinearOrder(totalBlocks);
  }
  bool PromisesAll() const override { return true; }
  void OnAnswer(const BlockAnswer& answer) override { rates_.Add(answer); }
  void Conclude(sdk::TestContext& context, const SurfaceResult& /*result*/,
                sdk::Verdict& /*verdict*/) override {
    context.MeasureSeries(rates_.Series("read-rate-over-surface"));
  }

 private:
  SurfaceRates rates_{0};
};

}  // namespace

sdk::TestWork LinearRead(const ReadEnvironment& environment, const ReadValues& defaults) {
  return MakeReadTest<Linear>(kNumbers, environment, defaults);
}

}  // namespace orvan::storage

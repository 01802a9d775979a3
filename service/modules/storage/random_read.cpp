#include "service/modules/storage/latencies.h"
#include "service/modules/storage/read_tests.h"

namespace orvan::storage {
namespace {

constexpr auto kNumbers = sdk::NumbersOf<RandomValues>(
    BlocksNumber<RandomValues>(), kBlockKib, kSeconds, kFirstLba, kLastLba, kSlowMs,
    sdk::Number{"seed", "SEED", "|SEED_OF_THE_RANDOM_ORDER,_0:_ANOTHER_ONE_EACH_TIME", 0,
                kGreatestLba, &RandomValues::seed});

std::uint64_t NewSeed(sdk::Machine& machine) {
  return (machine.Chance() & 0x7FFFFFFF) + 1;
}

class Random final : public ReadStyle {
 public:
  explicit Random(const RandomValues& values) : blocks_(values.blocks), seed_(values.seed) {}
  Pace PaceOfReads() const override { return {8, 8}; }
  BlockOrder Order(std::uint64_t totalBlocks) override {
    return RandomOrder(totalBlocks, blocks_, seed_);
  }
  std::string Opening() const override {
    return "|READING_IN_RANDOM_ORDER_WITH_SEED_" + std::to_string(seed_);
  }
  void OnAnswer(const BlockAnswer& answer) override { times_.Add(answer.took); }
  void Conclude(sdk::TestContext& context, const SurfaceResult& /*result*/,
                sdk::Verdict& verdict) override {
    context.MeasureSeries(times_.Series("answer-times"));
    verdict.found += ", seed " + std::to_string(seed_);
  }

 private:
  std::uint64_t blocks_;
  std::uint64_t seed_;
  LatencyHistogram times_;
};

}  // namespace

sdk::TestWork RandomRead(const ReadEnvironment& environment, const RandomValues& defaults) {
  return sdk::WorkOf(kNumbers, defaults,
                     [environment](sdk::TestContext& context, RandomValues values) {
                       if (values.seed == 0) values.seed = NewSeed(*environment.machine);
                       Random style(values);
                       return RunReadTest(context, environment, values, style);
                     });
}

}  // namespace orvan::storage

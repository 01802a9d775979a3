#include "service/modules/storage/read_run.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/read_test_support.h"

namespace orvan::storage {
namespace {

// A read test with a parameter, a count, a measurement and a say in the verdict, all of its own.
struct SlowValues : RangeValues {
  std::uint64_t slowMs = 0;
};

constexpr auto kNumbers = sdk::NumbersOf<SlowValues>(
    kBlockKib, kSeconds, kFirstLba, kLastLba,
    sdk::Number{"slow_ms", "SLOW_ANSWER_MS", "|COUNT_ANSWERS_SLOWER_THAN_THIS", 0, 60000,
                &SlowValues::slowMs});

class Slow final : public ReadStyle {
 public:
  explicit Slow(const SlowValues& values) : slow_(values.slowMs) {}
  BlockOrder Order(std::uint64_t totalBlocks) override { return LinearOrder(totalBlocks); }
  void OnAnswer(const BlockAnswer& answer) override { count_ += answer.took > slow_ ? 1 : 0; }
  void Conclude(sdk::TestContext& context, const SurfaceResult& /*result*/,
                sdk::Verdict& verdict) override {
    context.Measure({"slow-answers", count_, "", {{sdk::Limit::Kind::kEqual, 0}}});
    if (verdict.status == kTestPassed && count_ > 0) {
      verdict = sdk::Verdict::Warning("|SLOW_ANSWERS");
    }
  }

 private:
  std::chrono::milliseconds slow_;
  double count_ = 0;
};

sdk::Verdict RunSlow(ReadBench& bench, sdk::ParameterValues parameters) {
  const SlowValues defaults{{.blockKib = 64, .lastLba = 1023}, 60000};
  return bench.Run(MakeReadTest<Slow>(kNumbers, bench.environment, defaults).run,
                   std::move(parameters));
}

TEST(ReadStyle, BringsItsOwnParameterCountMeasurementAndVerdict) {
  ReadBench bench;
  const sdk::Verdict verdict = RunSlow(bench, {{"slow_ms", "0"}});
  EXPECT_EQ(verdict.status, kTestWarning);
  const sdk::Measurement& slow = bench.context->Measured("slow-answers");
  EXPECT_EQ(slow.value, 8);  // blocks of 64 KiB in 1024 sectors
  EXPECT_EQ(slow.limits.size(), 1U);
  EXPECT_EQ(bench.context->Measured("bytes-read").value, 1024 * 512);
}

TEST(ReadStyle, HearsHowLongEachAnswerTook) {
  ReadBench bench;
  bench.eachLook = std::chrono::milliseconds(400);
  EXPECT_EQ(RunSlow(bench, {{"slow_ms", "300"}}).status, kTestWarning);
  EXPECT_EQ(bench.context->Measured("slow-answers").value, 8);
}

TEST(ReadStyle, IsMadeAnewForEachRun) {
  ReadBench bench;
  RunSlow(bench, {{"slow_ms", "0"}});
  EXPECT_EQ(RunSlow(bench, {}).status, kTestPassed);
  EXPECT_EQ(bench.context->Measured("slow-answers").value, 0);
}

TEST(ReadStyle, IsAskedForItsVerdictAfterThatOfEveryReadTest) {
  machine::DiskFaults faults;
  faults.badSectors = {{5, EIO}};
  ReadBench bench(faults);
  EXPECT_EQ(RunSlow(bench, {{"slow_ms", "0"}}).status, kTestFailed);
  EXPECT_EQ(bench.context->Measured("slow-answers").value, 8);
}

}  // namespace
}  // namespace orvan::storage

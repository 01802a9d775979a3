#include "service/modules/storage/read_run.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/read_test_support.h"

namespace orvan::storage {
namespace {

// A read test with a parameter, a count, a measurement and a say in the verdict, all of its own.
struct LateValues : ReadValues {
  std::uint64_t lateMs = 0;
};

constexpr auto kNumbers = sdk::NumbersOf<LateValues>(
    kBlockKib, kSeconds, kFirstLba, kLastLba, kSlowMs,
    sdk::Number{"late_ms", "LATE_ANSWER_MS", "|COUNT_ANSWERS_LATER_THAN_THIS", 0, 60000,
                &LateValues::lateMs});

class Late final : public ReadStyle {
 public:
  explicit Late(const LateValues& values) : late_(values.lateMs) {}
  BlockOrder Order(std::uint64_t totalBlocks) override { return LinearOrder(totalBlocks); }
  void OnAnswer(const BlockAnswer& answer) override { count_ += answer.took > late_ ? 1 : 0; }
  void Conclude(sdk::TestContext& context, const SurfaceResult& /*result*/,
                sdk::Verdict& verdict) override {
    context.Measure({"late-answers", count_, "", {{sdk::Limit::Kind::kEqual, 0}}});
    if (verdict.status == kTestPassed && count_ > 0) {
      verdict = sdk::Verdict::Warning("|LATE_ANSWERS");
    }
  }

 private:
  std::chrono::milliseconds late_;
  double count_ = 0;
};

sdk::Verdict RunLate(ReadBench& bench, sdk::ParameterValues parameters) {
  const LateValues defaults{{{.blockKib = 64, .lastLba = 1023}}, 60000};
  return bench.Run(MakeReadTest<Late>(kNumbers, bench.environment, defaults).run,
                   std::move(parameters));
}

TEST(ReadStyle, BringsItsOwnParameterCountMeasurementAndVerdict) {
  ReadBench bench;
  const sdk::Verdict verdict = RunLate(bench, {{"late_ms", "0"}});
  EXPECT_EQ(verdict.status, kTestWarning);
  const sdk::Measurement& late = bench.context->Measured("late-answers");
  EXPECT_EQ(late.value, 8);  // blocks of 64 KiB in 1024 sectors
  EXPECT_EQ(late.limits.size(), 1U);
  EXPECT_EQ(bench.context->Measured("bytes-read").value, 1024 * 512);
}

TEST(ReadStyle, HearsHowLongEachAnswerTook) {
  ReadBench bench;
  bench.eachLook = std::chrono::milliseconds(400);
  EXPECT_EQ(RunLate(bench, {{"late_ms", "300"}}).status, kTestWarning);
  EXPECT_EQ(bench.context->Measured("late-answers").value, 8);
}

TEST(ReadStyle, IsMadeAnewForEachRun) {
  ReadBench bench;
  RunLate(bench, {{"late_ms", "0"}});
  EXPECT_EQ(RunLate(bench, {}).status, kTestPassed);
  EXPECT_EQ(bench.context->Measured("late-answers").value, 0);
}

TEST(ReadStyle, IsAskedForItsVerdictAfterThatOfEveryReadTest) {
  machine::DiskFaults faults;
  faults.badSectors = {{5, EIO}};
  ReadBench bench(faults);
  EXPECT_EQ(RunLate(bench, {{"late_ms", "0"}}).status, kTestFailed);
  EXPECT_EQ(bench.context->Measured("late-answers").value, 8);
}

}  // namespace
}  // namespace orvan::storage

#include <algorithm>
#include <memory>

#include "service/modules/storage/latencies.h"
#include "service/modules/storage/read_tests.h"
#include "service/modules/storage/speed_shape.h"
#include "service/modules/storage/spot_rates.h"

namespace orvan::storage {
namespace {

using sdk::Verdict;

constexpr auto kNumbers = sdk::NumbersOf<PerformanceValues>(
    kBlockKib, kSeconds, kFirstLba, kLastLba, kSlowMs,
    sdk::Number{"spot_mib", "SPOT_SIZE_MIB", "|SIZE_IN_|MI|B_THAT_IS_READ_IN_A_ROW_AT_EACH_PLACE",
                1, 1024, &PerformanceValues::spotMib},
    sdk::Number{"reads", "RANDOM_READS", "|NUMBER_OF_RANDOM_READS_WHOSE_TIMES_ARE_TAKEN", 1, 65536,
                &PerformanceValues::reads},
    sdk::Number{"least_mibs", "LEAST_MIB_PER_SECOND", "|WARN_OF_LESS_|MI|B/S,_0:_OF_NONE", 0,
                1000000, &PerformanceValues::leastMibs});

// The unit of most file systems; where sectors are larger one of them is read.
constexpr std::uint64_t kRandomBlockBytes = 4096;

// A part of the test: its progress is one of the whole, and its measurements and series have a name
// before theirs.
class PartContext final : public sdk::TestContext {
 public:
  PartContext(sdk::TestContext& whole, int from, int to, std::string name)
      : whole_(whole), from_(from), to_(to), name_(std::move(name)) {}
  const sdk::Device* TestedDevice() const override { return whole_.TestedDevice(); }
  const sdk::ParameterValues& Parameters() const override { return whole_.Parameters(); }
  std::stop_token StopToken() const override { return whole_.StopToken(); }
  void Report(int percent, const std::string& message) override {
    whole_.Report(from_ + percent * (to_ - from_) / 100, message);
  }
  void Measure(const sdk::Measurement& measurement) override {
    sdk::Measurement named = measurement;
    named.name.insert(0, name_);
    whole_.Measure(named);
  }
  void MeasureSeries(const sdk::MeasurementSeries& series) override {
    sdk::MeasurementSeries named = series;
    named.name.insert(0, name_);
    whole_.MeasureSeries(named);
  }
  void Log(sdk::LogLevel level, const std::string& text) override { whole_.Log(level, text); }
  sdk::StopReason WhyStop() const override { return whole_.WhyStop(); }
  std::uint32_t SystemEvents() const override { return whole_.SystemEvents(); }

 private:
  sdk::TestContext& whole_;
  int from_;
  int to_;
  std::string name_;
};

// Reads in a row at many places.
class Spots final : public ReadStyle {
 public:
  explicit Spots(const PerformanceValues& values) : values_(values) {}
  Pace PaceOfReads() const override { return {4, 4}; }
  BlockOrder Order(std::uint64_t totalBlocks) override {
    rates = std::make_unique<SpotRates>(
        totalBlocks, std::max<std::uint64_t>(values_.spotMib * 1024 / values_.blockKib, 1));
    return rates->Order();
  }
  void OnAnswer(const BlockAnswer& answer) override {
    sectorBytes = answer.bytes / answer.sectors;
    rates->Add(answer, values_.firstLba,
               static_cast<std::uint32_t>(values_.blockKib * 1024 / sectorBytes));
  }

  std::unique_ptr<SpotRates> rates;
  std::uint64_t sectorBytes = 0;  // once there was an answer

 private:
  const PerformanceValues values_;
};

// One read at a time, each somewhere else.
class Times final : public ReadStyle {
 public:
  Times(std::uint64_t reads, std::uint64_t seed) : reads_(reads), seed_(seed) {}
  BlockOrder Order(std::uint64_t totalBlocks) override {
    return RandomOrder(totalBlocks, reads_, seed_);
  }
  void OnAnswer(const BlockAnswer& answer) override {
    if (answer.outcome != sdk::ReadOutcome::kRead) return;
    times.push_back(answer.took);
    histogram.Add(answer.took);
  }

  Latencies times;
  LatencyHistogram histogram;

 private:
  std::uint64_t reads_;
  std::uint64_t seed_;
};

class Performance {
 public:
  Performance(sdk::TestContext& context, const ReadEnvironment& environment,
              const PerformanceValues& values)
      : context_(context), environment_(environment), values_(values), spots_(values) {}

  Verdict Run() {
    const auto* disk = dynamic_cast<const Disk*>(context_.TestedDevice());
    Verdict verdict = RunSpots(spots_, 0, 45, "");
    if (!IsJudged(verdict)) return verdict;
    verdict = Both(verdict, RunTimes());
    if (!IsJudged(verdict)) return verdict;
    std::string trouble = SpeedTrouble(disk->Facts(), Speed(), values_.leastMibs);
    if (!trouble.empty()) {
      // What slows a disk for a while is not the disk's: each place counts by its better rate.
      Spots again(values_);
      verdict = Both(verdict, RunSpots(again, 80, 100, "again-"));
      if (!IsJudged(verdict)) return verdict;
      spots_.rates->TakeBetter(*again.rates);
      trouble = SpeedTrouble(disk->Facts(), Speed(), values_.leastMibs);
    }
    Measure();
    if (!trouble.empty()) verdict = Both(Verdict::Warning(trouble), verdict);
    context_.Report(100);
    return verdict;
  }

 private:
  static bool IsJudged(const Verdict& verdict) {
    return verdict.status == kTestPassed || verdict.status == kTestWarning;
  }

  // The worse of two, with the words of both.
  static Verdict Both(const Verdict& first, const Verdict& second) {
    const auto joined = [](const std::string& one, const std::string& other, const char* mark) {
      return one + (one.empty() || other.empty() ? "" : mark) + other;
    };
    if (!IsJudged(second)) return second;
    Verdict both = first;
    if (second.status == kTestWarning) both.status = kTestWarning;
    both.message = joined(first.message, second.message, "._");
    both.found = joined(first.found, second.found, "; ");
    both.where = joined(first.where, second.where, "; ");
    return both;
  }

  Verdict RunSpots(Spots& spots, int from, int to, const char* name) {
    PartContext part(context_, from, to, name);
    return RunReadTest(part, environment_, values_, spots);
  }

  Verdict RunTimes() {
    ReadValues values = values_;
    values.blockKib = std::max(kRandomBlockBytes, spots_.sectorBytes) / 1024;
    Times times(values_.reads, environment_.machine->Chance());
    PartContext part(context_, 45, 80, "random-");
    Verdict verdict = RunReadTest(part, environment_, values, times);
    times_ = std::move(times.times);
    std::sort(times_.begin(), times_.end());
    context_.MeasureSeries(times.histogram.Series("random-read-times"));
    return verdict;
  }

  SpeedFacts Speed() const {
    const SpotRates& rates = *spots_.rates;
    return {rates.RateOf(SpotRates::kOuter), rates.RateOf(SpotRates::kMiddle),
            rates.RateOf(SpotRates::kInner), rates.Fastest(),
            times_.empty() ? std::chrono::nanoseconds{} : PercentileOf(times_, 500)};
  }

  void Measure() {
    const SpeedFacts speed = Speed();
    const auto rate = [this](const char* name, const std::optional<double>& value) {
      if (!value) return;
      sdk::Measurement measurement{name, *value, "B/s"};
      if (values_.leastMibs > 0) {
        measurement.limits = {
            {sdk::Limit::Kind::kGreaterThanOrEqual, static_cast<double>(values_.leastMibs << 20)}};
      }
      context_.Measure(measurement);
    };
    rate("outer-read-rate", speed.outer);
    rate("middle-read-rate", speed.middle);
    rate("inner-read-rate", speed.inner);
    if (speed.outer && speed.inner) {
      context_.Measure({"inner-to-outer", *speed.inner / *speed.outer, ""});
    }
    context_.MeasureSeries(spots_.rates->Series("read-rate-over-surface"));
    if (times_.empty()) return;
    const std::pair<const char*, std::uint32_t> percentiles[] = {{"random-read-median", 500},
                                                                 {"random-read-95-percent", 950},
                                                                 {"random-read-99-percent", 990},
                                                                 {"random-read-99.9-percent", 999},
                                                                 {"random-read-slowest", 1000}};
    for (const auto& [name, perMille] : percentiles) {
      context_.Measure(
          {name, std::chrono::duration<double>(PercentileOf(times_, perMille)).count(), "s"});
    }
  }

  sdk::TestContext& context_;
  const ReadEnvironment& environment_;
  const PerformanceValues& values_;
  Spots spots_;
  Latencies times_;  // sorted
};

}  // namespace

sdk::TestWork PerformanceRead(const ReadEnvironment& environment,
                              const PerformanceValues& defaults) {
  return sdk::WorkOf(kNumbers, defaults,
                     [environment](sdk::TestContext& context, const PerformanceValues& values) {
                       return Performance(context, environment, values).Run();
                     });
}

}  // namespace orvan::storage

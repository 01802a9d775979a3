#include "service/modules/storage/scsi/error_counters.h"

#include "service/modules/storage/scsi/log_page.h"

namespace orvan::storage::scsi {
namespace {

// The counters of a page, and what was wrong with any.
class Counters {
 public:
  explicit Counters(const LogParameters& parameters) : parameters_(parameters) {}

  std::optional<std::uint64_t> Of(std::uint16_t code) {
    const std::optional<Bytes> value = ValueOf(parameters_, code);
    if (!value) return {};
    const std::optional<std::uint64_t> counter = CounterOf(*value);
    if (!counter) trouble_ = "a counter has " + std::to_string(value->size()) + " bytes";
    hasAny_ |= counter.has_value();
    return counter;
  }

  std::string Trouble() const {
    return trouble_.empty() && !hasAny_ ? "the page has no counters" : trouble_;
  }

 private:
  const LogParameters& parameters_;
  std::string trouble_;
  bool hasAny_ = false;
};

}  // namespace

Decoded<ErrorCounters> DecodeErrorCounters(Bytes answer, std::uint8_t page) {
  const Decoded<LogParameters> log = DecodeLogPage(answer, page);
  if (!log.value) return Distrusted<ErrorCounters>(log.trouble);
  Counters counters(*log.value);
  ErrorCounters found;
  found.correctedAtOnce = counters.Of(0);
  found.correctedDelayed = counters.Of(1);
  found.repeated = counters.Of(2);
  found.corrected = counters.Of(3);
  found.correctionRuns = counters.Of(4);
  found.bytesProcessed = counters.Of(5);
  found.uncorrected = counters.Of(6);
  return {found, log.trouble.empty() ? counters.Trouble() : log.trouble};
}

Decoded<std::uint64_t> DecodeNonMediumErrors(Bytes answer) {
  const Decoded<LogParameters> log = DecodeLogPage(answer, kNonMediumErrorsPage);
  if (!log.value) return Distrusted<std::uint64_t>(log.trouble);
  const std::optional<Bytes> value = ValueOf(*log.value, 0);
  const std::optional<std::uint64_t> counter = value ? CounterOf(*value) : std::nullopt;
  if (!counter) return Distrusted<std::uint64_t>("the page has no counters");
  return {counter, log.trouble};
}

}  // namespace orvan::storage::scsi

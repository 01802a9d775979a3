#include "service/modules/storage/scsi/condition_pages.h"

#include <algorithm>

#include "service/modules/storage/scsi/log_page.h"

namespace orvan::storage::scsi {
namespace {

constexpr char kNoParameter[] = "the page has no parameter that tells it";

std::optional<std::uint8_t> TemperatureAt(std::optional<Bytes> value, std::size_t at) {
  constexpr std::uint8_t kNotTold = 0xFF;
  if (!value) return {};
  const auto degrees = BigIfThere<std::uint8_t>(*value, at);
  return degrees == kNotTold ? std::nullopt : degrees;
}

// Of a date only digits are one.
std::string DateDigits(Bytes value, std::size_t at, std::size_t size) {
  const Bytes part = Part(value, at, size);
  const bool isNumber = part.size() == size && std::all_of(part.begin(), part.end(), [](auto c) {
                          return c >= '0' && c <= '9';
                        });
  return isNumber && !IsAll(part, '0') ? DeviceText(part) : std::string();
}

std::optional<std::uint32_t> CountOf(const LogParameters& parameters, std::uint16_t code) {
  const std::optional<Bytes> value = ValueOf(parameters, code);
  return value ? BigIfThere<std::uint32_t>(*value, 0) : std::nullopt;
}

}  // namespace

Decoded<Temperatures> DecodeTemperatures(Bytes answer) {
  const Decoded<LogParameters> log = DecodeLogPage(answer, kTemperaturePage);
  if (!log.value) return Distrusted<Temperatures>(log.trouble);
  Temperatures found;
  found.now = TemperatureAt(ValueOf(*log.value, 0), 1);
  found.reference = TemperatureAt(ValueOf(*log.value, 1), 1);
  return {found, log.trouble};
}

Decoded<StartStopCounts> DecodeStartStopCounts(Bytes answer) {
  const Decoded<LogParameters> log = DecodeLogPage(answer, kStartStopPage);
  if (!log.value) return Distrusted<StartStopCounts>(log.trouble);
  StartStopCounts found;
  if (const std::optional<Bytes> date = ValueOf(*log.value, 1)) {
    found.yearMade = DateDigits(*date, 0, 4);
    found.weekMade = found.yearMade.empty() ? "" : DateDigits(*date, 4, 2);
  }
  found.startsExpected = CountOf(*log.value, 3);
  found.starts = CountOf(*log.value, 4);
  found.loadsExpected = CountOf(*log.value, 5);
  found.loads = CountOf(*log.value, 6);
  return {std::move(found), log.trouble};
}

Decoded<std::uint8_t> DecodePercentageUsed(Bytes answer) {
  constexpr std::uint16_t kEndurance = 1;
  const Decoded<LogParameters> log = DecodeLogPage(answer, kSolidStatePage);
  if (!log.value) return Distrusted<std::uint8_t>(log.trouble);
  const std::optional<Bytes> value = ValueOf(*log.value, kEndurance);
  const auto percent = value ? BigIfThere<std::uint8_t>(*value, 3) : std::nullopt;
  if (!percent) return Distrusted<std::uint8_t>(kNoParameter);
  return {percent, log.trouble};
}

Decoded<InformationalExceptions> DecodeInformationalExceptions(Bytes answer) {
  const Decoded<LogParameters> log = DecodeLogPage(answer, kExceptionsPage);
  if (!log.value) return Distrusted<InformationalExceptions>(log.trouble);
  const std::optional<Bytes> value = ValueOf(*log.value, 0);
  if (!value || value->size() < 2) return Distrusted<InformationalExceptions>(kNoParameter);
  InformationalExceptions found;
  found.code = (*value)[0];
  // Without a code the standard leaves open what stands there.
  found.qualifier = found.code == 0 ? std::uint8_t{0} : (*value)[1];
  found.temperature = TemperatureAt(value, 2);
  return {found, log.trouble};
}

}  // namespace orvan::storage::scsi

#include "service/modules/storage/nvme/health_log.h"

namespace orvan::storage::nvme {
namespace {

std::optional<std::uint16_t> KelvinAt(Bytes answer, std::size_t at) {
  const auto kelvin = Little<std::uint16_t>(answer, at);
  return kelvin == 0 ? std::nullopt : std::optional(kelvin);
}

// Both are said of a whole, so a number above 100 is none.
std::optional<std::uint8_t> PercentAt(Bytes answer, std::size_t at, std::string& trouble) {
  const std::uint8_t percent = answer[at];
  if (percent <= 100) return percent;
  trouble = "the available spare, or its threshold, is " + std::to_string(percent) + " percent";
  return {};
}

void ReadCounts(Bytes answer, HealthLog& log) {
  log.dataUnitsRead = WideAt(answer, 32);
  log.dataUnitsWritten = WideAt(answer, 48);
  log.hostReads = WideAt(answer, 64);
  log.hostWrites = WideAt(answer, 80);
  log.busyMinutes = WideAt(answer, 96);
  log.powerCycles = WideAt(answer, 112);
  log.powerOnHours = WideAt(answer, 128);
  log.unsafeShutdowns = WideAt(answer, 144);
  log.mediaErrors = WideAt(answer, 160);
  log.errorEntries = WideAt(answer, 176);
}

}  // namespace

Decoded<HealthLog> DecodeHealthLog(Bytes answer) {
  if (answer.size() < kHealthLogBytes) {
    return Distrusted<HealthLog>(ShortAnswer(answer.size(), kHealthLogBytes));
  }
  if (IsAll(answer, 0)) return Distrusted<HealthLog>("the answer is all zeros");
  if (IsAll(answer, 0xFF)) return Distrusted<HealthLog>("the answer is all ones");
  Decoded<HealthLog> found{HealthLog(), ""};
  HealthLog& log = *found.value;
  log.criticalWarning = answer[0];
  log.kelvin = KelvinAt(answer, 1);
  log.sparePercent = PercentAt(answer, 3, found.trouble);
  log.spareThresholdPercent = PercentAt(answer, 4, found.trouble);
  log.usedPercent = answer[5];
  log.enduranceGroupWarning = answer[6];
  ReadCounts(answer, log);
  log.warningMinutes = Little<std::uint32_t>(answer, 192);
  log.criticalMinutes = Little<std::uint32_t>(answer, 196);
  for (std::size_t i = 0; i < log.sensorKelvin.size(); ++i) {
    log.sensorKelvin[i] = KelvinAt(answer, 200 + 2 * i);
  }
  for (std::size_t i = 0; i < 2; ++i) {
    log.throttleCounts[i] = Little<std::uint32_t>(answer, 216 + 4 * i);
    log.throttleSeconds[i] = Little<std::uint32_t>(answer, 224 + 4 * i);
  }
  return found;
}

}  // namespace orvan::storage::nvme

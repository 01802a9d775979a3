#include "service/core/execution_record.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "service/core/guard.h"
#include "system/execution_tracker.h"
#include "system/outside_text.h"
#include "system/record_store_report.h"

namespace orvan::core {
namespace {

// Programs that read the records show them.
std::string Shown(const std::string& text) {
  return tarvex::WithoutSteering(text);
}

}  // namespace

std::string LocalTimeText(std::int64_t millisecondsSinceEpoch) {
  const std::chrono::milliseconds sinceEpoch(millisecondsSinceEpoch);
  const auto whole = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  const std::time_t seconds = whole.count();
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char day[48];
  char offset[16];
  std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &parts);
  const long minutes = std::labs(parts.tm_gmtoff) / 60;
  std::snprintf(offset, sizeof offset, "%c%02ld:%02ld", parts.tm_gmtoff < 0 ? '-' : '+',
                minutes / 60 % 24, minutes % 60);
  char fraction[16];
  std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>((sinceEpoch - whole).count()));
  return std::string(day) + fraction + offset;
}

std::string DurationText(std::chrono::duration<double> took) {
  const std::int64_t milliseconds = std::chrono::round<std::chrono::milliseconds>(took).count();
  char text[32];
  std::snprintf(text, sizeof text, "%lld.%03d", static_cast<long long>(milliseconds / 1000),
                static_cast<int>(milliseconds % 1000));
  return text;
}

void TrackFinishedTest(SystemExecutionTracker& tracker, const FinishedTest& test,
                       const sdk::Device* device, log::ServiceLog& log) {
  SystemExecutionRecord record;
  record.moduleName = Shown(test.moduleName);
  record.status = static_cast<std::int32_t>(test.status);
  record.testName = Shown(test.testName);
  record.startTimestamp = LocalTimeText(test.startMs);
  record.duration = DurationText(test.took);
  const std::string what = "execution record of " + test.testName;
  if (device != nullptr) {
    // A device that does not tell its name costs no record.
    Guarded(log, what, false, [&] {
      record.deviceUdi = Shown(device->UniqueId());
      record.deviceDisplayName = Shown(device->Information().name);
      return true;
    });
  }
  Guarded(log, what, false, [&] {
    tracker.Track(record);
    return true;
  });
}

void LogStoreNotes(tarvex::RecordStoreReport* store, log::ServiceLog& log) {
  if (store == nullptr) return;
  for (const std::string& note : store->TakeNotes()) {
    log.Text(log::LogSeverity::kWarning, note);
  }
}

}  // namespace orvan::core

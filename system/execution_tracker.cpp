#include "system/execution_tracker.h"

#include <array>
#include <cstddef>
#include <vector>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_cim.h"

namespace {

constexpr std::int32_t kNotApplicable = 3;

// The records' own words, by status. Status 2 reads differently on the console.
constexpr std::array kStatusWords = {"PASSED",   "FAILED",  "UNRECOGNIZED", "NOT_APPLICABLE",
                                     "CANCELED", "WARNING", "INVALID"};

std::string StatusWord(std::int32_t status) {
  const auto index = static_cast<std::size_t>(status);
  return status >= 0 && index < kStatusWords.size() ? kStatusWords[index] : "";
}

}  // namespace

void WindowsSystemExecutionTracker::Track(const SystemExecutionRecord& record) {
  if (record.status == kNotApplicable) return;
  const std::vector<std::string> keys = {"ModuleName",  "DeviceUdi",  "DeviceDisplayName",
                                         "TestName",    "TestStatus", "TestStartTimestamp",
                                         "TestDuration"};
  const std::vector<std::string> values = {
      record.moduleName,         record.deviceUdi,      record.deviceDisplayName, record.testName,
      StatusWord(record.status), record.startTimestamp, record.duration};
  get_cim()->WriteRecord(keys, values, record.moduleName, L"ROOT\\Tarvex\\Tarvex_Diagnostics");
}

int WindowsSystemExecutionTracker::Remove() {
  return get_cim()->RemoveNamespace("ROOT", "Tarvex", "Tarvex_Diagnostics");
}

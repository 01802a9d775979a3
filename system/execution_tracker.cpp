#include "system/execution_tracker.h"

#include <vector>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_cim.h"
#include "boundary/orvan_service_status.h"

namespace {

std::string StatusWord(TestStatus status) {
  const auto* row = tarvex::FindStatus(status);
  return row == nullptr ? "" : row->word;
}

}  // namespace

void WindowsSystemExecutionTracker::Track(const SystemExecutionRecord& record) {
  const auto status = static_cast<TestStatus>(record.status);
  if (status == kTestNotApplicable) return;
  const std::vector<std::string> keys = {"ModuleName",  "DeviceUdi",  "DeviceDisplayName",
                                         "TestName",    "TestStatus", "TestStartTimestamp",
                                         "TestDuration"};
  const std::vector<std::string> values = {
      record.moduleName,  record.deviceUdi,      record.deviceDisplayName, record.testName,
      StatusWord(status), record.startTimestamp, record.duration};
  get_cim()->WriteRecord(keys, values, record.moduleName, L"ROOT\\Tarvex\\Tarvex_Diagnostics");
}

int WindowsSystemExecutionTracker::Remove() {
  return get_cim()->RemoveNamespace("ROOT", "Tarvex", "Tarvex_Diagnostics");
}

#include "service/modules/storage/storage_module.h"

#include <utility>

#include "service/modules/storage/disk_scan.h"
#include "service/modules/storage/smart_tool.h"
#include "service/modules/storage/tables.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {
namespace {

constexpr std::chrono::seconds kDefaultTimeLimit{30};
constexpr std::uint64_t kLongestTimeLimit = 600;  // in seconds

std::string Setting(const std::map<std::string, std::string>& settings, const char* name) {
  const auto found = settings.find(name);
  return found == settings.end() ? std::string() : found->second;
}

ReadEnvironment MakeEnvironment(const sdk::ModuleEnvironment& environment, HungDrives& hung) {
  return {environment.machine, TimeLimitOf(environment.settings), &hung};
}

}  // namespace

std::chrono::seconds TimeLimitOf(const std::map<std::string, std::string>& settings) {
  const auto seconds = sdk::NumberIn(Setting(settings, "storage/timeout_seconds"));
  return seconds && *seconds >= 1 && *seconds <= kLongestTimeLimit ? std::chrono::seconds(*seconds)
                                                                   : kDefaultTimeLimit;
}

StorageModule::StorageModule(const sdk::ModuleEnvironment& environment)
    : machine_(environment.machine),
      includeLoop_(Setting(environment.settings, "storage/include_loop") == "1"),
      diagnostics_(MakeDiagnostics(MakeEnvironment(environment, hung_), {machine_, &hung_})),
      tools_({MakeSmartTool({machine_, &hung_})}) {}

void StorageModule::ScanDevices(sdk::ScanContext& scan) {
  for (auto& disk : ScanDisks(*machine_, includeLoop_)) {
    scan.Found(std::move(disk));
  }
}

}  // namespace orvan::storage

#include "service/modules/storage/storage_module.h"

#include <utility>

#include "service/machine/block_reader.h"
#include "service/machine/capture_file.h"
#include "service/machine/filesystem_probe.h"
#include "service/machine/machine_files.h"
#include "service/modules/storage/disk_scan.h"
#include "service/modules/storage/tables.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {
namespace {

constexpr std::chrono::seconds kDefaultTimeLimit{30};
constexpr std::uint64_t kLongestTimeLimit = 600;  // in seconds
// A disk that does not tell its file system by then is shown without it.
constexpr std::chrono::seconds kProbeLimit{2};
// Of all disks of a scan; what is not told by then is left out.
constexpr std::chrono::seconds kScanLimit{5};

std::string Setting(const std::map<std::string, std::string>& settings, const char* name) {
  const auto found = settings.find(name);
  return found == settings.end() ? std::string() : found->second;
}

ReadEnvironment MakeEnvironment(const sdk::ModuleEnvironment& environment,
                                const std::string& helperPath) {
  return {[helperPath](const sdk::BlockReaderOptions& options, std::stop_token stop) {
            return machine::OpenBlockReader(helperPath, options, std::move(stop));
          },
          TimeLimitOf(environment.settings)};
}

}  // namespace

std::chrono::seconds TimeLimitOf(const std::map<std::string, std::string>& settings) {
  const auto seconds = sdk::NumberIn(Setting(settings, "storage/timeout_seconds"));
  return seconds && *seconds >= 1 && *seconds <= kLongestTimeLimit ? std::chrono::seconds(*seconds)
                                                                   : kDefaultTimeLimit;
}

StorageModule::StorageModule(const sdk::ModuleEnvironment& environment)
    : includeLoop_(Setting(environment.settings, "storage/include_loop") == "1"),
      captureFile_(Setting(environment.settings, "storage/capture_file")),
      helperPath_(environment.libraryDirectory + "/orvan/orvan-block-reader"),
      diagnostics_(MakeDiagnostics(MakeEnvironment(environment, helperPath_))) {}

std::vector<std::unique_ptr<sdk::Device>> StorageModule::ScanDevices(std::stop_token stop) {
  const machine::LiveFiles live;
  const machine::RecordingFiles recording(live);
  const sdk::MachineFiles& files =
      captureFile_.empty() ? static_cast<const sdk::MachineFiles&>(live) : recording;
  const auto probe = machine::MakeFilesystemProbe(helperPath_, kProbeLimit, kScanLimit);
  // A capture that cannot be written must not cost the scan.
  const auto capture = [&] {
    if (!captureFile_.empty()) machine::WriteCapture(captureFile_, recording.Text());
  };
  std::vector<std::unique_ptr<sdk::Device>> devices;
  try {
    for (auto& disk : ScanDisks(files, *probe, includeLoop_, std::move(stop))) {
      devices.push_back(std::move(disk));
    }
  } catch (...) {
    capture();
    throw;
  }
  capture();
  return devices;
}

}  // namespace orvan::storage

#pragma once

#include <string>
#include <vector>

#include "service/modules/storage/drive/hung_drives.h"
#include "service/modules/storage/read_run.h"
#include "service/sdk/module.h"

namespace orvan::storage {

// Finds the machine's disks, asks and reads them, has them test themselves, and writes to those
// that are empty when it is asked to.
// Settings:
//   storage/include_loop     "1": loop devices with a backing file are disks too
//   storage/timeout_seconds  the time limit of one transfer, 1 to 600; default 30
class StorageModule final : public sdk::Module {
 public:
  explicit StorageModule(const sdk::ModuleEnvironment& environment);

  std::string Name() const override { return "Storage"; }
  ProductVersion Version() const override { return {5, 0, 0, 0}; }
  sdk::ModuleHelp Help() const override {
    return {
        "reads disks, asks drives about their health, and writes to an empty one when it is asked "
        "to.",
        "-E\"l(block_kib=512)\" 0"};
  }
  const std::vector<sdk::DiagnosticRecord>& Diagnostics() const override { return diagnostics_; }
  const std::vector<sdk::ToolRecord>& Tools() const override { return tools_; }
  void ScanDevices(sdk::ScanContext& scan) override;

 private:
  sdk::Machine* machine_;
  HungDrives hung_;  // outlives what the tables hold
  bool includeLoop_;
  std::vector<sdk::DiagnosticRecord> diagnostics_;
  std::vector<sdk::ToolRecord> tools_;
};

// The time limit that the settings ask for; anything but a number from 1 to 600 is the default.
std::chrono::seconds TimeLimitOf(const std::map<std::string, std::string>& settings);

}  // namespace orvan::storage

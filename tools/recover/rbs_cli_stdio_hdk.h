#pragma once

#include <string>

#include "tools/recover/rbs_cli_stdio.h"

// The tool's lines for a supervising program, in place of all that is meant for a person. Texts go
// out as they are. Main thread, as the base.
class RbsCliStdioHdk final : public RbsCliStdio {
 public:
  using RbsCliStdio::RbsCliStdio;

  void ShowDevices(const std::vector<ToolDeviceRecord>& devices) override;
  void ShowErrors(const std::vector<std::string>& /*keys*/) override {}
  void ShowWarnings(const std::vector<std::string>& /*keys*/) override {}
  void ShowVersion() override {}
  void ShowUsageHint() override {}
  void ShowHeader(bool /*noEsc*/) override {}
  void ShowConfirmation() override {}
  void ShowHelp() override {}
  void WriteRaw(const std::string& /*text*/) override {}
  void ReportNoDevices(std::vector<std::string> /*keys*/) override {}
  void OnRecoverInit() override;
  void OnOperationInit(const std::string& /*operation*/) override {}
  void OnDeviceInit(const std::string& id, const std::string& name) override;
  // Sends nothing for a status that the protocol does not know. Throws ToolDataError for one
  // that it knows without all four counts.
  void OnDeviceFinish(const std::string& id, const std::string& name, std::int32_t status,
                      double elapsedSeconds, const std::vector<std::string>& sectorsInfo,
                      const std::string& badSectors, const std::string& operation) override;
  void OnOperationFinish(const std::string& /*text*/) override {}
  void OnRecoverFinish(const std::string& text) override;
  // Sends each multiple of ten once.
  void ShowProgress(double elapsedSeconds) override;
  void SetProgress(std::uint32_t percent, double elapsedSeconds) override;
  void ShowScanning() override {}
  void ViewStart() override {}

 private:
  std::uint32_t progress_ = 0;
  std::string lastLine_;  // of progress, sent or not
};

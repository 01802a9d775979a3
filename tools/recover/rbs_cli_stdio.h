#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tool_device_record.h"
#include "tools/tool_screen.h"

// The screens of the Recover Bad Sectors tool on the console. Lists of texts are lists of keys;
// ids, names, messages and sectors are the service's own text. Main thread, but for ShowScanning
// and ViewStart, which the spinner's thread calls while it has the view.
class RbsCliStdio {
 public:
  explicit RbsCliStdio(bool bootable) : bootable_(bootable) {}
  virtual ~RbsCliStdio() = default;
  RbsCliStdio(const RbsCliStdio&) = delete;
  RbsCliStdio& operator=(const RbsCliStdio&) = delete;

  virtual void ShowDevices(const std::vector<ToolDeviceRecord>& devices);
  virtual void ShowErrors(const std::vector<std::string>& keys);
  virtual void ShowWarnings(const std::vector<std::string>& keys);
  virtual void ShowVersion();
  virtual void ShowUsageHint();
  // `noEsc`: without the line that names the abort key.
  virtual void ShowHeader(bool noEsc);
  // Leaves the line open for the answer.
  virtual void ShowConfirmation();
  virtual void ShowHelp();
  virtual void WriteRaw(const std::string& text);
  // Shows `keys` as errors, and behind them that there is no device.
  virtual void ReportNoDevices(std::vector<std::string> keys);
  virtual void OnRecoverInit() {}
  virtual void OnOperationInit(const std::string& operation);
  virtual void OnDeviceInit(const std::string& id, const std::string& name);
  // The block of a device's result. `sectorsInfo`: sectors read, bad ones found, fixed, not fixed;
  // a list without these is shown as far as it goes. `badSectors` holds its lines.
  virtual void OnDeviceFinish(const std::string& id, const std::string& name, std::int32_t status,
                              double elapsedSeconds, const std::vector<std::string>& sectorsInfo,
                              const std::string& badSectors, const std::string& operation);
  virtual void OnOperationFinish(const std::string& text);
  virtual void OnRecoverFinish(const std::string& text);
  // Draws the latest percentage.
  virtual void ShowProgress(double elapsedSeconds);
  // Keeps the percentage and draws nothing.
  virtual void SetProgress(std::uint32_t percent, double elapsedSeconds);
  virtual void ShowScanning();
  virtual void ViewStart() {}

  // A message of a device, shown once, with the next result.
  void SetMessage(std::string message) { message_ = std::move(message); }
  // Whether the system is bootable, as the program says. No screen depends on it.
  bool bootable() const { return bootable_; }

 private:
  void ShowCounts(std::int32_t status, const std::vector<std::string>& sectorsInfo);
  void ShowStatus(std::int32_t status);

  tarvex::ToolProgressLine progressLine_;
  std::uint32_t percent_ = 0;
  std::string message_;
  const bool bootable_;
};

#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/tool_device_record.h"
#include "tools/tool_view.h"

// The screens of the Recover Bad Sectors tool on the console. Lists of texts are lists of keys;
// ids, names, messages and sectors are the service's own text. Main thread, but for ShowScanning
// and ViewStart, which the spinner's thread calls while it has the view.
class RbsCliStdio {
 public:
  // The console outlives the view.
  RbsCliStdio(std::wostream& console, bool bootable);
  virtual ~RbsCliStdio() = default;
  RbsCliStdio(const RbsCliStdio&) = delete;
  RbsCliStdio& operator=(const RbsCliStdio&) = delete;

  virtual void ShowDevices(const std::vector<ToolDeviceRecord>& devices) {
    shared_.ShowDevices(devices);
  }
  virtual void ShowErrors(const std::vector<std::string>& keys) { shared_.ShowErrors(keys); }
  // Each is written with WriteRaw.
  virtual void ShowWarnings(const std::vector<std::string>& keys) {
    tarvex::WriteToolWarnings(console(), keys, [this](const std::string& text) { WriteRaw(text); });
  }
  virtual void ShowVersion();
  virtual void ShowUsageHint() { shared_.ShowUsageHint(); }
  // `noEsc`: without the line that names the abort key.
  virtual void ShowHeader(bool noEsc) { shared_.ShowHeader(noEsc); }
  // Leaves the line open for the answer.
  virtual void ShowConfirmation();
  virtual void ShowHelp();
  virtual void WriteRaw(const std::string& text) { shared_.WriteRaw(text); }
  // Hands `keys`, and behind them that there is no device, to ShowErrors.
  virtual void ReportNoDevices(std::vector<std::string> keys);
  virtual void OnRecoverInit() {}
  virtual void OnOperationInit(const std::string& operation);
  virtual void OnDeviceInit(const std::string& id, const std::string& name) {
    shared_.OnDeviceInit(id, name);
  }
  // The block of a device's result. `sectorsInfo`: sectors read, bad ones found, fixed, not fixed;
  // a list without these is shown as far as it goes. `badSectors` holds its lines.
  virtual void OnDeviceFinish(const std::string& id, const std::string& name, std::int32_t status,
                              double elapsedSeconds, const std::vector<std::string>& sectorsInfo,
                              const std::string& badSectors, const std::string& operation);
  virtual void OnOperationFinish(const std::string& text);
  virtual void OnRecoverFinish(const std::string& text) { shared_.ShowEnd(text); }
  // Draws the latest percentage.
  virtual void ShowProgress(double elapsedSeconds) { shared_.ShowProgress(elapsedSeconds); }
  // Keeps the percentage and draws nothing.
  virtual void SetProgress(std::uint32_t percent, double elapsedSeconds) {
    shared_.SetProgress(percent, elapsedSeconds);
  }
  virtual void ShowScanning() { shared_.ShowScanning(); }
  virtual void ViewStart() {}

  // A message of a device, shown once, with the next result.
  void SetMessage(std::string message) { shared_.SetMessage(std::move(message)); }
  // Where it prints.
  std::wostream& console() const { return shared_.console(); }
  // Whether the system is bootable, as the program says. No screen depends on it.
  bool bootable() const { return shared_.bootable(); }

 private:
  void ShowCounts(std::int32_t status, const std::vector<std::string>& sectorsInfo);
  void ShowStatus(std::int32_t status);

  ToolView shared_;
};

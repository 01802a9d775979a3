#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "system/config_file.h"
#include "tools/tool_device_record.h"
#include "tools/tool_screen.h"

// The screens of the SMART tool on the console. Lists of texts are lists of keys; ids, names,
// messages and attributes are the service's own text. Main thread, but for ShowScanning, which the
// spinner's thread calls while it has the view.
class STCliStdio {
 public:
  // Whether the section about the maker's drives is wanted, as things are now.
  using DriveInfoSetting = std::function<bool()>;

  explicit STCliStdio(bool bootable, DriveInfoSetting driveInfo = &tarvex::IsDriveInfoEnabled);
  STCliStdio(const STCliStdio&) = delete;
  STCliStdio& operator=(const STCliStdio&) = delete;

  void ShowDevices(const std::vector<ToolDeviceRecord>& devices);
  void ShowErrors(const std::vector<std::string>& keys);
  void ShowWarnings(const std::vector<std::string>& keys);
  void ShowUsageHint();
  // `noEsc`: without the line that names the abort key.
  void ShowHeader(bool noEsc);
  void ShowHelp();
  // Shows `keys` as errors, and behind them that there is no device.
  void ReportNoDevices(std::vector<std::string> keys);
  void OnDeviceInit(const std::string& id, const std::string& name);
  // The block of a device's result: a table of its attributes, by its type, and the section about
  // the maker's drives, or why there is none. The texts are those that AttributeRows takes.
  void OnDeviceFinish(const std::string& id, const std::string& name, std::int32_t status,
                      const std::string& deviceType, const std::string& attributes,
                      const std::string& driveInformation);
  void OnSmartToolFinish(const std::string& text);
  // Draws the latest percentage.
  void ShowProgress(double elapsedSeconds);
  // Keeps the percentage and draws nothing.
  void SetProgress(std::uint32_t percent, double elapsedSeconds);
  void ShowScanning();

  // A message of a device, shown once, with the next result.
  void SetMessage(std::string message) { message_ = std::move(message); }
  // The latest percentage.
  std::uint32_t percent() const { return percent_; }
  // Whether the system is bootable, as the program says. No screen depends on it.
  bool bootable() const { return bootable_; }

 private:
  std::string DriveInformation(const std::string& driveInformation) const;

  tarvex::ToolProgressLine progressLine_;
  std::uint32_t percent_ = 0;
  std::string message_;
  const bool bootable_;
  const DriveInfoSetting driveInfo_;
};

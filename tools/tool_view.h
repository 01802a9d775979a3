#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tools/tool_device_record.h"
#include "tools/tool_screen.h"

// What the tools' views draw alike, each in its own words. Lists of texts are lists of keys; ids,
// names and messages are the service's own text. Main thread, but for ShowScanning, which the
// spinner's thread calls while it has the view.
class ToolView {
 public:
  // The console outlives the view.
  ToolView(std::wostream& console, const tarvex::ToolWords& words, bool bootable)
      : console_(console), words_(words), progressLine_(console), bootable_(bootable) {}
  ToolView(const ToolView&) = delete;
  ToolView& operator=(const ToolView&) = delete;

  void ShowDevices(const std::vector<ToolDeviceRecord>& devices);
  void ShowErrors(const std::vector<std::string>& keys);
  // Each is written with WriteRaw.
  void ShowWarnings(const std::vector<std::string>& keys);
  void WriteRaw(const std::string& text);
  void ShowUsageHint();
  // `noEsc`: without the line that names the abort key.
  void ShowHeader(bool noEsc);
  // Shows `keys` as errors, and behind them that there is no device.
  void ReportNoDevices(std::vector<std::string> keys);
  void OnDeviceInit(const std::string& id, const std::string& name);
  // The last words of a run; nothing without a text.
  void ShowEnd(const std::string& text);
  // Draws the latest percentage.
  void ShowProgress(double elapsedSeconds);
  // Keeps the percentage and draws nothing.
  void SetProgress(std::uint32_t percent, double elapsedSeconds);
  // Covers the latest line of progress.
  void WipeProgress();
  void ShowScanning();

  // A message of a device, shown once, with the next result.
  void SetMessage(std::string message);
  // The message as it stands behind a result, once; nothing when there is none.
  std::string TakeMessage();
  // Where it prints.
  std::wostream& console() const { return console_; }
  // The latest percentage.
  std::uint32_t percent() const { return percent_; }
  // Whether the system is bootable, as the program says. No screen depends on it.
  bool bootable() const { return bootable_; }

 private:
  std::wostream& console_;
  const tarvex::ToolWords words_;
  tarvex::ToolProgressLine progressLine_;
  std::uint32_t percent_ = 0;
  std::string message_;
  const bool bootable_;
};

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "system/drive_info.h"
#include "tools/tool_view.h"

// The screens of the SMART tool on the console: those of all tools, and its own.
class STCliStdio : public ToolView {
 public:
  // Whether the section about the maker's drives is wanted, as things are now.
  using DriveInfoSetting = std::function<bool()>;

  // The console outlives the view.
  STCliStdio(std::wostream& console, bool bootable,
             DriveInfoSetting driveInfo = &tarvex::IsDriveInfoEnabled);

  void ShowHelp();
  // The block of a device's result: a table of its attributes, by its type, and the section about
  // the maker's drives, or why there is none. The texts are those that AttributeRows takes.
  void OnDeviceFinish(const std::string& id, const std::string& name, std::int32_t status,
                      const std::string& deviceType, const std::string& attributes,
                      const std::string& driveInformation);
  void OnSmartToolFinish(const std::string& text);

 private:
  std::string DriveInformation(const std::string& driveInformation) const;

  const DriveInfoSetting driveInfo_;
};

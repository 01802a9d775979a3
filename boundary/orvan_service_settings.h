#pragma once

#include <map>
#include <string>

#include "boundary/export.h"

// The settings that the front end hands to the service. A later set of a key replaces the earlier
// value. Not for concurrent use.
class TARVEX_EXPORT OrvanSettings {
 public:
  OrvanSettings();
  void SetBool(const std::string& key, bool value);
  void SetString(const std::string& key, const std::string& value);

  std::map<std::string, std::string> texts;
  std::map<std::string, bool> truths;
};

// Keys of the settings.
inline constexpr char kSettingAppName[] = "AppName";
inline constexpr char kSettingAppVersion[] = "AppVersion";
inline constexpr char kSettingDataCollection[] = "EnableDataCollection";
inline constexpr char kSettingExecutionTracker[] = "ExecutionTrackerEnabled";
inline constexpr char kSettingAppKey[] = "VOSTAppKey";
inline constexpr char kSettingCacheDir[] = "VOSTCacheDir";
inline constexpr char kSettingLogPathChanged[] = "CLILogPathChanged";

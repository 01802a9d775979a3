#include "frontend/settings_step.h"

#include "boundary/orvan_service.h"
#include "boundary/orvan_service_errors.h"
#include "boundary/orvan_service_settings.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/parse_text.h"
#include "system/machine_setting.h"
#include "system/process_state.h"
#include "views/orvan_stdio.h"

namespace {

constexpr char kCollectDataSetting[] = "CollectData";

bool MachineCollectsData() {
  std::uint32_t value = 0;
  return ReadMachineSetting(kCollectDataSetting, &value) == 0 && value == 1;
}

// False when the service cannot use the caller's cache folder.
bool Apply(OrvanService& service, const OrvanSettings& settings) {
  try {
    service.ApplySettings(settings);
    return true;
  } catch (const FailedToVisitLocalCache&) {
    return false;
  }
}

void Fill(OrvanSettings& settings, const Cli& cli) {
  settings.SetString(kSettingAppName, cli.ApplicationName());
  settings.SetString(kSettingAppVersion, cli.ApplicationVersion());
  settings.SetBool(kSettingDataCollection, false);
  settings.SetBool(kSettingExecutionTracker, false);
  if (!Has(cli.flags, CLI_FLAG_CALLER)) return;
  settings.SetString(kSettingAppName, cli.callerInfo.appName);
  settings.SetString(kSettingAppVersion, cli.callerInfo.appVersion);
  settings.SetBool(kSettingDataCollection, Has(cli.flags, CLI_FLAG_DATA_COLLECTION_SET)
                                               ? Has(cli.flags, CLI_FLAG_DATA_COLLECTION_VALUE)
                                               : MachineCollectsData());
  settings.SetString(kSettingAppKey, cli.callerInfo.appKey);
  settings.SetString(kSettingCacheDir, cli.callerInfo.cacheDir);
}

}  // namespace

int HandOverSettings(Cli& cli, std::string& errorText) {
  OrvanService* service = GetProcessState().service;
  OrvanSettings settings;
  Fill(settings, cli);
  const bool savePathGiven = Has(cli.flags, CLI_FLAG_SAVE_PATH);
  settings.SetBool(kSettingLogPathChanged, savePathGiven);
  if (savePathGiven) service->SetLogPath(cli.savePath);

  if (!Has(cli.flags, CLI_FLAG_DATA_COLLECTION_SET)) {
    settings.SetBool(kSettingDataCollection, MachineCollectsData());
  } else {
    const bool enabled = Has(cli.flags, CLI_FLAG_DATA_COLLECTION_VALUE);
    settings.SetBool(kSettingDataCollection, enabled);
    cli.view->PrintText(enabled ? kKeyDataCollectionOn : kKeyDataCollectionOff, true, true, false,
                        false);
    cli.view->PrintNewLine();
  }
  const bool firstTaken = Apply(*service, settings);
  settings.SetBool(kSettingExecutionTracker, Has(cli.flags, CLI_FLAG_WMI));
  const bool secondTaken = Apply(*service, settings);
  if (firstTaken && secondTaken) return kParseOk;
  return Fail(errorText, kKeyInvalidCacheDirectory);
}

// The library that reads config.ini. Qt takes nearly as long to load as all else that the program
// brings along, so it is not linked into that.
#include <type_traits>

#include "boundary/export.h"
#include "system/config_file.h"
#include "system/drive_info.h"

extern "C" TARVEX_EXPORT int TarvexReadDriveInfo(int descriptor) {
  ConfigFile config;
  return !ReadConfigFile(descriptor, config).IsError() && tarvex::AsksForDriveInfo(config) ? 1 : 0;
}

static_assert(std::is_same_v<decltype(&TarvexReadDriveInfo), tarvex::DriveInfoReader>);

#include "system/machine_setting.h"

#include "system/folders.h"
#include "system/ini_file.h"

int ReadMachineSetting(const std::string& valueName, std::uint32_t* value) {
  tarvex::IniValues values;
  if (!tarvex::ReadIniFile(tarvex::ConfigFolder() + "/orvan.ini", values).empty()) return 1;
  const auto found = values.find("general/" + tarvex::LowerAscii(valueName));
  return found != values.end() && tarvex::ParseUnsigned(found->second, *value) ? 0 : 1;
}

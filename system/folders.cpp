#include "system/folders.h"

#include <cstdlib>

namespace tarvex {
namespace {

std::string FromEnvironment(const char* name, const std::string& standard) {
  const char* const value = secure_getenv(name);
  return value == nullptr || *value == '\0' ? standard : value;
}

}  // namespace

std::string RunFolder() {
  return FromEnvironment("TARVEX_RUN_DIR", "/run/tarvex");
}

std::string StateFolder() {
  return FromEnvironment("TARVEX_STATE_DIR", "/var/lib/tarvex");
}

std::string ConfigFolder() {
  return FromEnvironment("TARVEX_CONFIG_DIR", "/etc/tarvex");
}

std::string ModuleFolder(const std::string& standard) {
  return FromEnvironment("ORVAN_MODULE_DIR", standard);
}

std::string ScenarioFile() {
  return FromEnvironment("ORVAN_SCENARIO", "");
}

std::string RecordFile() {
  return FromEnvironment("ORVAN_RECORD", "");
}

std::string ReplayFile() {
  return FromEnvironment("ORVAN_REPLAY", "");
}

}  // namespace tarvex

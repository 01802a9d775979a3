#include "system/clean_environment.h"

namespace tarvex {
namespace {

// Built without sanitizers and free of calls into libraries: neither is up when this runs.

using Check = bool (*)(const char* value);

bool IsAny(const char* /*value*/) {
  return true;
}

bool NamesNoPath(const char* value) {
  for (; *value != '\0'; ++value) {
    if (*value == '/') return false;
  }
  return true;
}

// A name such as "Europe/Berlin" is taken below the system's folder of time zones, where only root
// puts files; a colon in front of it means nothing.
bool StaysAmongTimeZones(const char* value) {
  if (*value == ':') ++value;
  if (*value == '/') return false;
  for (; *value != '\0'; ++value) {
    if (value[0] == '.' && value[1] == '.') return false;
  }
  return true;
}

struct Allowed {
  const char* name;  // up to the sign "=", or to the "*" that stands for any rest
  Check check;
};

constexpr Allowed kAllowed[] = {
    {"TARVEX_RUN_DIR=", IsAny},   {"TARVEX_STATE_DIR=", IsAny}, {"TARVEX_CONFIG_DIR=", IsAny},
    {"ORVAN_MODULE_DIR=", IsAny}, {"ORVAN_SCENARIO=", IsAny},   {"ORVAN_RECORD=", IsAny},
    {"ORVAN_REPLAY=", IsAny},     {"LANG=", NamesNoPath},       {"LC_*", NamesNoPath},
    {"TERM=", NamesNoPath},       {"TZ=", StaysAmongTimeZones},
};

// The value when `variable` has the name, null when it has another.
const char* ValueOf(const char* variable, const char* name) {
  for (; *name != '\0' && *name != '*'; ++name, ++variable) {
    if (*variable != *name) return nullptr;
  }
  if (*name == '\0') return variable;
  while (*variable != '=') {
    if (*variable == '\0') return nullptr;
    ++variable;
  }
  return variable + 1;
}

bool IsAllowed(const char* variable) {
  for (const Allowed& allowed : kAllowed) {
    const char* const value = ValueOf(variable, allowed.name);
    if (value != nullptr) return allowed.check(value);
  }
  return false;
}

}  // namespace

void KeepAllowedVariables(char** environment) {
  char** kept = environment;
  for (; *environment != nullptr; ++environment) {
    if (IsAllowed(*environment)) *kept++ = *environment;
  }
  *kept = nullptr;
}

void CleanEnvironmentAtStart(int /*argumentCount*/, char** /*arguments*/, char** environment) {
  KeepAllowedVariables(environment);
}

}  // namespace tarvex

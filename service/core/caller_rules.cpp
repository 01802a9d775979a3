#include "service/core/caller_rules.h"

#include <algorithm>

#include "boundary/orvan_service_errors.h"
#include "service/core/platform.h"
#include "system/system_path.h"

namespace orvan::core {
namespace {

bool IsKeyCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
}

}  // namespace

void RequireUsableCache(const OrvanSettings& settings) {
  const auto found = settings.texts.find(kSettingCacheDir);
  if (found != settings.texts.end() && !found->second.empty() &&
      !IsWritableFolder(tarvex::WithSlashes(found->second))) {
    throw FailedToVisitLocalCache();
  }
}

void RequireAppKey(const CallerInfo& caller) {
  const std::string& key = caller.appKey;
  if (key.empty()) return;
  if (key.size() < 16 || key.size() > 64 || !std::all_of(key.begin(), key.end(), IsKeyCharacter)) {
    throw InvalidAppKey();
  }
}

}  // namespace orvan::core

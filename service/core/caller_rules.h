#pragma once

#include "boundary/orvan_service_records.h"
#include "boundary/orvan_service_settings.h"

namespace orvan::core {

// Throws FailedToVisitLocalCache when kSettingCacheDir is a text that names no existing folder in
// which files can be made. An absent or empty text names none and passes.
void RequireUsableCache(const OrvanSettings& settings);

// Throws InvalidAppKey when the caller gave a key that is not 16 to 64 letters, digits or "-"
// (ASCII). No key passes: then nobody identified himself.
void RequireAppKey(const CallerInfo& caller);

}  // namespace orvan::core

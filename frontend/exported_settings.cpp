#include "boundary/orvan_service_settings.h"

// The program's own copy of the operations of the service's settings, which it exports for what is
// loaded into it.

OrvanSettings::OrvanSettings() = default;

void OrvanSettings::SetBool(const std::string& key, bool value) {
  truths.insert_or_assign(key, value);
}

void OrvanSettings::SetString(const std::string& key, const std::string& value) {
  texts.insert_or_assign(key, value);
}

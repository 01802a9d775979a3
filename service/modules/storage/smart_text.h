#pragma once

#include <string>

#include "service/modules/storage/health/attributes.h"
#include "service/modules/storage/health/drive_information.h"

// The texts of "DeviceFinish", which who shows them cuts up by hand: a record is what stands
// between a "{" and the next "}", and a value what stands two characters behind a colon, up to the
// next quote. So no value has a quote or a brace of its own. Any thread.
namespace orvan::storage {

// [{"id":"5","name":"Reallocated sectors","threshold":"10",...},...]: id, name, threshold, value,
// worst and data of each attribute.
std::string TextOfColumns(const HealthAttributes& attributes);
// The same of id, name and data alone.
std::string TextOfData(const HealthAttributes& attributes);
// [{"name":"Model","value":"..."},...]
std::string TextOf(const DriveInformation& information);

}  // namespace orvan::storage

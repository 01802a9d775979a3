#include "service/modules/storage/storage_module.h"
#include "service/sdk/descriptor.h"

ORVAN_MODULE(orvan::storage::StorageModule, "storage")

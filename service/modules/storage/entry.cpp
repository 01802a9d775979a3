#include "service/modules/storage/storage_module.h"
#include "service/sdk/descriptor.h"

// Drives take commands from CAP_SYS_RAWIO and CAP_SYS_ADMIN; their nodes may be another user's.
ORVAN_MODULE(orvan::storage::StorageModule, "storage",
             "cap_sys_rawio cap_sys_admin cap_dac_read_search", 64 << 20)

#pragma once

#include "service/modules/storage/drive/drive_link.h"
#include "service/sdk/tool.h"

namespace orvan::storage {

// The tool that shows what drives tell of themselves. It changes nothing on them, and is
// not for those that answer no commands of a drive; a filtering run withdraws these.
//
// It tells its listener "DeviceInit" (id), "Progress" (percent of the run) and "DeviceFinish" (id,
// status, "ata", "scsi" or "nvme", attributes, information of the drive). The status is 0; 1 when
// no attributes could be read; 3 when the kernel does not let us; 8 after a stop. Why is in the
// log.
sdk::ToolRecord MakeSmartTool(const DriveAccess& access);

}  // namespace orvan::storage

#pragma once

#include <chrono>
#include <optional>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {

// How a device is to work. Source: SPC-5, 7.5, table "Control mode page"; 7.5.5, table "Mode
// parameter header(10)".
struct ControlPage {
  // How long an extended self-test takes. None: the device does not say, or it takes longer than
  // the field can tell.
  std::optional<std::chrono::seconds> extendedSelfTest;
};

// The answer to MODE SENSE (10) of this page. Pure; any thread.
Decoded<ControlPage> DecodeControlPage(Bytes answer);

}  // namespace orvan::storage::scsi

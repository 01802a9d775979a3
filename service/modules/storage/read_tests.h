#pragma once

#include "service/modules/storage/read_run.h"

namespace orvan::storage {

// The read tests, each with its own file.
const ReadStyle& FunnelRead();
const ReadStyle& RandomRead();
const ReadStyle& LinearRead();

}  // namespace orvan::storage

#pragma once

#include "boundary/hostlayer_time_handler.h"

namespace tarvex {

class TimeHandler final : public HostTimeHandler {};

}  // namespace tarvex

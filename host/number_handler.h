#pragma once

#include "boundary/hostlayer_number_handler.h"

namespace tarvex {

class NumberHandler final : public HostNumberHandler {
 public:
  std::string NumberToString(std::int64_t value) override;
};

}  // namespace tarvex

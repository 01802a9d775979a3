#include "host/number_handler.h"

namespace tarvex {

std::string NumberHandler::NumberToString(std::int64_t value) {
  return std::to_string(value);
}

}  // namespace tarvex

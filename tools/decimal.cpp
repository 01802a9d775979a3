#include "tools/decimal.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace tarvex {

std::int32_t ParseDecimal(const std::string& text) {
  using Limits = std::numeric_limits<std::int32_t>;
  const long value = std::strtol(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

}  // namespace tarvex

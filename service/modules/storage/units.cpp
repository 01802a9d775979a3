#include "service/modules/storage/units.h"

#include <array>

#include "service/modules/storage/nvme/health_log.h"

namespace orvan::storage {

std::string DecimalSize(std::uint64_t bytes) {
  static constexpr std::array<const char*, 5> kUnits = {"kB", "MB", "GB", "TB", "PB"};
  if (bytes < 1000) return std::to_string(bytes) + " bytes";
  std::uint64_t tenths = bytes / 100;
  std::size_t unit = 0;
  while (tenths >= 10000 && unit + 1 < kUnits.size()) {
    tenths /= 1000;
    ++unit;
  }
  return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + ' ' + kUnits[unit];
}

std::string KelvinText(std::uint16_t kelvin) {
  return std::to_string(nvme::Celsius(kelvin)) + " C (" + std::to_string(kelvin) + " K)";
}

}  // namespace orvan::storage

#pragma once

#include <cstdint>
#include <string>

// Numbers with their units, for people. Any thread.
namespace orvan::storage {

// "256.0 GB": decimal units as printed on drives, cut and not rounded; "512 bytes" below 1000.
std::string DecimalSize(std::uint64_t bytes);

// "50 C (323 K)".
std::string KelvinText(std::uint16_t kelvin);

}  // namespace orvan::storage

#pragma once

#include <cstdint>
#include <string>

namespace tarvex {

// The number that the text begins with, behind blanks and a sign, held within 32 bits; 0 when it
// begins with none.
std::int32_t ParseDecimal(const std::string& text);

}  // namespace tarvex

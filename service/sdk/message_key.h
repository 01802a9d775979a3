#pragma once

#include <string>

#include "boundary/ascii_case.h"

namespace orvan::sdk {

// The message key that is shown as `text`: plain words without capitals, "_" and "|", which mean
// something in a key. Any thread.
inline std::string KeyOf(std::string text) {
  for (char& byte : text) byte = byte == ' ' ? '_' : tarvex::AsciiUpper(byte);
  return text;
}

}  // namespace orvan::sdk

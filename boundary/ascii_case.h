#pragma once

namespace tarvex {

// The case of names, keys and option letters on both sides of the boundary: that of ASCII, whatever
// the locale, so the bytes of UTF-8 text stay as they are.
constexpr char AsciiUpper(char byte) {
  return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
}
constexpr char AsciiLower(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

}  // namespace tarvex

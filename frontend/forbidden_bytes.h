#pragma once

#include <string_view>

// The bytes that no argument may begin with: marks of shells, and the bytes of accented Latin
// letters that went through UTF-8 twice. It is a set of single bytes.
inline constexpr std::string_view kForbiddenFirstBytes =
    "&'#$%*(>)=|+[<]~^`"
    "\xc3\x83\xc2\xa2\xc3\x83\xc2\xaa\xc3\x83\xc2\xae\xc3\x83\xc2\xb4\xc3\x83\xc2\xbb"
    "\xc3\x83\xc2\xa3\xc3\x83\xc2\xb5\xc3\x83\xc3\x83\xc5\xa0\xc3\x83\xc5\xbd"
    "\xc3\x83\xe2\x80\x9d\xc3\x83\xe2\x80\xba\xc3\x83\xc6\x92\xc3\x83\xe2\x80\xa2";

constexpr bool IsForbiddenFirstByte(char byte) {
  return byte != '\0' && kForbiddenFirstBytes.find(byte) != std::string_view::npos;
}

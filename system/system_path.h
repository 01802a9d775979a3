#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Between the paths of the program, with backslashes or "/", and those of the system. Any thread.
namespace tarvex {

inline constexpr std::string_view kSeparators = "\\/";

inline bool IsSeparator(char character) {
  return character == '\\' || character == '/';
}

// It begins with a separator, or has ":\" at its second character.
bool IsAbsolutePath(std::string_view path);

// The path with "/" between its parts; a drive in front of it is not looked at.
std::string WithSlashes(std::string path);

// The path for a system call. Empty, which no call takes, for a path in drive form and for one with
// a zero byte inside.
std::string ToSystemPath(std::string_view path);

// Length in characters, not bytes.
std::size_t PathLength(std::string_view path);

}  // namespace tarvex

#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

class DiagTool;

// The standard's out-of-range error of a tool that told less than it must, and what was missing.
class ToolDataError : public std::out_of_range {
 public:
  // `text` is that of the standard's error.
  ToolDataError(const char* text, const std::string& missing)
      : std::out_of_range(text), missing_(missing) {}

  // Such as "tool recover_bad_sectors, property DeviceFinish: 1 of 2 values".
  const char* Missing() const noexcept { return missing_.what(); }

 private:
  std::runtime_error missing_;  // a text whose copy cannot fail
};

namespace tarvex {

// The tool's word, such as "recover_bad_sectors".
std::string ToolWord(DiagTool& tool);

// What a ToolDataError tells of `property`, which has `there` values and needs `needed`.
std::string MissingValues(const std::string& toolWord, const std::string& property,
                          std::size_t there, std::size_t needed);

// Throws ToolDataError unless the property has at least `needed` values.
void NeedValues(const std::string& toolWord, const std::string& property,
                const std::vector<std::string>& values, std::size_t needed);

}  // namespace tarvex

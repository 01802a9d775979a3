#include "tools/tool_data_error.h"

#include "boundary/orvan_service_objects.h"
#include "system/key_format.h"

namespace tarvex {

std::string ToolWord(DiagTool& tool) {
  std::string name;
  return FormatKey(tool.GetName(name), false, false, false);
}

std::string MissingValues(const std::string& toolWord, const std::string& property,
                          std::size_t there, std::size_t needed) {
  return "tool " + toolWord + ", property " + property + ": " + std::to_string(there) + " of " +
         std::to_string(needed) + " values";
}

void NeedValues(const std::string& toolWord, const std::string& property,
                const std::vector<std::string>& values, std::size_t needed) {
  try {
    if (needed > 0) static_cast<void>(values.at(needed - 1));
  } catch (const std::out_of_range& error) {
    throw ToolDataError(error.what(), MissingValues(toolWord, property, values.size(), needed));
  }
}

}  // namespace tarvex

#include "tools/tool_cli.h"

ToolCli::ToolCli() = default;
ToolCli::ToolCli(const ToolCli& other) = default;
ToolCli& ToolCli::operator=(const ToolCli& other) = default;
ToolCli::~ToolCli() = default;

void ToolCli::SetProperty(std::pair<std::string, std::string> property) {
  properties.insert(std::move(property));
}

bool tarvex::IsBootable(const std::map<std::string, std::string>& properties, bool otherwise) {
  const auto found = properties.find(kToolPropertyBootable);
  if (found == properties.end()) return otherwise;
  if (found->second == kToolPropertyTrue) return true;
  return found->second != kToolPropertyFalse && otherwise;
}

#include "tools/tool_cli.h"

ToolCli::ToolCli() = default;
ToolCli::ToolCli(const ToolCli& other) = default;
ToolCli& ToolCli::operator=(const ToolCli& other) = default;
ToolCli::~ToolCli() = default;

void ToolCli::SetProperty(std::pair<std::string, std::string> property) {
  properties.insert(std::move(property));
}

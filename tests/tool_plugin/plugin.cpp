#include <dlfcn.h>

#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <typeinfo>

#include "boundary/orvan_service_settings.h"
#include "tools/tool_cli.h"

// Uses what the program exports, and reports what came of it, one fact a line.

namespace {

class PluginTool : public ToolCli {
 public:
  void ToolExecute(int argc, char** /*argv*/) override { executed = argc; }
  void ToolRun() override { ran = true; }
  std::string Property(const std::string& key) const { return properties.at(key); }

  int executed = 0;
  bool ran = false;
};

// The object file that an address lies in.
std::string Owner(const void* address) {
  Dl_info info;
  return dladdr(address, &info) == 0 ? "nowhere" : info.dli_fname;
}

// Where a member function that is not virtual lies.
template <class Function>
std::string OwnerOf(Function function) {
  const void* address = nullptr;
  std::memcpy(&address, &function, sizeof address);
  return Owner(address);
}

void Report(std::ostream& out) {
  PluginTool tool;
  tool.SetProperty({"BOOTABLE", "TRUE"});
  tool.SetProperty({"BOOTABLE", "FALSE"});
  PluginTool copy(tool);
  PluginTool assigned;
  assigned = copy;
  ToolCli& base = assigned;
  base.ToolExecute(4, nullptr);
  base.ToolRun();
  out << "property " << tool.Property("BOOTABLE") << ' ' << copy.Property("BOOTABLE") << ' '
      << assigned.Property("BOOTABLE") << '\n';
  out << "slots " << assigned.executed << ' ' << assigned.ran << '\n';
  OrvanSettings settings;
  settings.SetBool("truth", true);
  settings.SetString("text", "first");
  settings.SetString("text", "second");
  out << "settings " << settings.truths.at("truth") << ' ' << settings.texts.at("text") << '\n';
  out << "class " << Owner(&typeid(ToolCli)) << '\n';
  out << "SetProperty " << OwnerOf(&ToolCli::SetProperty) << '\n';
  out << "SetBool " << OwnerOf(&OrvanSettings::SetBool) << '\n';
  out << "SetString " << OwnerOf(&OrvanSettings::SetString) << '\n';
}

// What the process was started with; the program has taken the variable out by now.
std::string ReportPath() {
  constexpr std::string_view kName = "TOOL_PLUGIN_REPORT=";
  std::ifstream environment("/proc/self/environ");
  for (std::string variable; std::getline(environment, variable, '\0');) {
    if (variable.starts_with(kName)) return variable.substr(kName.size());
  }
  return {};
}

__attribute__((constructor)) void OnLoad() {
  const std::string path = ReportPath();
  if (path.empty()) return;
  std::ofstream report(path);
  Report(report);
}

}  // namespace

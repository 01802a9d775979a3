#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "companions/manual/module_sections.h"
#include "companions/manual/page.h"
#include "companions/manual/program_sections.h"
#include "service/core/plugin_loader.h"
#include "service/sdk/closed_machine.h"
#include "system/ini_file.h"

namespace {

constexpr char kUsage[] = "use: tarvex-manual TEMPLATE PAGE [MODULE FOLDER-OF-MODULES]\n";

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Throws when it is not there; says why it was refused.
const orvan::sdk::Module& Find(const orvan::core::LoadedPlugins& plugins, const std::string& name) {
  for (const orvan::core::LoadedPlugin& plugin : plugins.modules) {
    if (tarvex::LowerAscii(plugin.module->Name()) == name) return *plugin.module;
  }
  std::string reasons;
  for (const orvan::core::PluginRefusal& refusal : plugins.refusals) {
    reasons += "; " + refusal.path + " was refused: " + refusal.reason;
  }
  throw std::runtime_error("there is no module " + name + reasons);
}

void Run(const std::vector<std::string>& arguments) {
  orvan::sdk::ClosedMachine machine;
  orvan::sdk::ModuleEnvironment environment;
  environment.machine = &machine;
  orvan::core::LoadedPlugins plugins;
  tarvex::manual::PageParts parts;
  parts.words["VERSION"] = TARVEX_VERSION;
  tarvex::manual::AddProgramSections(parts);
  tarvex::manual::AddHistorySections(parts);
  if (arguments.size() == 4) {
    plugins = orvan::core::LoadPlugins(arguments[3], environment);
    tarvex::manual::AddModuleSections(parts, Find(plugins, arguments[2]));
  }
  const std::string page = tarvex::manual::MakePage(ReadAll(arguments[0]), parts);
  std::ofstream file(arguments[1], std::ios::binary | std::ios::trunc);
  if (!(file << page).flush()) throw std::runtime_error("cannot write " + arguments[1]);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() != 2 && arguments.size() != 4) {
    std::cerr << kUsage;
    return 2;
  }
  try {
    Run(arguments);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "tarvex-manual: " << arguments[0] << ": " << error.what() << '\n';
    return 1;
  }
}

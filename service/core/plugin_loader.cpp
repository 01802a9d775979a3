#include "service/core/plugin_loader.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "boundary/reserved_options.h"
#include "os/trusted_file.h"
#include "service/core/guard.h"
#include "service/core/platform.h"

namespace orvan::core {
namespace {

constexpr char kEntryName[] = "OrvanModuleEntry";
using EntryFunction = const sdk::ModuleDescriptor* (*)();

std::string Mismatch(const char* what, std::uint32_t found, std::uint32_t expected) {
  return std::string("has ") + what + ' ' + std::to_string(found) + " and not " +
         std::to_string(expected);
}

// Looks at each word only when those before it are right: a stranger's record may be shorter.
std::string DescriptorFault(const sdk::ModuleDescriptor* descriptor) {
  if (descriptor == nullptr) return "gives no descriptor";
  if (descriptor->magic != sdk::kModuleMagic) return "has a descriptor of another kind";
  if (descriptor->abiVersion != sdk::kModuleAbiVersion) {
    return Mismatch("interface version", descriptor->abiVersion, sdk::kModuleAbiVersion);
  }
  if (descriptor->size != sizeof(sdk::ModuleDescriptor)) {
    return Mismatch("descriptor size", descriptor->size, sizeof(sdk::ModuleDescriptor));
  }
  if (descriptor->create == nullptr || descriptor->destroy == nullptr) {
    return "has an incomplete descriptor";
  }
  return {};
}

void Require(const std::string& fault) {
  if (!fault.empty()) throw std::runtime_error(fault);
}

// Scenarios may take such options, for they are there to try the front end.
std::string ReservedOptionFault(const sdk::Module& module) {
  for (const sdk::DiagnosticRecord& diagnostic : module.Diagnostics()) {
    const std::string letter = diagnostic.option.substr(0, 1);
    const bool takesLetter = !letter.empty() && IsReservedLetter(letter[0]);
    if (takesLetter || IsReservedLongName(diagnostic.longName)) {
      return "its diagnostic " + diagnostic.name + " has the option \"" +
             (takesLetter ? '-' + letter : "--" + diagnostic.longName) +
             "\", which no module can have";
    }
  }
  return {};
}

// A folder of plug-ins, and the path by which it is known.
struct PluginFolder {
  tarvex::Descriptor folder;
  std::string path;
};

LoadedPlugin LoadPlugin(const PluginFolder& folder, const std::string& name,
                        const sdk::ModuleEnvironment& environment) {
  LoadedPlugin plugin{{nullptr, nullptr}, folder.path + '/' + name, name, {}, nullptr};
  Require(tarvex::OpenTrustedFile(folder.folder, name, plugin.file));
  const LoadedLibrary library = OpenLibrary(folder.folder, folder.path, name, kEntryName);
  Require(library.fault);
  plugin.descriptor = reinterpret_cast<EntryFunction>(library.entry)();
  if (const std::string fault = DescriptorFault(plugin.descriptor); !fault.empty()) {
    CloseLibrary(library.handle);
    throw std::runtime_error(fault);
  }
  plugin.module = {plugin.descriptor->create(environment), plugin.descriptor->destroy};
  if (plugin.module == nullptr) throw std::runtime_error("makes no module");
  Require(ReservedOptionFault(*plugin.module));
  return plugin;
}

std::vector<std::string> PluginNames(const tarvex::Descriptor& folder) {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry("/proc/self/fd/" + std::to_string(folder.Get()), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    if (entry->path().extension() == ".so") names.push_back(entry->path().filename().string());
  }
  if (error) throw std::runtime_error(error.message());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

LoadedPlugins LoadPlugins(const std::string& path, const sdk::ModuleEnvironment& environment) {
  LoadedPlugins loaded;
  PluginFolder folder{{}, path};
  std::vector<std::string> names;
  try {
    Require(tarvex::OpenTrustedFolder(path, folder.folder));
    names = PluginNames(folder.folder);
  } catch (...) {
    loaded.refusals.push_back({path, CurrentExceptionText(), true});
  }
  for (const std::string& name : names) {
    try {
      loaded.modules.push_back(LoadPlugin(folder, name, environment));
    } catch (...) {
      loaded.refusals.push_back({path + '/' + name, CurrentExceptionText()});
    }
  }
  // As long as the plug-ins are mapped no other folder may get the number, and that is for ever.
  loaded.folder = folder.folder.Release();
  return loaded;
}

}  // namespace orvan::core

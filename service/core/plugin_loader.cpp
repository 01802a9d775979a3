#include "service/core/plugin_loader.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "boundary/reserved_options.h"
#include "os/trusted_file.h"
#include "service/core/caller_rules.h"
#include "service/core/guard.h"
#include "service/core/platform.h"
#include "service/sdk/descriptor.h"
#include "system/ini_file.h"
#include "system/standard_error.h"

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

ModulePointer LoadPlugin(const PluginFolder& folder, const std::string& name,
                         const sdk::ModuleEnvironment& environment) {
  const LoadedLibrary library = OpenLibrary(folder.folder, folder.path, name, kEntryName);
  Require(library.fault);
  const sdk::ModuleDescriptor* descriptor = reinterpret_cast<EntryFunction>(library.entry)();
  if (const std::string fault = DescriptorFault(descriptor); !fault.empty()) {
    CloseLibrary(library.handle);
    throw std::runtime_error(fault);
  }
  ModulePointer module(descriptor->create(environment), descriptor->destroy);
  if (module == nullptr) throw std::runtime_error("makes no module");
  Require(ReservedOptionFault(*module));
  return module;
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
    const std::string file = path + '/' + name;
    try {
      loaded.modules.push_back({LoadPlugin(folder, name, environment), file});
    } catch (...) {
      loaded.refusals.push_back({file, CurrentExceptionText()});
    }
  }
  // As long as the plug-ins are mapped no other folder may get the number, and that is for ever.
  folder.folder.Release();
  return loaded;
}

std::optional<std::vector<LoadedModule>> PluginSource::Load(log::ServiceLog& log) {
  sdk::ModuleEnvironment environment;
  environment.machine = machine_.get();
  environment.libraryDirectory = LibraryFolder();
  if (const std::string fault = tarvex::ReadIniFile(settingFile_, environment.settings);
      !fault.empty()) {
    log.Error("settings-refused", "settings " + settingFile_ + " were not read: " + fault);
  }
  LoadedPlugins loaded = LoadPlugins(folder_, environment);
  refusals_ = std::move(loaded.refusals);
  for (const PluginRefusal& refusal : refusals_) {
    const std::string text = (refusal.isFolder ? "plug-in folder " : "plug-in ") + refusal.path +
                             " was refused: " + refusal.reason;
    log.Error("plugin-refused", text);
    tarvex::TellOnStandardError(text);
  }
  return std::move(loaded.modules);
}

void PluginSource::CheckSettings(const OrvanSettings& settings) const {
  RequireUsableCache(settings);
}

void PluginSource::CheckCaller(const CallerInfo& caller) const {
  RequireAppKey(caller);
}

}  // namespace orvan::core

#pragma once

#include <string>
#include <vector>

#include "os/descriptor.h"
#include "service/core/module_source.h"
#include "service/sdk/descriptor.h"

namespace orvan::core {

// A plug-in, or a folder of them, that was not taken, and why.
struct PluginRefusal {
  std::string path;
  std::string reason;
  bool isFolder = false;
};

// A plug-in that was taken: its module, and what its worker is started with.
struct LoadedPlugin {
  ModulePointer module;
  std::string origin;       // its path
  std::string name;         // in its folder
  tarvex::Descriptor file;  // the one that was looked at
  const sdk::ModuleDescriptor* descriptor = nullptr;
};

struct LoadedPlugins {
  int folder = -1;                    // open for as long as the process lives
  std::vector<LoadedPlugin> modules;  // in the order of their file names
  std::vector<PluginRefusal> refusals;
};

// Loads every plug-in "*.so" of the folder, in the order of the file names. One that cannot be
// trusted, loaded or made is refused, and so is one with a diagnostic whose option no module can
// have (boundary/reserved_options.h); the others go on. A folder that others may write, or that
// is missing, is refused whole. Plug-ins stay mapped until the process ends, for a call into the
// kernel that hangs may return into one at any time. Never throws but for want of memory.
LoadedPlugins LoadPlugins(const std::string& folder, const sdk::ModuleEnvironment& environment);

}  // namespace orvan::core

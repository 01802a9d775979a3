#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <vector>

#include "boundary/hostlayer_module.h"
#include "os/descriptor.h"

namespace tarvex {

// Loads libraries with all their symbols bound at once and none shown to other libraries. A path
// is absolute and may be written with either separator. Refused, beside what is no library: a link,
// and a library that a stranger could have written or put there (os/trusted_library.h). The
// system's loader counts the loads of a library; each wants its own Unload.
class ModuleLoader final : public HostModule {
 public:
  HostModuleHandle Load(const std::string& path, int reserved) override;
  HostModuleFunction GetSymbol(HostModuleHandle handle, const std::string& name) override;
  void Unload(HostModuleHandle handle) override;

 private:
  struct Loaded {
    std::size_t loads = 0;
    // All through which it was loaded: the loader remembers each as a name of the library.
    std::vector<Descriptor> folders;
  };

  std::mutex mutex_;
  std::map<HostModuleHandle, Loaded> loaded_;  // guarded by mutex_
};

}  // namespace tarvex

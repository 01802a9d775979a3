#pragma once

#include "boundary/hostlayer_module.h"

namespace tarvex {

// Loads libraries with all their symbols bound at once and none shown to other libraries. A path
// is absolute and may be written with either separator. Refused, beside what is no library: a link,
// and a library that a stranger could have written or put there (system/trusted_path.h). The
// system's loader counts the loads of a library; each wants its own Unload.
class ModuleLoader final : public HostModule {
 public:
  HostModuleHandle Load(const std::string& path, int reserved) override;
  HostModuleFunction GetSymbol(HostModuleHandle handle, const std::string& name) override;
  void Unload(HostModuleHandle handle) override;
};

}  // namespace tarvex

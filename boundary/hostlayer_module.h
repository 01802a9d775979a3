#pragma once

#include <string>

using HostModuleHandle = void*;
using HostModuleFunction = void (*)();

// A loader of libraries. Any thread.
class HostModule {
 public:
  virtual ~HostModule() = default;
  // Loads the library; null on failure.
  virtual HostModuleHandle Load(const std::string& path, int reserved) = 0;
  // The function of that name; null when missing.
  virtual HostModuleFunction GetSymbol(HostModuleHandle handle, const std::string& name) = 0;
  virtual void Unload(HostModuleHandle handle) = 0;
};

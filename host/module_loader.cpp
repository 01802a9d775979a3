#include "host/module_loader.h"

#include <dlfcn.h>

#include <algorithm>

namespace tarvex {
namespace {

bool IsUsableName(const std::string& name) {
  return !name.empty() && name.find('\0') == std::string::npos;
}

}  // namespace

HostModuleHandle ModuleLoader::Load(const std::string& path, int /*reserved*/) {
  // The system takes an empty name for the program itself.
  if (!IsUsableName(path)) return nullptr;
  std::string systemPath = path;
  std::replace(systemPath.begin(), systemPath.end(), '\\', '/');
  return ::dlopen(systemPath.c_str(), RTLD_NOW | RTLD_LOCAL);
}

HostModuleFunction ModuleLoader::GetSymbol(HostModuleHandle handle, const std::string& name) {
  // The system takes a null handle for every library of the process.
  if (handle == nullptr || !IsUsableName(name)) return nullptr;
  return reinterpret_cast<HostModuleFunction>(::dlsym(handle, name.c_str()));
}

void ModuleLoader::Unload(HostModuleHandle handle) {
  if (handle != nullptr) ::dlclose(handle);
}

}  // namespace tarvex

#include "host/module_loader.h"

#include <dlfcn.h>

#include "system/system_path.h"
#include "system/trusted_path.h"

namespace tarvex {
namespace {

bool IsUsableName(const std::string& name) {
  return !name.empty() && name.find('\0') == std::string::npos;
}

// A library's code has all the rights of the process before its first function is called.
bool IsTrusted(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return path[0] == '/' && TrustFault(path.substr(0, slash + 1), true).empty() &&
         TrustFault(path, false).empty();
}

}  // namespace

HostModuleHandle ModuleLoader::Load(const std::string& path, int /*reserved*/) {
  const std::string systemPath = ToSystemPath(path);
  // The system would take an empty name for the program itself, and look for a bare one in places
  // of its own.
  if (systemPath.empty() || !IsTrusted(systemPath)) return nullptr;
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

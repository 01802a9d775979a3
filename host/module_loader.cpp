#include "host/module_loader.h"

#include <dlfcn.h>

#include <utility>

#include "os/trusted_file.h"
#include "os/trusted_library.h"
#include "system/system_path.h"

namespace tarvex {
namespace {

bool IsUsableName(const std::string& name) {
  return !name.empty() && name.find('\0') == std::string::npos;
}

}  // namespace

HostModuleHandle ModuleLoader::Load(const std::string& path, int /*reserved*/) {
  const std::string systemPath = ToSystemPath(path);
  // The system would take an empty name for the program itself, and look for a bare one in places
  // of its own.
  if (systemPath.empty() || systemPath[0] != '/') return nullptr;
  const std::size_t slash = systemPath.rfind('/');
  const std::string folderPath = systemPath.substr(0, slash + 1);
  // A library's code has all the rights of the process before its first function is called.
  Descriptor folder;
  if (!OpenTrustedFolder(folderPath, folder).empty()) return nullptr;
  std::string ignored;
  const HostModuleHandle handle =
      LoadTrustedLibrary(folder, folderPath, systemPath.substr(slash + 1), ignored);
  if (handle != nullptr) {
    const std::lock_guard lock(mutex_);
    Loaded& loaded = loaded_[handle];
    ++loaded.loads;
    loaded.folders.push_back(std::move(folder));
  }
  return handle;
}

HostModuleFunction ModuleLoader::GetSymbol(HostModuleHandle handle, const std::string& name) {
  // The system takes a null handle for every library of the process.
  if (handle == nullptr || !IsUsableName(name)) return nullptr;
  return reinterpret_cast<HostModuleFunction>(::dlsym(handle, name.c_str()));
}

void ModuleLoader::Unload(HostModuleHandle handle) {
  if (handle == nullptr) return;
  ::dlclose(handle);
  const std::lock_guard lock(mutex_);
  const auto found = loaded_.find(handle);
  if (found != loaded_.end() && --found->second.loads == 0) loaded_.erase(found);
}

}  // namespace tarvex

#include "host/module_loader.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "os/trusted_file.h"
#include "os/trusted_library.h"
#include "system/system_path.h"

namespace tarvex {
namespace {

bool IsUsableName(const std::string& name) {
  return !name.empty() && name.find('\0') == std::string::npos;
}

bool IsSame(const Descriptor& one, const Descriptor& other) {
  struct stat first {};
  struct stat second {};
  return ::fstat(one.Get(), &first) == 0 && ::fstat(other.Get(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
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
  Descriptor opened;
  if (!OpenTrustedFolder(folderPath, opened).empty()) return nullptr;
  const Folder folder = Known(std::move(opened));
  std::string ignored;
  const HostModuleHandle handle =
      LoadTrustedLibrary(*folder, folderPath, systemPath.substr(slash + 1), ignored);
  if (handle != nullptr) {
    const std::lock_guard lock(mutex_);
    Loaded& loaded = loaded_[handle];
    ++loaded.loads;
    loaded.folders.insert(folder);
  }
  return handle;
}

ModuleLoader::Folder ModuleLoader::Known(Descriptor folder) {
  const std::lock_guard lock(mutex_);
  for (const auto& [handle, loaded] : loaded_) {
    const auto same = std::find_if(loaded.folders.begin(), loaded.folders.end(),
                                   [&](const Folder& known) { return IsSame(*known, folder); });
    if (same != loaded.folders.end()) return *same;
  }
  return std::make_shared<const Descriptor>(std::move(folder));
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

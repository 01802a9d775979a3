#include "service/core/platform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <utility>

#include "os/trusted_file.h"
#include "os/trusted_library.h"

namespace orvan::core {
namespace {

// Any address of this file names the library.
const char kAnchor = 0;

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

std::string LibraryFolder() {
  Dl_info info{};
  if (dladdr(&kAnchor, &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  char resolved[PATH_MAX];
  if (realpath(info.dli_fname, resolved) == nullptr) {
    return {};
  }
  return FolderOf(resolved);
}

std::int32_t ProcessNumber() {
  return getpid();
}

tarvex::Descriptor MakeModuleFolder(const std::string& stateFolder, const std::string& name,
                                    std::string& fault) {
  tarvex::Descriptor folder;
  const std::string modules = stateFolder + "/modules";
  fault = tarvex::MakeTrustedFolder(stateFolder, folder);
  // What modules keep is nobody else's; what lies beside it others may read.
  for (const std::string& path : {modules, modules + '/' + name}) {
    if (fault.empty()) fault = tarvex::MakePrivateFolder(path, folder);
  }
  return fault.empty() ? std::move(folder) : tarvex::Descriptor();
}

bool IsWritableFolder(const std::string& path) {
  struct stat status {};
  return path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0 &&
         S_ISDIR(status.st_mode) && faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

LoadedLibrary OpenLibrary(const tarvex::Descriptor& folder, const std::string& shownFolder,
                          const std::string& name, const char* entry) {
  LoadedLibrary library;
  library.handle = tarvex::LoadTrustedLibrary(folder, shownFolder, name, library.fault);
  if (library.handle == nullptr) return library;
  library.entry = dlsym(library.handle, entry);
  if (library.entry == nullptr) {
    library.fault = std::string("has no ") + entry;
    CloseLibrary(std::exchange(library.handle, nullptr));
  }
  return library;
}

void CloseLibrary(void* handle) {
  if (handle != nullptr) dlclose(handle);
}

}  // namespace orvan::core

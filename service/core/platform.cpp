#include "service/core/platform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>
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
  for (const std::string& path : {stateFolder, modules, modules + '/' + name}) {
    fault = tarvex::MakeTrustedFolder(path, folder);
    if (!fault.empty()) return {};
  }
  // For its content, too, and not as a place alone.
  tarvex::Descriptor opened(openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.IsOpen()) fault = std::generic_category().message(errno);
  return opened;
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

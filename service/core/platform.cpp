#include "service/core/platform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <utility>

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

std::string SystemPath(const std::string& path) {
  std::string result = path;
  std::replace(result.begin(), result.end(), '\\', '/');
  return result;
}

bool IsWritableFolder(const std::string& path) {
  struct stat status {};
  return path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0 &&
         S_ISDIR(status.st_mode) && faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

LoadedLibrary OpenLibrary(const std::string& path, const char* entry) {
  LoadedLibrary library;
  library.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library.handle != nullptr) {
    library.entry = dlsym(library.handle, entry);
  }
  if (library.entry == nullptr) {
    const char* reason = dlerror();
    library.fault = reason != nullptr ? reason : "cannot be loaded";
    CloseLibrary(std::exchange(library.handle, nullptr));
  }
  return library;
}

void CloseLibrary(void* handle) {
  if (handle != nullptr) {
    dlclose(handle);
  }
}

AppendFile::AppendFile(AppendFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

AppendFile& AppendFile::operator=(AppendFile&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

AppendFile::~AppendFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

bool AppendFile::Open(const std::string& path, bool truncate) {
  // Without O_NONBLOCK a pipe in the file's place would hold the service.
  const int flags = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  AppendFile fresh;
  fresh.descriptor_ = open(path.c_str(), flags, 0640);
  struct stat status {};
  if (fresh.descriptor_ < 0 || fstat(fresh.descriptor_, &status) != 0 || !S_ISREG(status.st_mode) ||
      (truncate && ftruncate(fresh.descriptor_, 0) != 0)) {
    return false;
  }
  *this = std::move(fresh);
  return true;
}

bool AppendFile::Write(std::string_view text) const {
  while (!text.empty()) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace orvan::core

#include "os/replaced_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "os/descriptor.h"
#include "os/descriptor_writer.h"
#include "os/trusted_path.h"

namespace tarvex {
namespace {

// Of what is there: 0 for a regular file and for nothing, else an errno value.
int CheckPlace(const Descriptor& folder, const std::string& name) {
  struct stat status {};
  if (fstatat(folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? 0 : errno;
  }
  return S_ISREG(status.st_mode) ? 0 : EEXIST;
}

int Fill(const Descriptor& file, std::string_view content, mode_t mode, bool isExact) {
  if (isExact && fchmod(file.Get(), mode) != 0) return errno;
  if (const int error = WriteAll(file.Get(), content.data(), content.size())) return error;
  return fsync(file.Get()) == 0 ? 0 : errno;
}

}  // namespace

int ReplaceFile(const std::string& path, std::string_view content, mode_t mode, bool isExact) {
  const std::size_t slash = path.rfind('/');
  const std::string name = path.substr(slash + 1);  // of npos: from the beginning
  const std::string place = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  if (name.empty()) return EISDIR;
  Descriptor folder;
  if (const int error = OpenFolderOverOwnLinks(place, folder)) return error;
  if (const int error = CheckPlace(folder, name)) return error;
  // Hidden, and with another ending, so that who reads the folder's files passes it over.
  const std::string fresh = '.' + name + '.' + std::to_string(getpid()) + ".new";
  unlinkat(folder.Get(), fresh.c_str(), 0);  // of a process that died
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const Descriptor file(openat(folder.Get(), fresh.c_str(), kFlags, mode));
  if (!file.IsOpen()) return errno;
  int error = Fill(file, content, mode, isExact);
  if (error == 0 && renameat(folder.Get(), fresh.c_str(), folder.Get(), name.c_str()) != 0) {
    error = errno;
  }
  if (error != 0) unlinkat(folder.Get(), fresh.c_str(), 0);
  return error;
}

}  // namespace tarvex

#include "os/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tarvex {

Descriptor OpenRegularFile(const std::string& path, LastLink lastLink) {
  // Without O_NONBLOCK the open of a pipe waits for a writer.
  const int links = lastLink == LastLink::kRefuse ? O_NOFOLLOW : 0;
  Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | links));
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  return file;
}

bool ReadUpTo(const Descriptor& file, std::size_t limit, std::string& text) {
  std::string content;
  char block[65536];
  while (content.size() < limit) {
    const ssize_t count = read(file.Get(), block, std::min(sizeof block, limit - content.size()));
    if (count == 0) break;
    if (count > 0) {
      content.append(block, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  text = std::move(content);
  return true;
}

bool ReadRegularFile(const std::string& path, std::size_t limit, std::string& text) {
  const Descriptor file = OpenRegularFile(path, LastLink::kFollow);
  return file.IsOpen() && ReadUpTo(file, limit, text);
}

bool IsOnlyName(const Descriptor& folder, const std::string& name, const Descriptor& file) {
  struct stat named {};
  struct stat opened {};
  return fstatat(folder.Get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         fstat(file.Get(), &opened) == 0 && S_ISREG(named.st_mode) && named.st_nlink == 1 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

bool IsNamed(const Descriptor& folder, const std::string& name, const Descriptor& file) {
  struct stat named {};
  struct stat opened {};
  return fstatat(folder.Get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         fstat(file.Get(), &opened) == 0 && named.st_dev == opened.st_dev &&
         named.st_ino == opened.st_ino;
}

}  // namespace tarvex

#include "service/machine/machine_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>

#include "os/descriptor.h"

namespace orvan::machine {
namespace {

constexpr std::size_t kReadBytes = 4096;

// That nothing is there is an answer.
int UnlessAbsent(int error) {
  return error == ENOENT || error == ENOTDIR ? 0 : error;
}

// Errors by which drivers say that a device has no such value, e.g. no page with a serial number.
bool SaysThatThereIsNone(int error) {
  return error == ENXIO || error == EINVAL || error == EOPNOTSUPP || error == ENODATA;
}

}  // namespace

LiveFiles::LiveFiles(std::string root) : root_(std::move(root)) {
  while (root_.ends_with('/')) root_.pop_back();
}

std::string LiveFiles::Below(const std::string& path) const {
  return root_ + path;
}

std::optional<std::string> LiveFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                  int& error) const {
  const std::string file = Below(Resolve(path, &error));
  if (error != 0) return {};
  const tarvex::Descriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (!fd.IsOpen() || fstat(fd.Get(), &status) != 0) error = UnlessAbsent(errno);
  if (error != 0 || !S_ISREG(status.st_mode)) return {};
  std::string text;
  char buffer[kReadBytes];
  while (text.size() < limit) {
    const ssize_t got = read(fd.Get(), buffer, std::min(sizeof(buffer), limit - text.size()));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      error = SaysThatThereIsNone(errno) ? 0 : errno;
      return {};
    }
    if (got == 0) break;
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

std::optional<std::string> LiveFiles::DoReadLink(const std::string& path, int& error) const {
  char target[PATH_MAX];
  const ssize_t size = readlink(Below(path).c_str(), target, sizeof(target));
  if (size < 0) error = errno == EINVAL ? 0 : UnlessAbsent(errno);  // EINVAL: no link
  if (static_cast<std::size_t>(size) == sizeof(target)) error = ENAMETOOLONG;
  if (size <= 0 || error != 0) return {};
  return std::string(target, static_cast<std::size_t>(size));
}

std::vector<std::string> LiveFiles::DoList(const std::string& path, int& error) const {
  const std::string resolved = Below(Resolve(path, &error));
  if (error != 0) return {};
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(resolved.c_str()), closedir);
  std::vector<std::string> names;
  if (!folder) {
    error = UnlessAbsent(errno);
    return names;
  }
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
    errno = 0;
  }
  // Half a list would be taken for the whole.
  error = errno;
  if (error != 0) return {};
  std::sort(names.begin(), names.end());
  return names;
}

bool LiveFiles::DoExists(const std::string& path, int& error) const {
  const std::string resolved = Below(Resolve(path, &error));
  if (error != 0) return false;
  struct stat status {};
  if (lstat(resolved.c_str(), &status) == 0) return true;
  error = UnlessAbsent(errno);
  return false;
}

}  // namespace orvan::machine

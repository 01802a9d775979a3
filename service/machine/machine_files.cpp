#include "service/machine/machine_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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
  if (!root_.empty()) rootFolder_.Reset(open(root_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// Follows links as Resolve does, in one call where the kernel has it: a search of disks reads
// hundreds of files over links. A kernel that has none, or is disturbed on its way (EAGAIN), leaves
// it to Resolve.
tarvex::Descriptor LiveFiles::Open(const std::string& path, int flags, int& error) const {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_NO_MAGICLINKS | (root_.empty() ? 0 : RESOLVE_IN_ROOT);
  tarvex::Descriptor file(
      static_cast<int>(syscall(SYS_openat2, rootFolder_.Get(), path.c_str(), &how, sizeof(how))));
  if (!file.IsOpen() && (errno == ENOSYS || errno == EAGAIN || errno == EBADF)) {
    const std::string resolved = Below(Resolve(path, &error));
    if (error != 0) return {};
    file.Reset(open(resolved.c_str(), flags | O_CLOEXEC | O_NOFOLLOW));
  }
  if (!file.IsOpen()) error = UnlessAbsent(errno);
  return file;
}

std::string LiveFiles::Below(const std::string& path) const {
  return root_ + path;
}

std::optional<std::string> LiveFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                  int& error) const {
  return DoReadAt(path, 0, limit, error);
}

std::optional<std::string> LiveFiles::DoReadAt(const std::string& path, std::uint64_t offset,
                                               std::size_t size, int& error) const {
  const tarvex::Descriptor fd = Open(path, O_RDONLY | O_NONBLOCK, error);
  if (!fd.IsOpen()) return {};
  struct stat status {};
  if (fstat(fd.Get(), &status) != 0) error = errno;
  if (error != 0 || !S_ISREG(status.st_mode)) return {};
  // From the begin no file needs to know places.
  if (offset != 0 && lseek(fd.Get(), static_cast<off_t>(offset), SEEK_SET) < 0) {
    error = errno;
    return {};
  }
  std::string text;
  char buffer[kReadBytes];
  while (text.size() < size) {
    const ssize_t got = read(fd.Get(), buffer, std::min(sizeof(buffer), size - text.size()));
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
  std::vector<std::string> names;
  tarvex::Descriptor opened = Open(path, O_RDONLY | O_DIRECTORY | O_NONBLOCK, error);
  if (!opened.IsOpen()) return names;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(fdopendir(opened.Get()), closedir);
  if (!folder) {
    error = errno;
    return names;
  }
  opened.Release();
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
  if (Open(path, O_PATH, error).IsOpen()) return true;
  if (error != EMFILE && error != ENFILE) return false;
  // That there is no descriptor left says nothing of the file.
  const std::string resolved = Below(Resolve(path, &error));
  if (error != 0) return false;
  struct stat status {};
  if (lstat(resolved.c_str(), &status) == 0) return true;
  error = UnlessAbsent(errno);
  return false;
}

}  // namespace orvan::machine

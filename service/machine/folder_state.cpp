#include "service/machine/folder_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "os/descriptor_writer.h"
#include "os/regular_file.h"

namespace orvan::machine {
namespace {

using tarvex::Descriptor;

constexpr std::size_t kLongestName = 128;

bool IsName(const std::string& name) {
  const auto isAllowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.';
  };
  return !name.empty() && name.size() <= kLongestName && name[0] != '.' &&
         std::all_of(name.begin(), name.end(), isAllowed);
}

// No name of a state file begins with a dot.
std::string TemporaryName(const std::string& name) {
  return '.' + name + ".new";
}

// 0, or an errno: EINVAL for what is no regular file.
int Look(const Descriptor& file, struct stat& status) {
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0) return errno;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

}  // namespace

int FolderState::Check(const std::string& name) const {
  if (!folder_.IsOpen()) return EOPNOTSUPP;
  return IsName(name) ? 0 : EINVAL;
}

int FolderState::SyncFolder() const {
  return fsync(folder_.Get()) == 0 ? 0 : errno;
}

std::optional<std::string> FolderState::Read(const std::string& name, int& error) const {
  error = Check(name);
  if (error != 0) return {};
  const Descriptor file(
      openat(folder_.Get(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  error = Look(file, status);
  if (error == ENOENT) error = 0;
  if (error != 0 || !file.IsOpen()) return {};
  std::string content;
  if (!tarvex::ReadUpTo(file, kLargestBytes + 1, content)) {
    error = errno;
    return {};
  }
  if (content.size() > kLargestBytes) {
    error = EFBIG;
    return {};
  }
  return content;
}

// Writes a new file and leaves it on the disk. 0, or an errno.
int FolderState::Fill(const std::string& temporary, const std::string& content) const {
  // Left by a process that ended in the middle.
  unlinkat(folder_.Get(), temporary.c_str(), 0);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  const Descriptor file(openat(folder_.Get(), temporary.c_str(), kFlags, 0600));
  if (!file.IsOpen()) return errno;
  if (const int error = tarvex::WriteAll(file.Get(), content.data(), content.size()); error != 0)
    return error;
  return fsync(file.Get()) == 0 ? 0 : errno;
}

int FolderState::Replace(const std::string& name, const std::string& content) {
  if (const int error = Check(name); error != 0) return error;
  if (content.size() > kLargestBytes) return EFBIG;
  const std::lock_guard lock(changing_);
  const std::string temporary = TemporaryName(name);
  int error = Fill(temporary, content);
  if (error == 0 && renameat(folder_.Get(), temporary.c_str(), folder_.Get(), name.c_str()) != 0) {
    error = errno;
  }
  if (error == 0) return SyncFolder();
  unlinkat(folder_.Get(), temporary.c_str(), 0);
  return error;
}

int FolderState::AppendTo(const Descriptor& file, const std::string& content) const {
  struct stat status {};
  if (const int error = Look(file, status); error != 0) return error;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (size > kLargestBytes || content.size() > kLargestBytes - size) return EFBIG;
  int error = tarvex::WriteAll(file.Get(), content.data(), content.size());
  if (error == 0 && fdatasync(file.Get()) != 0) error = errno;
  if (error == 0) return 0;
  // Half an entry would be read as a whole one.
  if (ftruncate(file.Get(), status.st_size) == 0) fdatasync(file.Get());
  return error;
}

int FolderState::Append(const std::string& name, const std::string& content) {
  if (const int error = Check(name); error != 0) return error;
  const std::lock_guard lock(changing_);
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  Descriptor file(openat(folder_.Get(), name.c_str(), kFlags));
  if (file.IsOpen() || errno != ENOENT) return AppendTo(file, content);
  file.Reset(openat(folder_.Get(), name.c_str(), kFlags | O_CREAT | O_EXCL, 0600));
  const bool isMade = file.IsOpen();
  int error = AppendTo(file, content);
  if (error == 0) error = SyncFolder();
  if (error != 0 && isMade) unlinkat(folder_.Get(), name.c_str(), 0);
  return error;
}

int FolderState::Remove(const std::string& name) {
  if (const int error = Check(name); error != 0) return error;
  const std::lock_guard lock(changing_);
  if (unlinkat(folder_.Get(), name.c_str(), 0) != 0) return errno == ENOENT ? 0 : errno;
  return SyncFolder();
}

std::vector<std::string> FolderState::List(int& error) const {
  std::vector<std::string> names;
  error = folder_.IsOpen() ? 0 : EOPNOTSUPP;
  if (error != 0) return names;
  Descriptor again(openat(folder_.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(
      again.IsOpen() ? fdopendir(again.Get()) : nullptr, closedir);
  if (!folder) {
    error = errno;
    return names;
  }
  again.Release();
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    if (IsName(entry->d_name)) names.push_back(entry->d_name);
    errno = 0;
  }
  error = errno;
  if (error != 0) return {};
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace orvan::machine

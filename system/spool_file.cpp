#include "system/spool_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "system/descriptor.h"
#include "system/trusted_path.h"

namespace tarvex {
namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;

// The folder may be another user's, who could put anything in the file's place.
bool IsOwn(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid();
}

// Takes back what was written last. A part of a text would spoil the next one as well. What another
// run has added behind it stays; where even this fails nothing more can be done.
void CutEnd(const Descriptor& file, ssize_t written) {
  const off_t end = lseek(file.Get(), 0, SEEK_CUR);
  struct stat status {};
  if (end < written || fstat(file.Get(), &status) != 0 || status.st_size != end) return;
  [[maybe_unused]] const int ignored = ftruncate(file.Get(), end - written);
}

bool WriteWhole(const Descriptor& file, std::string_view text) {
  ssize_t written = -1;
  do {
    written = write(file.Get(), text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  const bool isWhole = written == static_cast<ssize_t>(text.size());
  if (!isWhole && written > 0) CutEnd(file, written);
  return isWhole;
}

}  // namespace

bool AppendToSpool(const std::string& folder, const std::string& name, std::string_view text,
                   std::size_t limit) {
  Descriptor directory;
  if (OpenFolderOverOwnLinks(folder, directory) != 0) return false;
  constexpr int kFlags =
      O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const Descriptor file(openat(directory.Get(), name.c_str(), kFlags, kOwnerOnly));
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !IsOwn(status)) return false;
  if ((status.st_mode & kPermissions) != kOwnerOnly && fchmod(file.Get(), kOwnerOnly) != 0) {
    return false;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit || text.size() > limit - size) return false;
  return WriteWhole(file, text);
}

}  // namespace tarvex

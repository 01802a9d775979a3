#include "host/app_mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace tarvex {
namespace {

constexpr char kLockFile[] = "instance.lock";

Descriptor OpenFolder(const std::string& folder) {
  if (::mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) return Descriptor();
  return Descriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

std::unique_ptr<AppMutex> AppMutex::Open(const std::string& folder) {
  const Descriptor directory = OpenFolder(folder);
  if (!directory.IsOpen()) return nullptr;
  // Reading is enough for the lock, and lets a user without root's name but with the capability
  // to read everything share root's file. O_NONBLOCK: a planted pipe must not hold us up.
  Descriptor file(::openat(directory.Get(), kLockFile,
                           O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  struct stat status {};
  if (!file.IsOpen() || ::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return nullptr;
  }
  return std::unique_ptr<AppMutex>(new AppMutex(std::move(file)));
}

bool AppMutex::IsAlreadyRunning() {
  int result = 0;
  do {
    result = ::flock(file_.Get(), LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  // A lock that can't be had for another reason does not allow two instances either.
  return result != 0;
}

}  // namespace tarvex

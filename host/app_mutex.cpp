#include "host/app_mutex.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "os/trusted_file.h"

namespace tarvex {
namespace {

constexpr char kLockFile[] = "instance.lock";

// Reading is enough for the lock, and lets a user without root's name but with the capability to
// read everything share root's file. O_NONBLOCK: a planted pipe must not hold us up.
void MakeLockFile(const Descriptor& folder) {
  Descriptor(::openat(folder.Get(), kLockFile,
                      O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
}

}  // namespace

std::unique_ptr<AppMutex> AppMutex::Open(const std::string& folder, std::string* fault) {
  Descriptor directory;
  Descriptor file;
  std::string reason = MakeTrustedFolder(folder, directory);
  if (reason.empty()) {
    MakeLockFile(directory);
    // Whoever can write it, or the folder, could hold us up for ever.
    reason = OpenTrustedFile(directory, kLockFile, file);
    if (!reason.empty()) reason.insert(0, std::string(kLockFile) + ": ");
  }
  if (reason.empty()) return std::unique_ptr<AppMutex>(new AppMutex(std::move(file)));
  if (fault != nullptr) *fault = std::move(reason);
  return nullptr;
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

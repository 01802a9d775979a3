#include "host/records/record_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "os/folder_walk.h"
#include "os/trusted_path.h"

namespace tarvex {
namespace {

constexpr char kStoreFile[] = "records.db";
constexpr char kLockFile[] = "records.lock";
// The store itself comes last: as long as it has its name, it is damaged and will be set aside,
// and a log that was left behind would be taken for that of the new store.
constexpr std::array<const char*, 3> kSuffixes = {"-wal", "-shm", ""};

[[noreturn]] void Refuse(const std::string& text) {
  throw StoreError(StoreError::Kind::kOther, text);
}

[[noreturn]] void RefuseWithReason(const std::string& text, int error = errno) {
  Refuse(text + ": " + std::strerror(error));
}

bool IsOurs(const struct stat& status) {
  return WriterFault(status).empty();
}

}  // namespace

std::optional<RecordFolder> RecordFolder::Open(const std::string& path, bool create) {
  Descriptor folder;
  const int error =
      create ? MakeFolderOverOwnLinks(path, folder) : OpenFolderOverOwnLinks(path, folder);
  if (error == ENOENT && !create) return std::nullopt;
  if (error == ELOOP) Refuse("a link on the way to the folder is another user's, or one too many");
  if (error != 0) RefuseWithReason("the folder cannot be reached", error);
  struct stat status {};
  if (::fstat(folder.Get(), &status) != 0) RefuseWithReason("the folder cannot be examined");
  if (!IsOurs(status)) Refuse("the folder could be written by others");
  return RecordFolder(std::move(folder));
}

bool RecordFolder::Exists(const std::string& name) const {
  struct stat status {};
  return ::fstatat(folder_.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool RecordFolder::HasStore() const {
  return Exists(kStoreFile);
}

void RecordFolder::CheckFile(const std::string& name) const {
  struct stat status {};
  if (::fstatat(folder_.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (!S_ISREG(status.st_mode)) Refuse(name + " is no regular file");
  if (!IsOurs(status)) Refuse(name + " could be written by others");
}

void RecordFolder::CheckFiles() const {
  for (const char* suffix : kSuffixes) CheckFile(std::string(kStoreFile) + suffix);
}

SqliteDatabase RecordFolder::OpenStore() const {
  return SqliteDatabase(folder_, kStoreFile);
}

SqliteDatabase RecordFolder::Lock(int patienceMs) const {
  {
    // Closed to others, for whoever can open the file could hold us up. Only a new file is opened
    // here, and closed before the lock is taken: closing any descriptor of the file gives back this
    // process's locks on it.
    const Descriptor made(::openat(folder_.Get(), kLockFile,
                                   O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!made.IsOpen() && errno != EEXIST) {
      RefuseWithReason(std::string(kLockFile) + " cannot be opened");
    }
  }
  CheckFile(kLockFile);
  // SQLite's locks come with a time limit. Nothing is written, so the file stays empty.
  SqliteDatabase lock(folder_, kLockFile);
  lock.SetBusyTimeout(patienceMs);
  lock.Run("PRAGMA journal_mode = MEMORY; BEGIN EXCLUSIVE");
  return lock;
}

std::string RecordFolder::SetAside() const {
  std::string name;
  int number = 0;
  do {
    name = "records.damaged-" + std::to_string(++number) + ".db";
  } while (Exists(name) || Exists(name + "-wal") || Exists(name + "-shm"));
  for (const char* suffix : kSuffixes) {
    if (::renameat(folder_.Get(), (std::string(kStoreFile) + suffix).c_str(), folder_.Get(),
                   (name + suffix).c_str()) != 0 &&
        errno != ENOENT) {
      RefuseWithReason("the damaged store cannot be set aside");
    }
  }
  return name;
}

}  // namespace tarvex

#include "host/record_folder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

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

[[noreturn]] void RefuseWithReason(const std::string& text) {
  Refuse(text + ": " + std::strerror(errno));
}

// Only root and the effective user may write what this describes.
bool IsOurs(const struct stat& status) {
  return (status.st_uid == 0 || status.st_uid == ::geteuid()) &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

std::optional<RecordFolder> RecordFolder::Open(const std::string& path, bool create) {
  if (create && ::mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
    RefuseWithReason("the folder cannot be made");
  }
  const std::unique_ptr<char, decltype(&::free)> resolved(::realpath(path.c_str(), nullptr),
                                                          &::free);
  if (resolved == nullptr && errno == ENOENT && !create) return std::nullopt;
  Descriptor folder;
  if (resolved != nullptr) {
    folder.Reset(::open(resolved.get(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  }
  struct stat status {};
  if (!folder.IsOpen() || ::fstat(folder.Get(), &status) != 0) {
    RefuseWithReason("the folder cannot be opened");
  }
  if (!IsOurs(status)) Refuse("the folder could be written by others");
  return RecordFolder(std::move(folder), std::string(resolved.get()) + '/');
}

bool RecordFolder::Exists(const std::string& name) const {
  struct stat status {};
  return ::fstatat(folder_.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string RecordFolder::StorePath() const {
  return path_ + kStoreFile;
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
  SqliteDatabase lock(path_ + kLockFile);
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

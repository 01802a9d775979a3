#pragma once

#include <optional>
#include <string>

#include "host/records/sqlite_database.h"
#include "os/descriptor.h"

namespace tarvex {

// The folder that holds the record store, kept open, and the files in it. Only root and the
// effective user may be able to write there, and links on the way there must be theirs: what others
// could have put in place is refused. Failures are StoreErrors. One thread at a time.
class RecordFolder {
 public:
  // None: the folder is missing and was not to be made. Those above it are made with it.
  static std::optional<RecordFolder> Open(const std::string& path, bool create);

  bool HasStore() const;
  // Refuses a store that is no regular file, or one that others could have written.
  void CheckFiles() const;
  // Makes the store when it is missing.
  SqliteDatabase OpenStore() const;
  // Waits until nobody else opens, makes or sets aside the store, and no longer than that; given
  // back with the result.
  SqliteDatabase Lock(int patienceMs) const;
  // Gives the store, its log and the log's index another name, and returns that of the store.
  // Nobody here has it open; under the lock.
  std::string SetAside() const;

 private:
  explicit RecordFolder(Descriptor folder) : folder_(std::move(folder)) {}
  bool Exists(const std::string& name) const;
  void CheckFile(const std::string& name) const;

  Descriptor folder_;
};

}  // namespace tarvex

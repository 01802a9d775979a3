#pragma once

#include <optional>
#include <string>

#include "host/sqlite_database.h"
#include "system/descriptor.h"

namespace tarvex {

// The folder that holds the record store, kept open, and the files in it. Only root and the
// effective user may be able to write there: what others could have put in place is refused.
// Failures are StoreErrors. One thread at a time.
class RecordFolder {
 public:
  // None: the folder is missing and was not to be made.
  static std::optional<RecordFolder> Open(const std::string& path, bool create);

  // The path of the store, without a link in it.
  std::string StorePath() const;
  bool HasStore() const;
  // Refuses a store that is no regular file, or one that others could have written.
  void CheckFiles() const;
  // Waits until nobody else opens, makes or sets aside the store, and no longer than that; given
  // back with the result.
  SqliteDatabase Lock(int patienceMs) const;
  // Gives the store, its log and the log's index another name, and returns that of the store.
  // Nobody here has it open; under the lock.
  std::string SetAside() const;

 private:
  RecordFolder(Descriptor folder, std::string path)
      : folder_(std::move(folder)), path_(std::move(path)) {}
  bool Exists(const std::string& name) const;
  void CheckFile(const std::string& name) const;

  Descriptor folder_;
  std::string path_;  // ends with a slash
};

}  // namespace tarvex

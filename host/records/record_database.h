#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host/records/sqlite_database.h"

namespace tarvex {

struct StoredRecord {
  std::string nameSpace;
  std::string className;
  std::vector<std::string> keys;
  std::vector<std::string> values;  // as many as keys
};

// The open record store of one folder. All texts are UTF-8. Failures are StoreErrors, and the store
// then is as it was before the call. One thread at a time.
class RecordDatabase {
 public:
  // How long a call waits for other processes that write.
  static constexpr int kPatienceMs = 2000;

  // Opens the store, or makes it when `create`; else null when there is none. One that is damaged
  // gets another name and is treated as missing; `note` then says so. Waits `patienceMs` at most
  // for others that open it.
  static std::unique_ptr<RecordDatabase> Open(const std::string& folder, bool create,
                                              int patienceMs, std::string& note);

  // Adds all records, in their order, or none. They are on the disk when it returns.
  void Add(const std::deque<StoredRecord>& records);
  // Removes the namespace and those below it. False: there is none of them.
  bool Remove(const std::string& nameSpace);
  void SetPatience(int milliseconds) { database_.SetBusyTimeout(milliseconds); }
  // True when the file was removed or replaced.
  bool HasMoved() const { return database_.HasMoved(); }

 private:
  explicit RecordDatabase(SqliteDatabase database);
  void Add(const StoredRecord& record);

  SqliteDatabase database_;
  SqliteStatement addNamespace_;
  SqliteStatement addClass_;
  SqliteStatement addInstance_;
  SqliteStatement addProperty_;
  SqliteStatement remove_;
};

}  // namespace tarvex

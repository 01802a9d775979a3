#pragma once

#include <memory>
#include <string>

#include "host/records/sqlite_database.h"

namespace tarvex::history {

// The index's database, with its tables. Failures are StoreErrors. Any thread.

// history.db of the folder, made when it is missing, for its owner's eyes alone. One that is
// damaged or of another version is removed and made anew. Null where none can be kept: there is no
// such folder, others may write it, or the file is another program's.
std::unique_ptr<SqliteDatabase> OpenIndexFile(const std::string& folder);
// Removes it, for it holds what nobody wrote.
void RemoveIndexFile(const std::string& folder);
// One that is gone when it is closed.
std::unique_ptr<SqliteDatabase> TemporaryIndex(SqliteDatabase::Alone where);

}  // namespace tarvex::history

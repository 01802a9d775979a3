#pragma once

#include "host/records/sqlite_database.h"

namespace tarvex {

// Throws when the file is of a newer version of this program or was made by another one. It is not
// written to.
void CheckRecordSchema(SqliteDatabase& database);
// Brings an empty file, or one of an older version, to this version's tables and view, in one
// transaction.
void UpdateRecordSchema(SqliteDatabase& database);

}  // namespace tarvex

#pragma once

#include <sqlite3.h>

namespace tarvex {

// The functions of SQLite that the store uses, by their names without "sqlite3_". The library is
// heavy and few runs keep records, so it is loaded on first use, and stays.
struct SqliteLibrary {
#define TARVEX_SQLITE_FUNCTIONS(X) \
  X(bind_int64)                    \
  X(bind_text64)                   \
  X(busy_timeout)                  \
  X(changes64)                     \
  X(clear_bindings)                \
  X(close)                         \
  X(column_int64)                  \
  X(column_text)                   \
  X(db_config)                     \
  X(errmsg)                        \
  X(errstr)                        \
  X(exec)                          \
  X(file_control)                  \
  X(finalize)                      \
  X(get_autocommit)                \
  X(last_insert_rowid)             \
  X(open_v2)                       \
  X(prepare_v3)                    \
  X(reset)                         \
  X(snprintf)                      \
  X(step)                          \
  X(vfs_find)                      \
  X(vfs_register)
#define TARVEX_SQLITE_MEMBER(NAME) decltype(&::sqlite3_##NAME) NAME = nullptr;
  TARVEX_SQLITE_FUNCTIONS(TARVEX_SQLITE_MEMBER)
#undef TARVEX_SQLITE_MEMBER
};

// The loaded library. Throws a StoreError when it is not there or lacks a function; the next call
// tries again. Any thread.
const SqliteLibrary& Sqlite();

// For tests: the functions of a library of that name. Throws as Sqlite does.
SqliteLibrary LoadSqlite(const char* name);

}  // namespace tarvex

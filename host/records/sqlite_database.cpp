#include "host/records/sqlite_database.h"

#include <fcntl.h>

#include <algorithm>

#include "host/records/sqlite_library.h"

namespace tarvex {
namespace {

StoreError::Kind KindOf(int code) {
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StoreError::Kind::kBusy;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return StoreError::Kind::kDamaged;
    case SQLITE_PROTOCOL:
      return StoreError::Kind::kStuck;
    default:
      return StoreError::Kind::kOther;
  }
}

void Check(sqlite3* database, int code) {
  if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return;
  throw StoreError(KindOf(code),
                   database != nullptr ? Sqlite().errmsg(database) : Sqlite().errstr(code));
}

int KeepPath(sqlite3_vfs* /*vfs*/, const char* path, int room, char* kept) {
  Sqlite().snprintf(room, kept, "%s", path);
  return SQLITE_OK;
}

// SQLite waits for a log's index that stays locked for ten seconds, each time it is asked.
thread_local std::chrono::microseconds waitsLeft = std::chrono::microseconds::max();

int SleepWithin(sqlite3_vfs* /*vfs*/, int microseconds) {
  const auto time = std::min(std::chrono::microseconds(microseconds), waitsLeft);
  waitsLeft -= time;
  if (time.count() > 0) Sqlite().vfs_find(nullptr)->xSleep(nullptr, static_cast<int>(time.count()));
  return microseconds;
}

// SQLite opens the log and its index by path, later than the file. The path of an open folder that
// /proc offers cannot be turned elsewhere meanwhile, but SQLite would translate it into one that
// can; so it gets its own system calls without the translation.
const char* FolderVfs() {
  static constexpr char kName[] = "tarvex-folder";
  static sqlite3_vfs vfs = [] {
    sqlite3_vfs made = *Sqlite().vfs_find(nullptr);
    made.pNext = nullptr;
    made.zName = kName;
    made.xFullPathname = KeepPath;
    made.xSleep = SleepWithin;
    return made;
  }();
  [[maybe_unused]] static const int registered = Sqlite().vfs_register(&vfs, 0);
  return kName;
}

}  // namespace

SqliteDatabase::SqliteDatabase(const Descriptor& folder, const std::string& name)
    : folder_(::fcntl(folder.Get(), F_DUPFD_CLOEXEC, 0)) {
  const std::string path = "/proc/self/fd/" + std::to_string(folder_.Get()) + '/' + name;
  sqlite3* opened = nullptr;
  const int code = Sqlite().open_v2(
      path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
      FolderVfs());
  database_.reset(opened);
  Check(opened, code);
}

SqliteDatabase::SqliteDatabase(Alone where) {
  sqlite3* opened = nullptr;
  constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int code =
      Sqlite().open_v2(where == Alone::kInMemory ? ":memory:" : "", &opened, kFlags, nullptr);
  database_.reset(opened);
  Check(opened, code);
}

void SqliteDatabase::Run(const std::string& sql) {
  Check(database_.get(), Sqlite().exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr));
}

std::int64_t SqliteDatabase::Number(const char* sql) {
  SqliteStatement statement(*this, sql);
  return statement.Step() ? Sqlite().column_int64(statement.statement_.get(), 0) : 0;
}

std::string SqliteDatabase::Text(const char* sql) {
  SqliteStatement statement(*this, sql);
  if (!statement.Step()) return {};
  const unsigned char* text = Sqlite().column_text(statement.statement_.get(), 0);
  return text != nullptr ? reinterpret_cast<const char*>(text) : std::string();
}

void SqliteDatabase::SetBusyTimeout(int milliseconds) {
  Sqlite().busy_timeout(database_.get(), milliseconds);
}

void SqliteDatabase::LimitWaits(std::chrono::milliseconds most) {
  waitsLeft = most;
}

void SqliteDatabase::Configure(int option, bool value) {
  Check(database_.get(), Sqlite().db_config(database_.get(), option, value ? 1 : 0, nullptr));
}

void SqliteDatabase::KeepLogFiles() {
  int on = 1;
  Sqlite().file_control(database_.get(), nullptr, SQLITE_FCNTL_PERSIST_WAL, &on);
}

bool SqliteDatabase::HasMoved() const {
  int moved = 0;
  return Sqlite().file_control(database_.get(), nullptr, SQLITE_FCNTL_HAS_MOVED, &moved) ==
             SQLITE_OK &&
         moved != 0;
}

bool SqliteDatabase::InTransaction() const {
  return Sqlite().get_autocommit(database_.get()) == 0;
}

std::int64_t SqliteDatabase::LastRow() const {
  return Sqlite().last_insert_rowid(database_.get());
}

std::int64_t SqliteDatabase::ChangedRows() const {
  return Sqlite().changes64(database_.get());
}

void SqliteDatabase::Close::operator()(sqlite3* database) const {
  Sqlite().close(database);
}

SqliteStatement::SqliteStatement(SqliteDatabase& database, const char* sql)
    : database_(database.database_.get()) {
  sqlite3_stmt* prepared = nullptr;
  const int code =
      Sqlite().prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
  statement_.reset(prepared);
  Check(database_, code);
}

void SqliteStatement::Finalize::operator()(sqlite3_stmt* statement) const {
  Sqlite().finalize(statement);
}

bool SqliteStatement::Step() {
  const int code = Sqlite().step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  const StoreError error(KindOf(code), Sqlite().errmsg(database_));
  Sqlite().reset(statement_.get());
  throw error;
}

void SqliteStatement::Begin(std::initializer_list<Value> values) {
  Sqlite().reset(statement_.get());
  Bind(values);
}

bool SqliteStatement::Next() {
  const bool isThere = Step();
  if (!isThere) Sqlite().reset(statement_.get());
  return isThere;
}

std::int64_t SqliteStatement::Number(int column) const {
  return Sqlite().column_int64(statement_.get(), column);
}

std::string SqliteStatement::Text(int column) const {
  const unsigned char* text = Sqlite().column_text(statement_.get(), column);
  return text != nullptr ? reinterpret_cast<const char*>(text) : std::string();
}

void SqliteStatement::Run(std::initializer_list<Value> values) {
  Bind(values);
  while (Step()) {
  }
  Sqlite().reset(statement_.get());
  Sqlite().clear_bindings(statement_.get());
}

void SqliteStatement::Bind(std::initializer_list<Value> values) {
  int index = 0;
  for (const Value& value : values) {
    ++index;
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
      Check(database_, Sqlite().bind_int64(statement_.get(), index, *number));
    } else {
      // Borrowed until the reset below. An empty view's null pointer would bind NULL.
      const std::string_view text = std::get<std::string_view>(value);
      Check(database_,
            Sqlite().bind_text64(statement_.get(), index, text.empty() ? "" : text.data(),
                                 text.size(), SQLITE_STATIC, SQLITE_UTF8));
    }
  }
}

SqliteTransaction::SqliteTransaction(SqliteDatabase& database) : database_(database) {
  // The right to write is asked for at once, where waiting for others works; a reader that starts
  // to write later is turned away instead.
  database_.Run("BEGIN IMMEDIATE");
}

SqliteTransaction::~SqliteTransaction() {
  if (!database_.InTransaction()) return;
  try {
    database_.Run("ROLLBACK");
  } catch (const StoreError&) {
    // The file is as before in any case: the next to open it undoes what is left.
  }
}

void SqliteTransaction::Commit() {
  database_.Run("COMMIT");
}

}  // namespace tarvex

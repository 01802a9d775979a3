#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include "os/descriptor.h"

namespace tarvex {

// A store that does not do what it was asked to. The text is one line for the log.
class StoreError : public std::runtime_error {
 public:
  enum class Kind {
    kBusy,     // others hold it; it may work the next time
    kDamaged,  // the file is no sound database
    kStuck,    // locks that this connection could not give back are in its own way
    kOther,
  };
  StoreError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  Kind GetKind() const { return kind_; }

 private:
  Kind kind_;
};

// One connection to an SQLite file. Failures are StoreErrors. One thread at a time.
class SqliteDatabase {
 public:
  // Opens the file of that name in the folder, or makes it. A link in its place is refused. It
  // stays in this folder, whatever becomes of the path that led there.
  SqliteDatabase(const Descriptor& folder, const std::string& name);
  // A database of this process alone, which ends with this object: on a disk as far as it is long,
  // or in memory, where no disk has room.
  enum class Alone { kOnDisk, kInMemory };
  explicit SqliteDatabase(Alone where);

  // Runs statements, whose rows are passed over.
  void Run(const std::string& sql);
  // The first column of the first row; 0 and "" when there is none.
  std::int64_t Number(const char* sql);
  std::string Text(const char* sql);
  // How long a statement waits for others.
  void SetBusyTimeout(int milliseconds);
  // How long all waits of this thread may take together from now on, of all connections, also those
  // that have no time limit of their own.
  static void LimitWaits(std::chrono::milliseconds most);
  // An SQLITE_DBCONFIG_ of one truth value.
  void Configure(int option, bool value);
  // Leaves the log and its index beside the file when the last connection ends.
  void KeepLogFiles();
  // True when another file, or none, has the name now.
  bool HasMoved() const;
  bool InTransaction() const;
  std::int64_t LastRow() const;
  std::int64_t ChangedRows() const;

 private:
  friend class SqliteStatement;
  struct Close {
    void operator()(sqlite3* database) const;
  };
  Descriptor folder_;  // in the paths that SQLite has
  std::unique_ptr<sqlite3, Close> database_;
};

// A prepared statement; it ends before its database.
class SqliteStatement {
 public:
  using Value = std::variant<std::int64_t, std::string_view>;
  SqliteStatement(SqliteDatabase& database, const char* sql);
  // Runs it to its end with these values for ?1, ?2, ...
  void Run(std::initializer_list<Value> values);

  // Begins anew with these values, which stay where they are as long as there are rows to come.
  void Begin(std::initializer_list<Value> values);
  // Goes to the next row; false: there is none, and it is at its end.
  bool Next();
  // Of the row: a column, counted from 0. 0 and "" for one that is empty.
  std::int64_t Number(int column) const;
  std::string Text(int column) const;

 private:
  friend class SqliteDatabase;
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  void Bind(std::initializer_list<Value> values);
  bool Step();  // true: there is a row
  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// Writes that count all together or not at all: without Commit they are undone.
class SqliteTransaction {
 public:
  explicit SqliteTransaction(SqliteDatabase& database);
  ~SqliteTransaction();
  SqliteTransaction(const SqliteTransaction&) = delete;
  SqliteTransaction& operator=(const SqliteTransaction&) = delete;
  void Commit();

 private:
  SqliteDatabase& database_;
};

}  // namespace tarvex

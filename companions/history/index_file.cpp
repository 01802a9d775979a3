#include "companions/history/index_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "os/descriptor.h"
#include "os/folder_walk.h"
#include "os/trusted_path.h"

namespace tarvex::history {
namespace {

constexpr char kName[] = "history.db";
constexpr int kPatienceMs = 1000;
// To tell the file from another program's: "TvxH".
constexpr std::int64_t kApplication = 0x54767848;
// Of the tables, and of what is read out of a log: a change of either makes a new index.
constexpr std::int64_t kVersion = 7;

constexpr char kTables[] =
    "CREATE TABLE log(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, bytes INTEGER, changed "
    "INTEGER, inode INTEGER, why TEXT, run TEXT, state INTEGER, machine TEXT, machine_id TEXT, "
    "start TEXT, end TEXT, verdict INTEGER, devices INTEGER, counts TEXT, simulated INTEGER);"
    "CREATE TABLE device(id INTEGER PRIMARY KEY, log INTEGER NOT NULL, identity TEXT, key TEXT, "
    "name TEXT, serial TEXT, place TEXT, module TEXT, verdict INTEGER);"
    // Apart, for it is most of the file, and few questions need it.
    "CREATE TABLE facts(device INTEGER PRIMARY KEY, tests TEXT);"
    "CREATE INDEX device_log ON device(log);"
    "CREATE INDEX device_identity ON device(identity);";

bool IsOurs(const Descriptor& folder, const char* name) {
  struct stat status {};
  return fstatat(folder.Get(), name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(status.st_mode) && status.st_nlink == 1 && WriterFault(status).empty();
}

Descriptor OpenFolder(const std::string& path) {
  Descriptor folder;
  struct stat status {};
  if (OpenFolderOverOwnLinks(path, folder) != 0 || fstat(folder.Get(), &status) != 0 ||
      !WriterFault(status).empty()) {
    return {};
  }
  return folder;
}

bool Make(const Descriptor& folder) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  const Descriptor made(openat(folder.Get(), kName, kFlags, 0600));
  return made.IsOpen();
}

void Remove(const Descriptor& folder) {
  for (const char* suffix : {"-wal", "-shm", ""}) {
    unlinkat(folder.Get(), (std::string(kName) + suffix).c_str(), 0);
  }
}

void MakeTables(SqliteDatabase& database) {
  SqliteTransaction transaction(database);
  // Another program may have made them meanwhile.
  if (database.Number("PRAGMA user_version") == 0) {
    database.Run(kTables);
    database.Run("PRAGMA application_id = " + std::to_string(kApplication));
    database.Run("PRAGMA user_version = " + std::to_string(kVersion));
  }
  transaction.Commit();
}

enum class Found { kGood, kOutdated, kForeign };

Found Prepare(SqliteDatabase& database) {
  database.SetBusyTimeout(kPatienceMs);
  const std::int64_t application = database.Number("PRAGMA application_id");
  const std::int64_t version = database.Number("PRAGMA user_version");
  const std::int64_t tables = database.Number("SELECT count(*) FROM sqlite_schema");
  if (application != kApplication && (application != 0 || version != 0 || tables != 0)) {
    return Found::kForeign;
  }
  if (application == kApplication && version != kVersion) return Found::kOutdated;
  // What a machine that goes down takes away is read again; it must not leave half of it.
  database.Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
  if (version == 0) MakeTables(database);
  return Found::kGood;
}

// Null for one that has to be made anew; `isForeign` is set when it must not be.
std::unique_ptr<SqliteDatabase> Try(const Descriptor& folder, bool& isForeign) {
  try {
    auto database = std::make_unique<SqliteDatabase>(folder, kName);
    const Found found = Prepare(*database);
    isForeign = found == Found::kForeign;
    return found == Found::kGood ? std::move(database) : nullptr;
  } catch (const StoreError& error) {
    if (error.GetKind() != StoreError::Kind::kDamaged) throw;
    return nullptr;
  }
}

}  // namespace

std::unique_ptr<SqliteDatabase> OpenIndexFile(const std::string& path) {
  const Descriptor folder = OpenFolder(path);
  if (!folder.IsOpen()) return nullptr;
  for (int tries = 0; tries < 2; ++tries) {
    if (!IsOurs(folder, kName) && !Make(folder)) return nullptr;
    bool isForeign = false;
    if (auto database = Try(folder, isForeign)) return database;
    if (isForeign) return nullptr;
    Remove(folder);
  }
  return nullptr;
}

void RemoveIndexFile(const std::string& path) {
  const Descriptor folder = OpenFolder(path);
  if (folder.IsOpen() && IsOurs(folder, kName)) Remove(folder);
}

std::unique_ptr<SqliteDatabase> TemporaryIndex(SqliteDatabase::Alone where) {
  auto database = std::make_unique<SqliteDatabase>(where);
  database->Run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
  MakeTables(*database);
  return database;
}

}  // namespace tarvex::history

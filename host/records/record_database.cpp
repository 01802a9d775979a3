#include "host/records/record_database.h"

#include <utility>

#include "host/records/record_folder.h"
#include "host/records/record_schema.h"

namespace tarvex {
namespace {

// In WAL mode readers and the writer never wait for each other. FULL: a record has reached the disk
// when its test is reported as finished, for a machine under test may lose its power any moment.
// The log is cut back to 4 MiB when a reader that held it up has gone.
constexpr char kSettings[] =
    "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;"
    "PRAGMA secure_delete = ON; PRAGMA journal_size_limit = 4194304";

constexpr char kAddNamespace[] =
    "INSERT INTO namespace (name) VALUES (?1) ON CONFLICT (name) DO NOTHING";
constexpr char kAddClass[] =
    "INSERT INTO class (namespace_id, name) SELECT id, ?2 FROM namespace WHERE name = ?1"
    " ON CONFLICT (namespace_id, name) DO NOTHING";
constexpr char kAddInstance[] =
    "INSERT INTO instance (class_id) SELECT class.id FROM class"
    " JOIN namespace ON namespace.id = class.namespace_id"
    " WHERE namespace.name = ?1 AND class.name = ?2";
constexpr char kAddProperty[] =
    "INSERT INTO property (instance_id, position, name, value) VALUES (?1, ?2, ?3, ?4)";
constexpr char kRemove[] =
    "DELETE FROM namespace WHERE name = ?1 OR substr(name, 1, length(?1) + 1) = ?1 || '\\'";

SqliteDatabase OpenChecked(const RecordFolder& place, int patienceMs) {
  SqliteDatabase database = place.OpenStore();
  database.SetBusyTimeout(patienceMs);
  // What is left alone must not be tidied up on closing either.
  database.Configure(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, true);
  CheckRecordSchema(database);
  const std::string found = database.Text("PRAGMA quick_check(1)");
  if (found != "ok") throw StoreError(StoreError::Kind::kDamaged, found);
  database.Configure(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, false);
  database.Run(kSettings);
  // Readers without the right to write in the folder need the log's index to be there.
  database.KeepLogFiles();
  UpdateRecordSchema(database);
  return database;
}

}  // namespace

RecordDatabase::RecordDatabase(SqliteDatabase database)
    : database_(std::move(database)),
      addNamespace_(database_, kAddNamespace),
      addClass_(database_, kAddClass),
      addInstance_(database_, kAddInstance),
      addProperty_(database_, kAddProperty),
      remove_(database_, kRemove) {}

std::unique_ptr<RecordDatabase> RecordDatabase::Open(const std::string& folder, bool create,
                                                     int patienceMs, std::string& note) {
  const std::optional<RecordFolder> place = RecordFolder::Open(folder, create);
  if (!place || (!create && !place->HasStore())) return nullptr;
  const SqliteDatabase lock = place->Lock(patienceMs);
  place->CheckFiles();
  const auto open = [&] {
    return std::unique_ptr<RecordDatabase>(new RecordDatabase(OpenChecked(*place, patienceMs)));
  };
  // SQLite takes a page that cannot be read for a moment for damage, too, and what is set aside is
  // out of every reader's sight.
  for (const bool isFirstLook : {true, false}) {
    try {
      return open();
    } catch (const StoreError& error) {
      if (error.GetKind() != StoreError::Kind::kDamaged) throw;
      if (isFirstLook) continue;
      note = "the store is damaged (" + std::string(error.what()) + ") and was set aside as " +
             place->SetAside();
    }
  }
  return create ? open() : nullptr;
}

void RecordDatabase::Add(const std::deque<StoredRecord>& records) {
  SqliteTransaction transaction(database_);
  for (const StoredRecord& record : records) Add(record);
  transaction.Commit();
}

void RecordDatabase::Add(const StoredRecord& record) {
  addNamespace_.Run({record.nameSpace});
  addClass_.Run({record.nameSpace, record.className});
  addInstance_.Run({record.nameSpace, record.className});
  const std::int64_t instance = database_.LastRow();
  for (std::size_t i = 0; i < record.keys.size(); ++i) {
    addProperty_.Run({instance, static_cast<std::int64_t>(i), record.keys[i], record.values[i]});
  }
}

bool RecordDatabase::Remove(const std::string& nameSpace) {
  SqliteTransaction transaction(database_);
  remove_.Run({nameSpace});
  const bool removed = database_.ChangedRows() > 0;
  transaction.Commit();
  if (!removed) return false;
  // What was erased goes from the log, too, unless somebody is still reading there.
  database_.SetBusyTimeout(0);
  try {
    database_.Run("PRAGMA wal_checkpoint(TRUNCATE)");
  } catch (const StoreError&) {
    // It goes with the next checkpoint.
  }
  database_.SetBusyTimeout(kPatienceMs);
  return true;
}

}  // namespace tarvex

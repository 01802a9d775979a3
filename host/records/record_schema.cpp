#include "host/records/record_schema.h"

#include <array>
#include <string>

namespace tarvex {
namespace {

// kSteps[n] leads from version n to n + 1. What was shipped is never edited; a change is a new
// step.
constexpr std::array<const char*, 2> kSteps = {
    R"(
CREATE TABLE namespace (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE);
CREATE TABLE class (
  id INTEGER PRIMARY KEY,
  namespace_id INTEGER NOT NULL REFERENCES namespace ON DELETE CASCADE,
  name TEXT NOT NULL,
  UNIQUE (namespace_id, name));
CREATE TABLE instance (
  id INTEGER PRIMARY KEY,
  class_id INTEGER NOT NULL REFERENCES class ON DELETE CASCADE);
CREATE INDEX instance_of_class ON instance (class_id);
CREATE TABLE property (
  instance_id INTEGER NOT NULL REFERENCES instance ON DELETE CASCADE,
  position INTEGER NOT NULL,
  name TEXT NOT NULL,
  value TEXT NOT NULL,
  PRIMARY KEY (instance_id, position)) WITHOUT ROWID;
)",
    R"(
CREATE VIEW execution_record AS
SELECT
  namespace.name AS namespace,
  class.name AS class,
  (SELECT value FROM property WHERE instance_id = instance.id AND name = 'ModuleName')
    AS module_name,
  (SELECT value FROM property WHERE instance_id = instance.id AND name = 'DeviceUdi')
    AS device_udi,
  (SELECT value FROM property WHERE instance_id = instance.id AND name = 'DeviceDisplayName')
    AS device_display_name,
  (SELECT value FROM property WHERE instance_id = instance.id AND name = 'TestName')
    AS test_name,
  (SELECT value FROM property WHERE instance_id = instance.id AND name = 'TestStatus')
    AS test_status,
  (SELECT value FROM property WHERE instance_id = instance.id AND name = 'TestStartTimestamp')
    AS test_start_timestamp,
  (SELECT value FROM property WHERE instance_id = instance.id AND name = 'TestDuration')
    AS test_duration
FROM instance
  JOIN class ON class.id = instance.class_id
  JOIN namespace ON namespace.id = class.namespace_id;
)",
};
constexpr auto kVersion = static_cast<std::int64_t>(kSteps.size());

std::int64_t Version(SqliteDatabase& database) {
  return database.Number("PRAGMA user_version");
}

}  // namespace

void CheckRecordSchema(SqliteDatabase& database) {
  const std::int64_t version = Version(database);
  if (version > kVersion) {
    throw StoreError(StoreError::Kind::kOther,
                     "the store was made by a newer version of this program and is left alone");
  }
  const bool isNew = version == 0 && database.Number("SELECT count(*) FROM sqlite_schema") == 0;
  if (version < 0 || (version == 0 && !isNew)) {
    throw StoreError(StoreError::Kind::kOther,
                     "the store was made by another program and is left alone");
  }
}

void UpdateRecordSchema(SqliteDatabase& database) {
  if (Version(database) == kVersion) return;
  SqliteTransaction transaction(database);
  for (std::int64_t version = Version(database); version < kVersion; ++version) {
    database.Run(kSteps[static_cast<std::size_t>(version)]);
  }
  database.Run("PRAGMA user_version = " + std::to_string(kVersion));
  transaction.Commit();
}

}  // namespace tarvex

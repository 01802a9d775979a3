#pragma once

#include <fcntl.h>
#include <sqlite3.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "host/records/record_store.h"
#include "host/records/sqlite_database.h"
#include "tests/support/test_folder.h"

// What the tests of the record store share.
namespace tarvex::testing {

inline const std::wstring kNamespace = L"ROOT\\Tarvex\\Tarvex_Diagnostics";

// A record in the form that the execution tracker gives it, told apart by its test's name.
inline int Write(RecordStore& store, const std::string& test,
                 const std::wstring& nameSpace = kNamespace) {
  return store.WriteRecord(
      {"ModuleName", "DeviceUdi", "DeviceDisplayName", "TestName", "TestStatus",
       "TestStartTimestamp", "TestDuration"},
      {"storage", "udi-1", "Disk 1", test, "PASSED", "2024-11-21T09:00:00.007+01:00", "12.345"},
      "storage", nameSpace);
}

inline std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ";") + text;
  return joined;
}

// The lines of text without the folder's name in them, joined.
inline std::string Notes(RecordStore& store, const TestFolder& folder) {
  const std::string head = "execution records in " + folder.Path() + ": ";
  std::vector<std::string> notes = store.TakeNotes();
  for (std::string& note : notes) {
    EXPECT_TRUE(note.starts_with(head)) << note;
    note.erase(0, head.size());
  }
  return Joined(notes);
}

// A store in this folder writes nothing, and says why.
inline void ExpectRefused(const TestFolder& folder, const std::string& note) {
  RecordStore store(folder.Path());
  EXPECT_EQ(Write(store, "a"), RecordStore::kNotDone);
  EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
  store.Finish();
  EXPECT_EQ(Notes(store, folder), note + ";2 records could not be written and are lost");
}

// A connection of another program.
inline SqliteDatabase Connect(const std::filesystem::path& path) {
  const Descriptor folder(::open(path.parent_path().c_str(), O_PATH | O_CLOEXEC));
  return {folder, path.filename()};
}

// What another program sees in the store: one value of one row.
inline std::string Ask(const std::string& path, const std::string& sql) {
  return Connect(path).Text(sql.c_str());
}

// The names of the tests in the store, in the order in which they were written.
inline std::string Tests(const TestFolder& folder) {
  return Ask(folder / "records.db",
             "SELECT group_concat(value, ' ') FROM (SELECT value FROM property"
             " WHERE name = 'TestName' ORDER BY instance_id)");
}

inline std::string FileText(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace tarvex::testing

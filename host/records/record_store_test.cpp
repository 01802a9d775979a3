#include "host/records/record_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "tests/support/record_test_support.h"

namespace tarvex {
namespace {

using testing::Ask;
using testing::Connect;
using testing::kNamespace;
using testing::Notes;
using testing::Tests;
using testing::Write;

class RecordStoreTest : public ::testing::Test {
 protected:
  std::string Asked(const std::string& sql) const { return Ask(folder / "records.db", sql); }
  int Remove(const std::string& name) { return store.RemoveNamespace("ROOT", "Tarvex", name); }
  bool Exists(const std::string& name) const { return std::filesystem::exists(folder / name); }
  mode_t Mode(const std::string& path) const {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }

  TestFolder folder;
  RecordStore store{folder.Path()};
};

TEST_F(RecordStoreTest, ARecordIsARowOfTheView) {
  EXPECT_EQ(Write(store, "Read Test"), 0);
  EXPECT_EQ(Asked("SELECT namespace || '|' || class || '|' || module_name || '|' || device_udi"
                  " || '|' || device_display_name || '|' || test_name || '|' || test_status"
                  " || '|' || test_start_timestamp || '|' || test_duration FROM execution_record"),
            "ROOT\\Tarvex\\Tarvex_Diagnostics|storage|storage|udi-1|Disk 1|Read Test|PASSED|"
            "2024-11-21T09:00:00.007+01:00|12.345");
  EXPECT_EQ(Notes(store, folder), "");
}

TEST_F(RecordStoreTest, KeepsThePropertiesInTheirOrder) {
  ASSERT_EQ(store.WriteRecord({"b", "a", "b"}, {"1", "", "3"}, "c", L"n"), 0);
  EXPECT_EQ(Asked("SELECT group_concat(name || '=' || value) FROM"
                  " (SELECT * FROM property ORDER BY position)"),
            "b=1,a=,b=3");
}

TEST_F(RecordStoreTest, TwoRecordsOfAModuleAreTwoInstancesOfOneClass) {
  Write(store, "a");
  Write(store, "b");
  EXPECT_EQ(Asked("SELECT count(*) FROM namespace"), "1");
  EXPECT_EQ(Asked("SELECT count(*) FROM class"), "1");
  EXPECT_EQ(Asked("SELECT count(*) FROM instance"), "2");
}

TEST_F(RecordStoreTest, NamesCompareExactly) {
  store.WriteRecord({}, {}, "storage", L"ROOT\\Tarvex\\x");
  store.WriteRecord({}, {}, "Storage", L"ROOT\\Tarvex\\x");
  store.WriteRecord({}, {}, "storage", L"ROOT\\Tarvex\\X");
  EXPECT_EQ(Asked("SELECT count(*) FROM class"), "3");
  EXPECT_EQ(Remove("x"), 0);
  EXPECT_EQ(Asked("SELECT name FROM namespace"), "ROOT\\Tarvex\\X");
}

TEST_F(RecordStoreTest, KeepsTextsAsTheyAre) {
  using namespace std::string_literals;
  const std::string odd = "Gr\xC3\xB6\xC3\x9F\x65 'x\"; DROP TABLE property; --\n\0end"s;
  ASSERT_EQ(store.WriteRecord({odd}, {odd}, odd, L"R\\\u00F6\U0001F4BE"), 0);
  EXPECT_EQ(Asked("SELECT length(CAST(value AS BLOB)) FROM property"), "41");
  EXPECT_EQ(Asked("SELECT hex(name) FROM class").size(), 82U);
  EXPECT_EQ(Asked("SELECT name FROM namespace"), "R\\\xC3\xB6\xF0\x9F\x92\xBE");
  EXPECT_EQ(store.RemoveNamespace("R", "\xC3\xB6\xF0\x9F\x92\xBE", "x"), RecordStore::kNotDone);
}

TEST_F(RecordStoreTest, ARecordWithoutOneValueForEachKeyIsRefused) {
  EXPECT_EQ(store.WriteRecord({"a", "b"}, {"1"}, "c", L"n"), RecordStore::kNotDone);
  EXPECT_EQ(store.WriteRecord({}, {"1"}, "c", L"n"), RecordStore::kNotDone);
  EXPECT_EQ(Notes(store, folder),
            "a record without a value for each key was refused;"
            "a record without a value for each key was refused");
  EXPECT_FALSE(Exists("records.db"));
}

TEST_F(RecordStoreTest, RemovingANamespaceTakesAllThatItHolds) {
  Write(store, "a");
  Write(store, "b", kNamespace + L"\\below");
  Write(store, "c", kNamespace + L"x");
  Write(store, "d", L"ROOT\\Tarvex");
  EXPECT_EQ(Remove("Tarvex_Diagnostics"), 0);
  EXPECT_EQ(Tests(folder), "c d");
  EXPECT_EQ(Asked("SELECT count(*) FROM property"), "14");
  EXPECT_EQ(Asked("SELECT count(*) FROM class"), "2");
  EXPECT_EQ(Remove("Tarvex_Diagnostics"), RecordStore::kNotDone);
  EXPECT_EQ(Write(store, "e"), 0);
  EXPECT_EQ(Tests(folder), "c d e");
}

TEST_F(RecordStoreTest, WhatWasRemovedIsInNoFileAnyMore) {
  const std::string secret = "a-serial-number-of-a-customer";
  store.WriteRecord({"DeviceUdi"}, {secret}, "c", kNamespace);
  EXPECT_EQ(Remove("Tarvex_Diagnostics"), 0);
  for (const auto& file : std::filesystem::directory_iterator(folder.Path())) {
    EXPECT_EQ(testing::FileText(file.path()).find(secret), std::string::npos) << file.path();
  }
}

TEST_F(RecordStoreTest, AReaderAmidItsTransactionPutsTheErasureFromTheLogOff) {
  const std::string secret = "a-serial-number-of-a-customer";
  const auto log = [&] { return testing::FileText(folder / "records.db-wal"); };
  store.WriteRecord({"DeviceUdi"}, {secret}, "c", kNamespace);
  {
    SqliteDatabase reader = Connect(folder / "records.db");
    reader.Run("BEGIN");
    EXPECT_EQ(reader.Number("SELECT count(*) FROM execution_record"), 1);
    EXPECT_EQ(Remove("Tarvex_Diagnostics"), 0);
    EXPECT_EQ(reader.Number("SELECT count(*) FROM execution_record"), 1);
    EXPECT_NE(log().find(secret), std::string::npos);
    store.Finish();
    reader.Configure(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, true);
  }
  EXPECT_NE(log().find(secret), std::string::npos);
  EXPECT_EQ(Remove("Tarvex_Diagnostics"), RecordStore::kNotDone);
  store.Finish();
  EXPECT_EQ(log().find(secret), std::string::npos);
}

TEST_F(RecordStoreTest, NoStoreMeansNoNamespaceAndNoneIsMade) {
  EXPECT_EQ(Remove("Tarvex_Diagnostics"), RecordStore::kNotDone);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
  RecordStore nowhere(folder / "missing");
  EXPECT_EQ(nowhere.RemoveNamespace("ROOT", "Tarvex", "x"), RecordStore::kNotDone);
  EXPECT_FALSE(Exists("missing"));
  EXPECT_EQ(Notes(store, folder), "");
  EXPECT_TRUE(nowhere.TakeNotes().empty());
}

TEST_F(RecordStoreTest, AStoreThatIsNotUsedMakesNoFile) {
  store.Finish();
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(RecordStoreTest, NobodyElseCanWriteWhatItMakes) {
  const mode_t before = ::umask(0);
  RecordStore other(folder / "new");
  EXPECT_EQ(Write(other, "a"), 0);
  EXPECT_EQ(Mode(folder / "new"), 0755U);
  EXPECT_EQ(Mode(folder / "new/records.lock"), 0600U);
  for (const char* name : {"new/records.db", "new/records.db-wal", "new/records.db-shm"}) {
    EXPECT_EQ(Mode(folder / name), 0644U) << name;
  }
  ::umask(before);
}

TEST_F(RecordStoreTest, AReaderAmidItsTransactionNeitherWaitsNorHoldsUpAWriter) {
  Write(store, "a");
  SqliteDatabase reader = Connect(folder / "records.db");
  reader.Run("BEGIN");
  EXPECT_EQ(reader.Number("SELECT count(*) FROM execution_record"), 1);
  EXPECT_EQ(Write(store, "b"), 0);
  EXPECT_EQ(reader.Number("SELECT count(*) FROM execution_record"), 1);
  reader.Run("COMMIT");
  EXPECT_EQ(reader.Number("SELECT count(*) FROM execution_record"), 2);
}

TEST_F(RecordStoreTest, AStoreOpenedAgainGoesOn) {
  Write(store, "a");
  store.Finish();
  EXPECT_EQ(Write(store, "b"), 0);
  EXPECT_EQ(RecordStore(folder.Path()).TakeNotes(), std::vector<std::string>());
  EXPECT_EQ(Tests(folder), "a b");
}

TEST_F(RecordStoreTest, TakesRecordsOfManyThreads) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int j = 0; j < 10; ++j) Write(store, "a");
    });
  }
  threads.clear();
  EXPECT_EQ(Asked("SELECT count(*) FROM execution_record"), "40");
}

TEST_F(RecordStoreTest, AFileThatIsRemovedAmidARunIsReplacedByANewOne) {
  Write(store, "a");
  for (const char* name : {"records.db", "records.db-wal", "records.db-shm"}) {
    std::filesystem::remove(folder / name);
  }
  EXPECT_EQ(Write(store, "b"), 0);
  EXPECT_EQ(Write(store, "c"), 0);
  EXPECT_EQ(Tests(folder), "b c");
  EXPECT_EQ(Notes(store, folder),
            "the store was removed or replaced; what is in its place now is used");
}

TEST_F(RecordStoreTest, AFileThatIsReplacedAmidARunIsUsed) {
  TestFolder elsewhere;
  RecordStore other(elsewhere.Path());
  Write(other, "x");
  other.Finish();
  Write(store, "a");
  for (const char* name : {"records.db-wal", "records.db-shm"}) {
    std::filesystem::remove(folder / name);
  }
  std::filesystem::rename(elsewhere / "records.db", folder / "records.db");
  EXPECT_EQ(Write(store, "b"), 0);
  EXPECT_EQ(Tests(folder), "x b");
  EXPECT_EQ(Remove("Tarvex_Diagnostics"), 0);
}

TEST_F(RecordStoreTest, AFolderThatIsRemovedAmidARunIsMadeAgain) {
  RecordStore other(folder / "sub");
  Write(other, "a");
  std::filesystem::remove_all(folder / "sub");
  EXPECT_EQ(Write(other, "b"), 0);
  EXPECT_EQ(Ask(folder / "sub/records.db", "SELECT test_name FROM execution_record"), "b");
}

}  // namespace
}  // namespace tarvex

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/record_test_support.h"

namespace tarvex {
namespace {

using testing::Ask;
using testing::Connect;
using testing::FileText;
using testing::Notes;
using testing::Tests;
using testing::Write;

constexpr char kDamaged[] = "the store is damaged (";

class RecordDamageTest : public ::testing::Test {
 protected:
  void Fill(int records) {
    RecordStore store(folder.Path());
    const std::string longText(2000, 'x');
    for (int i = 0; i < records; ++i) {
      ASSERT_EQ(store.WriteRecord({"TestName", "DeviceUdi"}, {"old", longText}, "c", L"n"), 0);
    }
  }
  bool Exists(const std::string& name) const { return std::filesystem::exists(folder / name); }
  void Replace(const std::string& content) {
    for (const char* name : {"records.db-wal", "records.db-shm"}) {
      std::filesystem::remove(folder / name);
    }
    folder.Write("records.db", content);
  }
  // The store begins anew, and what was there is kept as it was.
  void ExpectSetAside(const std::string& content, int number = 1) {
    const std::string name = "records.damaged-" + std::to_string(number) + ".db";
    RecordStore store(folder.Path());
    EXPECT_EQ(Write(store, "new"), 0);
    EXPECT_EQ(Tests(folder), "new");
    EXPECT_TRUE(FileText(folder / name) == content);
    const std::string notes = Notes(store, folder);
    EXPECT_TRUE(notes.starts_with(kDamaged)) << notes;
    EXPECT_TRUE(notes.ends_with(") and was set aside as " + name)) << notes;
    EXPECT_EQ(notes.find(';'), std::string::npos) << notes;
  }

  TestFolder folder;
};

TEST_F(RecordDamageTest, GarbageIsSetAside) {
  const std::string garbage(10000, 'g');
  Replace(garbage);
  ExpectSetAside(garbage);
}

TEST_F(RecordDamageTest, AFileOfAFewBytesIsSetAside) {
  Replace("few");
  ExpectSetAside("few");
}

TEST_F(RecordDamageTest, AWrongHeaderIsSetAside) {
  Fill(3);
  std::string content = FileText(folder / "records.db");
  content[0] = 's';
  Replace(content);
  ExpectSetAside(content);
}

TEST_F(RecordDamageTest, ATruncatedFileIsSetAside) {
  Fill(30);
  const std::string whole = FileText(folder / "records.db");
  int number = 0;
  for (const std::size_t size : {whole.size() / 2, whole.size() - 4096, std::size_t{100}}) {
    Replace(whole.substr(0, size));
    ExpectSetAside(whole.substr(0, size), ++number);
  }
}

TEST_F(RecordDamageTest, DamageInsideAPageIsSetAside) {
  Fill(30);
  std::string content = FileText(folder / "records.db");
  ASSERT_GE(content.size(), 10U * 4096);
  content.replace(content.size() - 4096, 64, 64, '\xAB');
  Replace(content);
  ExpectSetAside(content);
}

TEST_F(RecordDamageTest, AnEmptyFileIsAStoreThatIsStillToBeMade) {
  Replace("");
  RecordStore store(folder.Path());
  EXPECT_EQ(Write(store, "new"), 0);
  EXPECT_EQ(Notes(store, folder), "");
  EXPECT_FALSE(Exists("records.damaged-1.db"));
}

TEST_F(RecordDamageTest, ALogThatIsDamagedCostsWhatIsBehindTheDamage) {
  {
    RecordStore store(folder.Path());
    Write(store, "a");
    Write(store, "b");
    std::filesystem::copy(folder / "records.db", folder / "copy");
    std::filesystem::copy(folder / "records.db-wal", folder / "copy-wal");
  }
  std::filesystem::rename(folder / "copy", folder / "records.db");
  std::filesystem::remove(folder / "records.db-shm");
  std::string log = FileText(folder / "copy-wal");
  log[log.size() - 100] = static_cast<char>(log[log.size() - 100] + 1);
  folder.Write("records.db-wal", log);
  RecordStore store(folder.Path());
  EXPECT_EQ(Write(store, "c"), 0);
  EXPECT_EQ(Tests(folder), "a c");
}

TEST_F(RecordDamageTest, EachDamagedStoreGetsANameOfItsOwnTogetherWithItsLog) {
  for (int i = 0; i < 2; ++i) {
    Replace("garbage");
    folder.Write("records.db-wal", "log");
    RecordStore store(folder.Path());
    EXPECT_EQ(Write(store, "new"), 0);
  }
  EXPECT_EQ(FileText(folder / "records.damaged-1.db"), "garbage");
  EXPECT_EQ(FileText(folder / "records.damaged-2.db"), "garbage");
  EXPECT_TRUE(Exists("records.damaged-1.db-wal"));
  EXPECT_TRUE(Exists("records.damaged-2.db-wal"));
}

TEST_F(RecordDamageTest, DamageThatShowsAmidARunLosesNoLaterRecord) {
  Fill(30);
  RecordStore store(folder.Path());
  ASSERT_EQ(Write(store, "a"), 0);
  // The pages that the next record goes to, read anew once somebody else has written.
  Ask(folder / "records.db", "PRAGMA wal_checkpoint(TRUNCATE)");
  std::string content = FileText(folder / "records.db");
  std::fill(content.begin() + 4096, content.end(), '\xAB');
  std::fstream(folder / "records.db", std::ios::in | std::ios::out | std::ios::binary) << content;
  {
    SqliteDatabase other = Connect(folder / "records.db");
    other.Run("PRAGMA user_version = 2");
  }
  EXPECT_EQ(Write(store, "b"), 0);
  EXPECT_EQ(Tests(folder), "b");
  EXPECT_TRUE(Notes(store, folder).starts_with(kDamaged));
}

TEST_F(RecordDamageTest, RemovingFromADamagedStoreFailsAndSetsItAside) {
  Replace("garbage");
  RecordStore store(folder.Path());
  EXPECT_EQ(store.RemoveNamespace("ROOT", "Tarvex", "Tarvex_Diagnostics"), RecordStore::kNotDone);
  EXPECT_TRUE(Exists("records.damaged-1.db"));
  EXPECT_FALSE(Exists("records.db"));
  EXPECT_TRUE(Notes(store, folder).starts_with(kDamaged));
}

class RecordSchemaTest : public RecordDamageTest {
 protected:
  // Leaves the store that `sql` makes in place, and takes no other files' word for it.
  std::string Made(const std::string& sql) {
    Connect(folder / "records.db").Run(sql);
    return FileText(folder / "records.db");
  }
  void ExpectLeftAlone(const std::string& content, const std::string& note) {
    {
      RecordStore store(folder.Path());
      EXPECT_EQ(Write(store, "new"), RecordStore::kNotDone);
      EXPECT_EQ(Write(store, "new"), RecordStore::kNotDone);
      EXPECT_EQ(store.RemoveNamespace("ROOT", "Tarvex", "x"), RecordStore::kNotDone);
      store.Finish();
      EXPECT_EQ(Notes(store, folder),
                note + ';' + note + ";2 records could not be written and are lost");
    }
    EXPECT_TRUE(FileText(folder / "records.db") == content);
    EXPECT_FALSE(Exists("records.damaged-1.db"));
  }
};

constexpr char kNewer[] = "the store was made by a newer version of this program and is left alone";
constexpr char kForeign[] = "the store was made by another program and is left alone";

TEST_F(RecordSchemaTest, AStoreOfANewerVersionIsLeftAlone) {
  Fill(1);
  ExpectLeftAlone(Made("PRAGMA user_version = 3"), kNewer);
}

TEST_F(RecordSchemaTest, ADatabaseOfAnotherProgramIsLeftAlone) {
  ExpectLeftAlone(Made("CREATE TABLE theirs (x)"), kForeign);
  std::filesystem::remove(folder / "records.db");
  ExpectLeftAlone(Made("PRAGMA user_version = -1"), kForeign);
}

TEST_F(RecordSchemaTest, AStoreOfANewerVersionKeepsItsLog) {
  Fill(1);
  {
    SqliteDatabase other = Connect(folder / "records.db");
    other.Run("PRAGMA user_version = 3");
    std::filesystem::copy(folder / "records.db", folder / "copy");
    std::filesystem::copy(folder / "records.db-wal", folder / "copy-wal");
  }
  // As a crash leaves them: nobody has them open, and the log is not in the store yet.
  std::filesystem::rename(folder / "copy", folder / "records.db");
  std::filesystem::rename(folder / "copy-wal", folder / "records.db-wal");
  const std::string log = FileText(folder / "records.db-wal");
  ASSERT_FALSE(log.empty());
  ExpectLeftAlone(FileText(folder / "records.db"), kNewer);
  EXPECT_TRUE(FileText(folder / "records.db-wal") == log);
}

TEST_F(RecordSchemaTest, AnOlderStoreIsBroughtToThisVersionWithItsRecords) {
  Fill(2);
  Made("DROP VIEW execution_record; PRAGMA user_version = 1");
  RecordStore store(folder.Path());
  EXPECT_EQ(Write(store, "new"), 0);
  EXPECT_EQ(Ask(folder / "records.db", "SELECT group_concat(test_name) FROM execution_record"),
            "old,old,new");
  EXPECT_EQ(Ask(folder / "records.db", "PRAGMA user_version"), "2");
  EXPECT_EQ(Notes(store, folder), "");
}

TEST_F(RecordSchemaTest, AnOlderStoreThatCannotBeBroughtHereStaysAsItWas) {
  Fill(2);
  // In the way of the second of two steps.
  Made("DROP VIEW execution_record; PRAGMA user_version = 1; CREATE TABLE execution_record (x)");
  RecordStore store(folder.Path());
  EXPECT_EQ(Write(store, "new"), RecordStore::kNotDone);
  EXPECT_EQ(Ask(folder / "records.db", "PRAGMA user_version"), "1");
  EXPECT_NE(Notes(store, folder).find("already exists"), std::string::npos);
}

}  // namespace
}  // namespace tarvex

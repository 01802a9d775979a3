#include "host/records/record_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/record_test_support.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;
using testing::Ask;
using testing::ExpectRefused;
using testing::FileText;
using testing::Tests;
using testing::Write;

class RecordFolderTest : public ::testing::Test {
 protected:
  TestFolder folder;
};

TEST_F(RecordFolderTest, APipeInTheLocksPlaceIsRefused) {
  ASSERT_EQ(::mkfifo((folder / "records.lock").c_str(), 0600), 0);
  ExpectRefused(folder, "records.lock is no regular file");
}

TEST_F(RecordFolderTest, ALinkInTheStoresPlaceIsRefused) {
  for (const std::string name : {"records.db", "records.db-wal", "records.db-shm"}) {
    folder.Write("target", "theirs");
    fs::create_symlink(folder / "target", folder / name);
    ExpectRefused(folder, name + " is no regular file");
    EXPECT_EQ(FileText(folder / "target"), "theirs");
    fs::remove(folder / name);
  }
}

TEST_F(RecordFolderTest, ALinkToNothingIsRefused) {
  fs::create_symlink(folder / "target", folder / "records.db");
  ExpectRefused(folder, "records.db is no regular file");
  EXPECT_FALSE(fs::exists(folder / "target"));
}

TEST_F(RecordFolderTest, ALinkInTheLocksPlaceIsRefused) {
  fs::create_symlink(folder / "target", folder / "records.lock");
  ExpectRefused(folder, "records.lock is no regular file");
  EXPECT_FALSE(fs::exists(folder / "target"));
}

TEST_F(RecordFolderTest, APipeInTheStoresPlaceIsRefused) {
  ASSERT_EQ(::mkfifo((folder / "records.db").c_str(), 0600), 0);
  ExpectRefused(folder, "records.db is no regular file");
}

TEST_F(RecordFolderTest, AFileThatOthersMayWriteIsRefused) {
  folder.Write("records.db", "");
  ASSERT_EQ(::chmod((folder / "records.db").c_str(), 0666), 0);
  ExpectRefused(folder, "records.db could be written by others");
}

TEST_F(RecordFolderTest, AFolderThatOthersMayWriteIsRefused) {
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0777), 0);
  ExpectRefused(folder, "the folder could be written by others");
}

TEST_F(RecordFolderTest, AFolderIsReachedOverALink) {
  ASSERT_TRUE(fs::create_directory(folder / "real"));
  fs::create_directory_symlink(folder / "real", folder / "link");
  RecordStore store(folder / "link");
  EXPECT_EQ(Write(store, "a"), 0);
  EXPECT_TRUE(fs::exists(folder / "real/records.db"));
}

TEST_F(RecordFolderTest, AFolderIsMadeWithThoseAboveIt) {
  RecordStore store(folder / "new/deep");
  EXPECT_EQ(Write(store, "a"), 0);
  EXPECT_EQ(Ask(folder / "new/deep/records.db", "SELECT test_name FROM execution_record"), "a");
}

TEST_F(RecordFolderTest, AFolderThatIsToBeOnlyLookedAtIsNotMade) {
  EXPECT_FALSE(RecordFolder::Open(folder / "new/deep", false));
  EXPECT_TRUE(fs::is_empty(folder.Path()));
}

TEST_F(RecordFolderTest, AStrangersLinkIsFollowedAtNoPlace) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  constexpr uid_t kStranger = 12345;
  fs::create_directories(folder / "real/inner");
  fs::create_directory_symlink(folder / "real", folder / "way");
  for (const char* const path : {"way", "way/inner", "way/new/deep"}) {
    ASSERT_EQ(::lchown((folder / "way").c_str(), kStranger, kStranger), 0);
    RecordStore refused(folder / path);
    EXPECT_EQ(Write(refused, "a"), RecordStore::kNotDone);
    EXPECT_EQ(testing::Joined(refused.TakeNotes()),
              "execution records in " + (folder / path) +
                  ": a link on the way to the folder is another user's, or one too many");
    EXPECT_EQ(refused.RemoveNamespace("ROOT", "Tarvex", "x"), RecordStore::kNotDone);
    refused.Finish();
    EXPECT_TRUE(fs::is_empty(folder / "real/inner")) << path;
    EXPECT_FALSE(fs::exists(folder / "real/new")) << path;
    EXPECT_FALSE(fs::exists(folder / "real/records.db")) << path;
    ASSERT_EQ(::lchown((folder / "way").c_str(), 0, 0), 0);
    RecordStore taken(folder / path);
    EXPECT_EQ(Write(taken, "a"), 0) << path;
    fs::remove_all(folder / "real");
    fs::create_directories(folder / "real/inner");
  }
}

// A folder above may be another user's, who can put something else in the way at any moment.
TEST_F(RecordFolderTest, TheStoreIsInTheFolderThatWasLookedAt) {
  fs::create_directories(folder / "way/state");
  const std::optional<RecordFolder> place = RecordFolder::Open(folder / "way/state", true);
  ASSERT_TRUE(place);
  fs::rename(folder / "way", folder / "moved");
  fs::create_directories(folder / "theirs/state");
  fs::create_directory_symlink(folder / "theirs", folder / "way");
  {
    SqliteDatabase store = place->OpenStore();
    store.KeepLogFiles();
    store.Run("PRAGMA journal_mode = WAL; CREATE TABLE some (x)");
    const SqliteDatabase lock = place->Lock(0);
  }
  for (const char* const name :
       {"records.db", "records.db-wal", "records.db-shm", "records.lock"}) {
    EXPECT_TRUE(fs::exists(folder / ("moved/state/" + std::string(name)))) << name;
  }
  EXPECT_TRUE(fs::is_empty(folder / "theirs/state"));
}

TEST_F(RecordFolderTest, ARunGoesOnInItsFolderWhateverIsPutInTheWay) {
  RecordStore store(folder / "way/state");
  Write(store, "a");
  fs::rename(folder / "way", folder / "moved");
  fs::create_directories(folder / "theirs/state");
  fs::create_directory_symlink(folder / "theirs", folder / "way");
  EXPECT_EQ(Write(store, "b"), 0);
  EXPECT_EQ(store.TakeNotes(), std::vector<std::string>());
  EXPECT_TRUE(fs::is_empty(folder / "theirs/state"));
  EXPECT_EQ(Ask(folder / "moved/state/records.db", "SELECT count(*) FROM execution_record"), "2");
}

// Even when it is put there after the look at the files.
TEST_F(RecordFolderTest, TheDatabaseItselfFollowsNoLink) {
  const std::optional<RecordFolder> place = RecordFolder::Open(folder.Path(), true);
  ASSERT_TRUE(place);
  fs::create_symlink(folder / "target", folder / "records.db");
  EXPECT_THROW(place->OpenStore().Run("CREATE TABLE some (x)"), StoreError);
  EXPECT_FALSE(fs::exists(folder / "target"));
}

TEST_F(RecordFolderTest, AFolderThatCannotBeReachedIsSaidToBe) {
  folder.Write("file", "");
  RecordStore below(folder / "file/sub");
  EXPECT_EQ(Write(below, "a"), RecordStore::kNotDone);
  EXPECT_EQ(below.TakeNotes(),
            (std::vector<std::string>{"execution records in " + (folder / "file/sub") +
                                      ": the folder cannot be reached: Not a directory"}));
  RecordStore at(folder / "file");
  EXPECT_EQ(Write(at, "a"), RecordStore::kNotDone);
  EXPECT_EQ(at.TakeNotes(),
            (std::vector<std::string>{"execution records in " + (folder / "file") +
                                      ": the folder cannot be reached: Not a directory"}));
}

// Root may write everywhere, so a user without rights stands in for it.
class Nobody {
 public:
  Nobody() : before_(::geteuid()) {
    if (before_ == 0 && ::seteuid(65534) != 0) ADD_FAILURE() << "cannot become another user";
  }
  ~Nobody() {
    if (::geteuid() != before_ && ::seteuid(before_) != 0) ADD_FAILURE() << "cannot come back";
  }
  Nobody(const Nobody&) = delete;
  Nobody& operator=(const Nobody&) = delete;

 private:
  uid_t before_;
};

TEST_F(RecordFolderTest, AFolderThatCannotBeWrittenKeepsTheRunGoing) {
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0555), 0);
  const Nobody nobody;
  ExpectRefused(folder, "records.lock cannot be opened: Permission denied");
}

TEST_F(RecordFolderTest, AUserWithoutRightsReadsDuringARunAndAfterIt) {
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0755), 0);
  const auto read = [this] {
    const Nobody nobody;
    sqlite3* reader = nullptr;
    EXPECT_EQ(
        sqlite3_open_v2((folder / "records.db").c_str(), &reader, SQLITE_OPEN_READONLY, nullptr),
        SQLITE_OK);
    const int code =
        sqlite3_exec(reader, "SELECT * FROM execution_record", nullptr, nullptr, nullptr);
    sqlite3_close(reader);
    return code;
  };
  RecordStore store(folder.Path());
  Write(store, "a");
  EXPECT_EQ(read(), SQLITE_OK);
  store.Finish();
  EXPECT_EQ(read(), SQLITE_OK);
}

}  // namespace
}  // namespace tarvex

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "host/record_test_support.h"

namespace {

int syncs = 0;  // of files, by this program
bool isDiskFull = false;

// SQLite's own seam for tests: its calls to the system can be replaced by name.
ssize_t WriteUnlessFull(int file, const void* data, std::size_t size, off64_t offset) {
  if (isDiskFull) {
    errno = ENOSPC;
    return -1;
  }
  return ::pwrite64(file, data, size, offset);
}

}  // namespace

// In the way of the C library's, for SQLite too.
extern "C" __attribute__((visibility("default"))) int fdatasync(int file) {
  ++syncs;
  return static_cast<int>(::syscall(SYS_fdatasync, file));
}

namespace tarvex {
namespace {

using testing::Ask;
using testing::kNamespace;
using testing::Notes;
using testing::Tests;
using testing::Write;

class RecordFaultTest : public ::testing::Test {
 protected:
  RecordFaultTest() {
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    for (const char* name : {"pwrite", "pwrite64"}) {
      vfs->xSetSystemCall(vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(WriteUnlessFull));
    }
  }
  ~RecordFaultTest() override {
    isDiskFull = false;
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    vfs->xSetSystemCall(vfs, nullptr, nullptr);
  }
  // Nothing is written, and the file at `path` is as it was.
  void ExpectRefused(const std::string& note) {
    RecordStore store(folder.Path());
    EXPECT_EQ(Write(store, "a"), RecordStore::kNotDone);
    EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
    store.Finish();
    EXPECT_EQ(Notes(store, folder), note + ";2 records could not be written and are lost");
  }

  TestFolder folder;
};

TEST_F(RecordFaultTest, ARecordIsOnTheDiskBeforeTheCallReturns) {
  RecordStore store(folder.Path());
  Write(store, "a");
  for (int i = 0; i < 3; ++i) {
    syncs = 0;
    Write(store, "b");
    EXPECT_EQ(syncs, 1);
  }
}

TEST_F(RecordFaultTest, WhatAFullDiskRefusedIsWrittenInOrderWithTheNextRecord) {
  RecordStore store(folder.Path());
  EXPECT_EQ(Write(store, "a"), 0);
  isDiskFull = true;
  EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
  EXPECT_EQ(Write(store, "c"), RecordStore::kNotDone);
  EXPECT_EQ(Notes(store, folder), "database or disk is full");
  EXPECT_EQ(Tests(folder), "a");
  isDiskFull = false;
  EXPECT_EQ(Write(store, "d"), 0);
  EXPECT_EQ(Tests(folder), "a b c d");
  EXPECT_EQ(Notes(store, folder), "3 records were written in the end, 0 are lost");
  EXPECT_EQ(Write(store, "e"), 0);
  EXPECT_EQ(Notes(store, folder), "");
}

TEST_F(RecordFaultTest, WhatAFullDiskRefusedIsWrittenAtTheEnd) {
  {
    RecordStore store(folder.Path());
    isDiskFull = true;
    EXPECT_EQ(Write(store, "a"), RecordStore::kNotDone);
    EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
    isDiskFull = false;
  }
  EXPECT_EQ(Tests(folder), "a b");
}

TEST_F(RecordFaultTest, WhatTheDiskRefusesToTheEndIsLostAndSaidToBe) {
  RecordStore store(folder.Path());
  isDiskFull = true;
  ExpectRefused("database or disk is full");
}

TEST_F(RecordFaultTest, OfTooManyKeptRecordsTheOldestAreLost) {
  RecordStore store(folder.Path());
  isDiskFull = true;
  for (std::size_t i = 0; i < RecordStore::kMostKept + 2; ++i) {
    store.WriteRecord({"TestName"}, {std::to_string(i)}, "c", kNamespace);
  }
  isDiskFull = false;
  EXPECT_EQ(Write(store, "last"), 0);
  EXPECT_EQ(Notes(store, folder),
            "database or disk is full;1000 records were written in the end, 3 are lost");
  EXPECT_EQ(Ask(folder / "records.db", "SELECT test_name FROM execution_record LIMIT 1"), "3");
  EXPECT_TRUE(Tests(folder).ends_with(" 1000 1001 last"));
}

TEST_F(RecordFaultTest, KeptRecordsGoWithTheirNamespace) {
  RecordStore store(folder.Path());
  isDiskFull = true;
  Write(store, "a");
  Write(store, "b", L"ROOT\\Tarvex\\x");
  isDiskFull = false;
  EXPECT_EQ(store.RemoveNamespace("ROOT", "Tarvex", "Tarvex_Diagnostics"), 0);
  store.Finish();
  EXPECT_EQ(Tests(folder), "b");
}

TEST_F(RecordFaultTest, ANamespaceThatAFullDiskDoesNotLetGoStays) {
  RecordStore store(folder.Path());
  Write(store, "a");
  isDiskFull = true;
  EXPECT_EQ(store.RemoveNamespace("ROOT", "Tarvex", "Tarvex_Diagnostics"), RecordStore::kNotDone);
  EXPECT_EQ(Notes(store, folder), "database or disk is full");
  EXPECT_EQ(Tests(folder), "a");
}

TEST_F(RecordFaultTest, AFileSizeLimitIsLikeAFullDisk) {
  const auto handler = ::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  RecordStore store(folder.Path());
  EXPECT_EQ(Write(store, "a"), 0);
  const rlimit narrow{4096, before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &narrow);
  EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
  ::setrlimit(RLIMIT_FSIZE, &before);
  ::signal(SIGXFSZ, handler);
  EXPECT_EQ(Notes(store, folder), "disk I/O error");
  EXPECT_EQ(Write(store, "c"), 0);
  EXPECT_EQ(Tests(folder), "a b c");
}

TEST_F(RecordFaultTest, AWriterThatHoldsTheStoreCostsOneWaitAndNoRecord) {
  RecordStore store(folder.Path());
  Write(store, "a");
  SqliteDatabase other(folder / "records.db");
  other.Run("BEGIN IMMEDIATE");
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 50; ++i) EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(RecordDatabase::kPatienceMs));
  EXPECT_LT(took, std::chrono::milliseconds(2 * RecordDatabase::kPatienceMs));
  EXPECT_EQ(Notes(store, folder), "database is locked");
  other.Run("COMMIT");
  EXPECT_EQ(Write(store, "c"), 0);
  EXPECT_EQ(Ask(folder / "records.db", "SELECT count(*) FROM execution_record"), "52");
}

TEST_F(RecordFaultTest, AProgramThatNeverEndsOpeningTheStoreCostsOneWaitAndNoRecord) {
  RecordStore(folder.Path()).WriteRecord({"TestName"}, {"a"}, "c", kNamespace);
  SqliteDatabase other(folder / "records.lock");
  other.Run("PRAGMA journal_mode = MEMORY; BEGIN EXCLUSIVE");
  RecordStore store(folder.Path());
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 50; ++i) EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(RecordDatabase::kPatienceMs));
  EXPECT_LT(took, std::chrono::milliseconds(2 * RecordDatabase::kPatienceMs));
  EXPECT_EQ(Notes(store, folder), "database is locked");
  other.Run("ROLLBACK");
  EXPECT_EQ(Write(store, "c"), 0);
  EXPECT_EQ(Ask(folder / "records.db", "SELECT count(*) FROM execution_record"), "52");
  EXPECT_EQ(testing::FileText(folder / "records.lock"), "");
  EXPECT_FALSE(std::filesystem::exists(folder / "records.lock-journal"));
}

TEST_F(RecordFaultTest, APipeInTheLocksPlaceIsRefused) {
  ASSERT_EQ(::mkfifo((folder / "records.lock").c_str(), 0600), 0);
  ExpectRefused("records.lock is no regular file");
}

TEST_F(RecordFaultTest, ALinkInTheStoresPlaceIsRefused) {
  for (const std::string name : {"records.db", "records.db-wal", "records.db-shm"}) {
    folder.Write("target", "theirs");
    std::filesystem::create_symlink(folder / "target", folder / name);
    ExpectRefused(name + " is no regular file");
    EXPECT_EQ(testing::FileText(folder / "target"), "theirs");
    std::filesystem::remove(folder / name);
  }
}

TEST_F(RecordFaultTest, ALinkToNothingIsRefused) {
  std::filesystem::create_symlink(folder / "target", folder / "records.db");
  ExpectRefused("records.db is no regular file");
  EXPECT_FALSE(std::filesystem::exists(folder / "target"));
}

TEST_F(RecordFaultTest, ALinkInTheLocksPlaceIsRefused) {
  std::filesystem::create_symlink(folder / "target", folder / "records.lock");
  ExpectRefused("records.lock is no regular file");
  EXPECT_FALSE(std::filesystem::exists(folder / "target"));
}

TEST_F(RecordFaultTest, APipeInTheStoresPlaceIsRefused) {
  ASSERT_EQ(::mkfifo((folder / "records.db").c_str(), 0600), 0);
  ExpectRefused("records.db is no regular file");
}

TEST_F(RecordFaultTest, AFileThatOthersMayWriteIsRefused) {
  folder.Write("records.db", "");
  ASSERT_EQ(::chmod((folder / "records.db").c_str(), 0666), 0);
  ExpectRefused("records.db could be written by others");
}

TEST_F(RecordFaultTest, AFolderThatOthersMayWriteIsRefused) {
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0777), 0);
  ExpectRefused("the folder could be written by others");
}

TEST_F(RecordFaultTest, AFolderIsReachedOverALink) {
  ASSERT_TRUE(std::filesystem::create_directory(folder / "real"));
  std::filesystem::create_directory_symlink(folder / "real", folder / "link");
  RecordStore store(folder / "link");
  EXPECT_EQ(Write(store, "a"), 0);
  EXPECT_TRUE(std::filesystem::exists(folder / "real/records.db"));
}

TEST_F(RecordFaultTest, AFolderThatCannotBeMadeIsSaidToBe) {
  folder.Write("file", "");
  RecordStore below(folder / "file/sub");
  EXPECT_EQ(Write(below, "a"), RecordStore::kNotDone);
  EXPECT_EQ(below.TakeNotes(),
            (std::vector<std::string>{"execution records in " + (folder / "file/sub") +
                                      ": the folder cannot be made: Not a directory"}));
  RecordStore at(folder / "file");
  EXPECT_EQ(Write(at, "a"), RecordStore::kNotDone);
  EXPECT_EQ(at.TakeNotes(),
            (std::vector<std::string>{"execution records in " + (folder / "file") +
                                      ": the folder cannot be opened: Not a directory"}));
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

TEST_F(RecordFaultTest, AFolderThatCannotBeWrittenKeepsTheRunGoing) {
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0555), 0);
  const Nobody nobody;
  ExpectRefused("records.lock cannot be opened: Permission denied");
}

TEST_F(RecordFaultTest, AUserWithoutRightsReadsDuringARunAndAfterIt) {
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

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "tests/support/record_test_support.h"

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

int unlocks = 0;        // of files or parts of them, by SQLite
int refusedUnlock = 0;  // which of them the system refuses, from 1
bool isRefusedForEver = false;

int LockUnlessRefused(int file, int command, void* argument) {
  const bool isLock = command == F_SETLK || command == F_SETLKW;
  if (isLock && static_cast<const struct flock*>(argument)->l_type == F_UNLCK) {
    ++unlocks;
    if (unlocks == refusedUnlock || (isRefusedForEver && unlocks > refusedUnlock)) {
      errno = EIO;
      return -1;
    }
  }
  return ::fcntl(file, command, argument);
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
using testing::Connect;
using testing::ExpectRefused;
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
    vfs->xSetSystemCall(vfs, "fcntl", reinterpret_cast<sqlite3_syscall_ptr>(LockUnlessRefused));
    unlocks = refusedUnlock = 0;
    isRefusedForEver = false;
  }
  ~RecordFaultTest() override {
    isDiskFull = false;
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    vfs->xSetSystemCall(vfs, nullptr, nullptr);
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
  ExpectRefused(folder, "database or disk is full");
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

// Fifty records, while another program holds the store or its lock.
void ExpectOneWaitAndOneNote(RecordStore& store, const TestFolder& folder) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 50; ++i) EXPECT_EQ(Write(store, "b"), RecordStore::kNotDone);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(RecordDatabase::kPatienceMs));
  EXPECT_LT(took, std::chrono::milliseconds(2 * RecordDatabase::kPatienceMs));
  EXPECT_EQ(Notes(store, folder), "database is locked");
}

TEST_F(RecordFaultTest, AWriterThatHoldsTheStoreCostsOneWaitAndNoRecord) {
  RecordStore store(folder.Path());
  Write(store, "a");
  SqliteDatabase other = Connect(folder / "records.db");
  other.Run("BEGIN IMMEDIATE");
  ExpectOneWaitAndOneNote(store, folder);
  other.Run("COMMIT");
  EXPECT_EQ(Write(store, "c"), 0);
  EXPECT_EQ(Ask(folder / "records.db", "SELECT count(*) FROM execution_record"), "52");
}

TEST_F(RecordFaultTest, ANamespaceThatAnotherProgramHoldsStays) {
  RecordStore store(folder.Path());
  Write(store, "a");
  SqliteDatabase other = Connect(folder / "records.db");
  other.Run("BEGIN IMMEDIATE");
  EXPECT_EQ(store.RemoveNamespace("ROOT", "Tarvex", "Tarvex_Diagnostics"), RecordStore::kNotDone);
  EXPECT_EQ(Notes(store, folder), "database is locked");
  other.Run("ROLLBACK");
  EXPECT_EQ(Tests(folder), "a");
}

TEST_F(RecordFaultTest, AProgramThatNeverEndsOpeningTheStoreCostsOneWaitAndNoRecord) {
  RecordStore(folder.Path()).WriteRecord({"TestName"}, {"a"}, "c", kNamespace);
  SqliteDatabase other = Connect(folder / "records.lock");
  other.Run("PRAGMA journal_mode = MEMORY; BEGIN EXCLUSIVE");
  RecordStore store(folder.Path());
  ExpectOneWaitAndOneNote(store, folder);
  other.Run("ROLLBACK");
  EXPECT_EQ(Write(store, "c"), 0);
  EXPECT_EQ(Ask(folder / "records.db", "SELECT count(*) FROM execution_record"), "52");
  EXPECT_EQ(testing::FileText(folder / "records.lock"), "");
  EXPECT_FALSE(std::filesystem::exists(folder / "records.lock-journal"));
}

// Twenty records, and one fault in giving back a lock.
struct RefusedUnlock {
  explicit RefusedUnlock(int number) {
    const auto start = std::chrono::steady_clock::now();
    {
      RecordStore store(folder.Path());
      unlocks = 0;
      refusedUnlock = number;
      for (int i = 0; i < 20; ++i) Write(store, std::to_string(i));
      total = unlocks;
    }
    refusedUnlock = 0;
    took = std::chrono::steady_clock::now() - start;
    kept = Ask(folder / "records.db", "SELECT count(*) FROM execution_record");
  }
  TestFolder folder;
  int total = 0;
  std::chrono::steady_clock::duration took{};
  std::string kept;
};

TEST_F(RecordFaultTest, ALockThatIsNotGivenBackCostsOneWaitAndNoRecord) {
  // Those of the opening and of the first records; behind them it is the same again with each.
  constexpr int kMost = 36;
  ASSERT_GT(RefusedUnlock(0).total, kMost);
  for (int number = 1; number <= kMost; ++number) {
    const RefusedUnlock run(number);
    EXPECT_EQ(run.kept, "20") << number;
    EXPECT_LT(run.took, std::chrono::milliseconds(2 * RecordDatabase::kPatienceMs)) << number;
  }
}

TEST_F(RecordFaultTest, LocksThatAreNeverGivenBackCostOneWait) {
  for (const int before : {0, 1, 2, 4, 8, 16, 28, 40}) {
    const TestFolder folder;
    const auto start = std::chrono::steady_clock::now();
    unlocks = 0;
    refusedUnlock = before;
    isRefusedForEver = true;
    {
      RecordStore store(folder.Path());
      for (int i = 0; i < 20; ++i) Write(store, std::to_string(i));
    }
    isRefusedForEver = false;
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::milliseconds(4 * RecordDatabase::kPatienceMs))
        << before;
  }
}

TEST_F(RecordFaultTest, ANamespaceGoesAlthoughALockIsNotGivenBack) {
  for (int number = 1; number <= 12; ++number) {
    const TestFolder folder;
    RecordStore store(folder.Path());
    Write(store, "a");
    const auto start = std::chrono::steady_clock::now();
    unlocks = 0;
    refusedUnlock = number;
    store.RemoveNamespace("ROOT", "Tarvex", "Tarvex_Diagnostics");
    refusedUnlock = 0;
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::milliseconds(2 * RecordDatabase::kPatienceMs))
        << number;
  }
}

}  // namespace
}  // namespace tarvex

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <optional>

#include "host/records/record_folder.h"
#include "os/descriptor.h"
#include "tests/support/record_test_support.h"

namespace tarvex {
namespace {

using testing::Ask;
using testing::Connect;
using testing::Tests;
using testing::Write;

// A process that runs `work` with a store of its own and reports bytes over a pipe.
class Writer {
 public:
  using Work = std::function<void(RecordStore& store, int report)>;
  Writer(const TestFolder& folder, const Work& work) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) ADD_FAILURE() << "no pipe";
    process_ = ::fork();
    if (process_ == 0) {
      ::close(ends[0]);
      int status = 1;
      {
        RecordStore store(folder.Path());
        work(store, ends[1]);
        store.Finish();
        status = store.TakeNotes().empty() ? 0 : 2;
      }
      ::_exit(status);
    }
    ::close(ends[1]);
    reports_.Reset(ends[0]);
  }
  ~Writer() {
    if (process_ > 0) {
      Kill();
      Status();
    }
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void Kill() const { ::kill(process_, SIGKILL); }
  // The next reported byte; false once the process has ended.
  bool Read(char& byte) const { return ::read(reports_.Get(), &byte, 1) == 1; }
  // Waits for the end: 0 when all was written and nothing was to be noted.
  int Status() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = 0;
  Descriptor reports_;
};

void Report(int report) {
  if (::write(report, "r", 1) != 1) ::_exit(3);
}

void WriteMany(RecordStore& store, int count) {
  for (int i = 0; i < count; ++i) Write(store, "a");
}

TEST(RecordProcessTest, WritersAtOnceAllSucceed) {
  constexpr int kRounds = 3;
  constexpr int kEach = 20;
  for (int round = 0; round < kRounds; ++round) {
    const TestFolder folder;
    const auto work = [](RecordStore& store, int) { WriteMany(store, kEach); };
    Writer first(folder, work);
    Writer second(folder, work);
    Writer third(folder, work);
    EXPECT_EQ(first.Status(), 0);
    EXPECT_EQ(second.Status(), 0);
    EXPECT_EQ(third.Status(), 0);
    EXPECT_EQ(Ask(folder / "records.db", "SELECT count(*) FROM execution_record"),
              std::to_string(3 * kEach));
  }
}

TEST(RecordProcessTest, ReadersDuringWritesSeeWholeRecordsOnly) {
  const TestFolder folder;
  Writer writer(folder, [](RecordStore& store, int report) {
    Write(store, "a");
    Report(report);
    WriteMany(store, 100);
    Report(report);
  });
  char byte = 0;
  ASSERT_TRUE(writer.Read(byte));
  SqliteDatabase reader = Connect(folder / "records.db");
  std::int64_t last = 0;
  while (last < 101) {
    reader.Run("BEGIN");
    const std::int64_t records = reader.Number("SELECT count(*) FROM instance");
    EXPECT_EQ(reader.Number("SELECT count(*) FROM property"), 7 * records);
    EXPECT_EQ(reader.Number("SELECT count(*) FROM execution_record"), records);
    reader.Run("COMMIT");
    EXPECT_GE(records, last);
    last = records;
  }
  EXPECT_EQ(writer.Status(), 0);
}

TEST(RecordProcessTest, AKilledWriterLosesNoFinishedRecord) {
  const TestFolder folder;
  std::int64_t finished = 0;
  constexpr int kRounds = 25;
  for (int round = 0; round < kRounds; ++round) {
    Writer writer(folder, [](RecordStore& store, int report) {
      while (Write(store, "a") == 0) Report(report);
    });
    // From amid the opening, over the first records, to amid the later ones. The process goes on
    // writing meanwhile, so it is hit anywhere.
    char byte = 0;
    int seen = 0;
    while (seen < round && writer.Read(byte)) ++seen;
    EXPECT_EQ(seen, round);
    writer.Kill();
    while (writer.Read(byte)) ++seen;
    EXPECT_EQ(writer.Status(), -1);
    finished += seen;
    const std::int64_t found =
        std::stoll(std::filesystem::exists(folder / "records.db") &&
                           Ask(folder / "records.db", "PRAGMA user_version") == "2"
                       ? Ask(folder / "records.db", "SELECT count(*) FROM execution_record")
                       : "0");
    // One record may have been finished and not reported.
    EXPECT_GE(found, finished);
    EXPECT_LE(found, finished + 1);
    finished = found;
  }
  EXPECT_EQ(Ask(folder / "records.db", "PRAGMA integrity_check"), "ok");
  EXPECT_EQ(Ask(folder / "records.db", "SELECT count(*) FROM property"),
            std::to_string(7 * finished));
  EXPECT_FALSE(std::filesystem::exists(folder / "records.damaged-1.db"));
}

// The one who makes the file of the lock holds it as anybody else does.
TEST(RecordProcessTest, TheFirstLockOfAFolderKeepsOthersOut) {
  const TestFolder folder;
  const std::optional<RecordFolder> place = RecordFolder::Open(folder.Path(), true);
  ASSERT_TRUE(place);
  const Writer holder(folder, [&](RecordStore&, int report) {
    const SqliteDatabase lock = place->Lock(0);
    [[maybe_unused]] const ssize_t sent = ::write(report, "h", 1);
    ::pause();
  });
  char answer = 0;
  ASSERT_TRUE(holder.Read(answer));
  try {
    place->Lock(0);
    ADD_FAILURE() << "two hold the lock";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.GetKind(), StoreError::Kind::kBusy);
  }
}

TEST(RecordProcessTest, OfWritersThatFindTheDamageAtOnceOneSetsItAside) {
  constexpr int kRounds = 8;
  for (int round = 0; round < kRounds; ++round) {
    const TestFolder folder;
    folder.Write("records.db", std::string(100'000, 'g'));
    const auto work = [](RecordStore& store, int) { WriteMany(store, 2); };
    Writer first(folder, work);
    Writer second(folder, work);
    Writer third(folder, work);
    // One of them has a note on the damage, and the others have nothing to tell.
    EXPECT_EQ(first.Status() + second.Status() + third.Status(), 2);
    EXPECT_EQ(Tests(folder), "a a a a a a");
    EXPECT_EQ(testing::FileText(folder / "records.damaged-1.db").size(), 100'000U);
    EXPECT_FALSE(std::filesystem::exists(folder / "records.damaged-2.db"));
  }
}

TEST(RecordProcessTest, AWriterMovesOnWhenAnotherSetsItsStoreAside) {
  const TestFolder folder;
  RecordStore first(folder.Path());
  Write(first, "a");
  // Another process finds the file damaged, as this one has not yet.
  Ask(folder / "records.db", "PRAGMA wal_checkpoint(TRUNCATE)");
  std::fstream(folder / "records.db", std::ios::in | std::ios::out | std::ios::binary).seekp(4096)
      << std::string(4096, '\xAB');
  Writer second(folder, [](RecordStore& store, int) { Write(store, "b"); });
  EXPECT_EQ(second.Status(), 2);
  EXPECT_EQ(Write(first, "c"), 0);
  EXPECT_EQ(Tests(folder), "b c");
}

}  // namespace
}  // namespace tarvex

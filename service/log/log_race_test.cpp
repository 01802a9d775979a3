// Two runs that meet in one folder, at the one moment in which it matters: a file is there and not
// locked yet.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "os/descriptor.h"
#include "service/log/log.h"
#include "service/log/log_file.h"
#include "service/log/log_folder.h"
#include "service/log/log_time.h"
#include "tests/support/log_test_support.h"
#include "tests/support/test_lock.h"

namespace orvan::log {
namespace {

using testing::TemporaryFolder;
using Names = std::vector<std::string>;

std::string NameAt(std::int64_t milliseconds) {
  return "tarvex-" + FileTimeText(milliseconds) + '-' + std::to_string(getpid()) + ".jsonl";
}

TEST(LogRace, ANewLogThatAnotherRunRemovesGetsAnotherName) {
  TemporaryFolder folder;
  beforeLock = [&folder] { PruneLogs(folder.Path(), {0, 0}, ""); };
  LogFile file;
  ASSERT_TRUE(file.Create(folder.Path(), 0));
  EXPECT_EQ(file.Name(), NameAt(1));
  EXPECT_TRUE(file.Append("line\n"));
  EXPECT_EQ(testing::NamesIn(folder.Path()), Names{NameAt(1)});
  EXPECT_EQ(testing::FileText(folder.Path(NameAt(1))), "line\n");
}

TEST(LogRace, ANewLogThatAnotherRunIsAboutToRemoveGetsAnotherName) {
  TemporaryFolder folder;
  tarvex::Descriptor other;
  beforeLock = [&] {
    other.Reset(open(folder.Path(NameAt(0)).c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(other.Get(), LOCK_EX | LOCK_NB), 0);
  };
  LogFile file;
  ASSERT_TRUE(file.Create(folder.Path(), 0));
  EXPECT_EQ(file.Name(), NameAt(1));
}

TEST(LogRace, AFileThatTookTheNameOfAnOldLogStays) {
  TemporaryFolder folder;
  folder.Write(NameAt(0), "old");
  beforeLock = [&folder] {
    std::filesystem::remove(folder.Path(NameAt(0)));
    folder.Write(NameAt(0), "new");
  };
  PruneLogs(folder.Path(), {0, 0}, "");
  EXPECT_EQ(testing::FileText(folder.Path(NameAt(0))), "new");
}

// The next lock works, and takes no log of a run that goes on, or that ended without one, for a
// crashed one.
TEST(LogRace, ALogThatCannotBeLockedIsNeverACrash) {
  TemporaryFolder folder;
  LogFile file;
  lockError = ENOLCK;
  const bool isMade = file.Create(folder.Path(), 0);
  lockError = 0;
  ASSERT_TRUE(isMade);
  const std::string name = "tarvex-" + FileTimeText(0) + '-' + std::to_string(getpid());
  EXPECT_EQ(file.Name(), name + ".unlocked.jsonl");
  EXPECT_TRUE(IsLogName(file.Name()));
  ASSERT_TRUE(file.Append("line\n"));
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path()).empty());
  file.Close();
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path()).empty());
  EXPECT_EQ(testing::NamesIn(folder.Path()), Names{name + ".unlocked.jsonl"});
  PruneLogs(folder.Path(), {0, 0}, "");
  EXPECT_TRUE(testing::NamesIn(folder.Path()).empty());
}

TEST(LogRace, ARunDoesNotReportItsOwnLogThatItCouldNotLock) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path(), {});
  lockError = ENOLCK;
  // The first lock is that of the log, the next one looks for crashed runs.
  beforeLock = [] { beforeLock = [] { lockError = 0; }; };
  log.Error("symptom", "text");
  lockError = 0;
  log.End();
  const Names names = testing::NamesIn(folder.Path());
  ASSERT_EQ(names.size(), 1U);
  EXPECT_EQ(testing::FileText(folder.Path(names[0])).find("earlier-run-unfinished"),
            std::string::npos);
}

}  // namespace
}  // namespace orvan::log

// Two runs that meet in one folder, at the one moment in which it matters: a file is there and not
// locked yet.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "service/core/log_file.h"
#include "service/core/log_folder.h"
#include "service/core/log_time.h"
#include "service/core/test_support.h"
#include "system/descriptor.h"
#include "system/test_lock.h"

namespace orvan::core {
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

}  // namespace
}  // namespace orvan::core

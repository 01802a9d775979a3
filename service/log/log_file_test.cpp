#include "service/log/log_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "service/log/log_folder.h"
#include "service/log/log_time.h"
#include "tests/support/log_test_support.h"
#include "tests/support/test_disk.h"

namespace orvan::log {
namespace {

using testing::TemporaryFolder;
using Names = std::vector<std::string>;

std::string NameAt(std::int64_t milliseconds) {
  return "tarvex-" + FileTimeText(milliseconds) + '-' + std::to_string(getpid()) + ".jsonl";
}

TEST(LogFile, IsNamedByItsTimeAndProcess) {
  TemporaryFolder folder;
  LogFile file;
  ASSERT_TRUE(file.Create(folder.Path("a/b"), 1732176000007));
  EXPECT_EQ(file.Name(), "tarvex-20241121T080000.007Z-" + std::to_string(getpid()) + ".jsonl");
  EXPECT_TRUE(IsLogName(file.Name()));
  EXPECT_TRUE(file.Append("one\n"));
  EXPECT_TRUE(file.Append("two\n"));
  EXPECT_EQ(testing::FileText(folder.Path("a/b/" + file.Name())), "one\ntwo\n");
}

TEST(LogFile, LeavesANameThatIsTakenAlone) {
  TemporaryFolder folder;
  TemporaryFolder other;
  other.Write("victim", "");
  folder.Write(NameAt(5), "old");
  ASSERT_EQ(symlink(other.Path("victim").c_str(), folder.Path(NameAt(6)).c_str()), 0);
  ASSERT_EQ(symlink(other.Path("none").c_str(), folder.Path(NameAt(7)).c_str()), 0);
  LogFile file;
  ASSERT_TRUE(file.Create(folder.Path(), 5));
  EXPECT_EQ(file.Name(), NameAt(8));
  file.Append("line\n");
  EXPECT_EQ(testing::FileText(folder.Path(NameAt(5))), "old");
  EXPECT_EQ(testing::FileText(other.Path("victim")), "");
  EXPECT_FALSE(std::filesystem::exists(other.Path("none")));
}

TEST(LogFile, IsNotMadeBehindAStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  TemporaryFolder folder;
  TemporaryFolder other;
  const std::string link = folder.Path("link");
  ASSERT_EQ(symlink(other.Path().c_str(), link.c_str()), 0);
  ASSERT_EQ(lchown(link.c_str(), 12345, 12345), 0);
  LogFile file;
  EXPECT_FALSE(file.Create(link, 0));
  EXPECT_FALSE(file.Create(link + "/new", 0));
  EXPECT_TRUE(testing::NamesIn(other.Path()).empty());
  ASSERT_EQ(lchown(link.c_str(), 0, 0), 0);
  EXPECT_TRUE(file.Create(link + "/new", 0));
}

TEST(LogFile, GivesUpAfterSixteenNames) {
  TemporaryFolder folder;
  for (std::int64_t time = 0; time < 16; ++time) {
    folder.Write(NameAt(time), "old");
  }
  LogFile file;
  EXPECT_FALSE(file.Create(folder.Path(), 0));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_TRUE(file.Create(folder.Path(), 1));
}

TEST(LogFile, NeedsAFolder) {
  TemporaryFolder folder;
  folder.Write("file", "");
  LogFile file;
  EXPECT_FALSE(file.Create("", 0));
  EXPECT_FALSE(file.Create(folder.Path("file"), 0));
  EXPECT_FALSE(file.Create(folder.Path() + std::string("\0x", 2), 0));
  EXPECT_FALSE(file.Append("line\n"));
  EXPECT_FALSE(file.MoveTo(folder.Path("other"), 0));
}

TEST(LogFile, MovesWithItsLines) {
  TemporaryFolder folder;
  LogFile file;
  ASSERT_TRUE(file.Create(folder.Path("a"), 0));
  const std::string large(200000, 'x');
  file.Append(large + "\n");
  ASSERT_TRUE(file.MoveTo(folder.Path("b"), 0));
  file.Append("more\n");
  EXPECT_EQ(file.Folder(), folder.Path("b"));
  EXPECT_TRUE(testing::NamesIn(folder.Path("a")).empty());
  EXPECT_EQ(testing::FileText(folder.Path("b/" + file.Name())), large + "\nmore\n");
}

TEST(LogFile, ASyncerOutlivesItsFile) {
  TemporaryFolder folder;
  LogFile file;
  ASSERT_TRUE(file.Create(folder.Path(), 0));
  const std::function<void()> sync = file.Syncer();
  file.Append("line\n");
  file.Discard();
  sync();
  EXPECT_TRUE(testing::NamesIn(folder.Path()).empty());
}

// Appends lines of 1024 bytes of that rank until there is no room, and tells how many found it.
int Flood(LogFile& file, LogRank rank) {
  int lines = 0;
  while (lines < 1000 && file.Append(std::string(1023, 'x') + '\n', rank)) {
    ++lines;
  }
  return lines;
}

// Of 64 KiB that are held, notes and events leave 16, and outcomes 4.
TEST(LogFile, EachRankLeavesRoomForThoseBelowItOnAFullDisk) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  LogFile file;
  ASSERT_TRUE(file.Create(disk.Path(), 0));
  ASSERT_TRUE(file.Append("x", LogRank::kOutcome));
  disk.Fill();
  EXPECT_EQ(Flood(file, LogRank::kNote), 47);
  EXPECT_EQ(Flood(file, LogRank::kEvent), 0);
  EXPECT_EQ(Flood(file, LogRank::kOutcome), 12);
  EXPECT_EQ(Flood(file, LogRank::kEnd), 4);
  disk.Empty();
  EXPECT_TRUE(file.Append("x", LogRank::kNote));
}

TEST(LogFile, IsNotMovedWhereItsEndFindsNoRoom) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  TemporaryFolder folder;
  LogFile file;
  ASSERT_TRUE(file.Create(folder.Path(), 0));
  ASSERT_TRUE(file.Append(std::string(4096, 'x')));
  disk.Fill(1);
  EXPECT_FALSE(file.MoveTo(disk.Path(), 0));
  EXPECT_TRUE(testing::NamesIn(disk.Path()).empty());
  disk.Fill(2);
  EXPECT_TRUE(file.MoveTo(disk.Path(), 0));
}

TEST(LogFile, GivesBackTheRoomThatItHolds) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  LogFile file;
  ASSERT_TRUE(file.Create(disk.Path(), 0));
  file.Append("line\n");
  const std::string path = disk.Path(file.Name());
  EXPECT_EQ(RoomOf(path), 65536);
  file.Close();
  EXPECT_EQ(RoomOf(path), 4096);
}

TEST(LogFile, ASyncerGivesBackTheRoomOfAClosedFileOnly) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  LogFile file;
  ASSERT_TRUE(file.Create(disk.Path(), 0));
  file.Append("line\n");
  const std::string path = disk.Path(file.Name());
  const std::function<void()> sync = file.Syncer();
  sync();
  EXPECT_EQ(RoomOf(path), 65536);
  file.Close();
  EXPECT_EQ(RoomOf(path), 65536);
  sync();
  EXPECT_EQ(RoomOf(path), 4096);
  EXPECT_EQ(testing::FileText(path), "line\n");
}

TEST(UtcTimeText, IsWrittenInUtcToTheMillisecond) {
  EXPECT_EQ(UtcTimeText(0), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(UtcTimeText(1732176000007), "2024-11-21T08:00:00.007Z");
  EXPECT_EQ(UtcTimeText(-1), "1969-12-31T23:59:59.999Z");
}

}  // namespace
}  // namespace orvan::log

#include "os/spool_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "os/descriptor.h"
#include "tests/support/test_folder.h"

namespace {

constexpr std::size_t kLimit = 16;

class SpoolFile : public testing::Test {
 protected:
  bool Append(const std::string& text) {
    return tarvex::AppendToSpool(folder_.Path(), "spool", text, kLimit);
  }
  std::string Text(const std::string& name = "spool") const { return folder_.Read(name); }
  mode_t Mode() const {
    struct stat status {};
    return stat(path_.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
  }
  const TestFolder folder_;
  const std::string path_ = folder_ / "spool";
};

TEST_F(SpoolFile, IsMadeForItsOwnerOnlyAndGrows) {
  const mode_t mask = umask(0);
  EXPECT_TRUE(Append("one\n"));
  umask(mask);
  EXPECT_EQ(Mode(), 0600U);
  EXPECT_TRUE(Append("two\n"));
  EXPECT_EQ(Text(), "one\ntwo\n");
}

TEST_F(SpoolFile, LosesTheRightsOfOthers) {
  folder_.Write("spool", "one\n");
  ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
  EXPECT_TRUE(Append("two\n"));
  EXPECT_EQ(Mode(), 0600U);
}

TEST_F(SpoolFile, NeverGrowsPastItsLimit) {
  EXPECT_TRUE(Append("0123456789\n"));
  EXPECT_FALSE(Append("01234\n"));
  EXPECT_EQ(Text(), "0123456789\n");
  EXPECT_TRUE(Append("0123\n"));
  EXPECT_EQ(Text().size(), kLimit);
  EXPECT_FALSE(Append("\n"));
  folder_.Write("spool", std::string(kLimit + 1, 'x'));
  EXPECT_FALSE(Append(""));
}

TEST_F(SpoolFile, IsNotReachedOverALink) {
  folder_.Write("precious", "old");
  ASSERT_EQ(symlink("precious", path_.c_str()), 0);
  EXPECT_FALSE(Append("new"));
  std::filesystem::remove(path_);
  ASSERT_EQ(link((folder_ / "precious").c_str(), path_.c_str()), 0);
  EXPECT_FALSE(Append("new"));
  EXPECT_EQ(Text("precious"), "old");
}

TEST_F(SpoolFile, IsNotReachedOverAStrangersLinkOnTheWay) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  std::filesystem::create_directory(folder_ / "real");
  ASSERT_EQ(symlink("real", (folder_ / "way").c_str()), 0);
  ASSERT_EQ(lchown((folder_ / "way").c_str(), 12345, 12345), 0);
  EXPECT_FALSE(tarvex::AppendToSpool(folder_ / "way", "spool", "new", kLimit));
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "real"));
  ASSERT_EQ(lchown((folder_ / "way").c_str(), 0, 0), 0);
  EXPECT_TRUE(tarvex::AppendToSpool(folder_ / "way", "spool", "new", kLimit));
}

TEST_F(SpoolFile, IsARegularFile) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_FALSE(Append("new"));
  std::filesystem::remove(path_);
  std::filesystem::create_directory(path_);
  EXPECT_FALSE(Append("new"));
  EXPECT_FALSE(tarvex::AppendToSpool(folder_ / "missing", "spool", "new", kLimit));
  EXPECT_FALSE(tarvex::AppendToSpool("", "spool", "new", kLimit));
}

TEST_F(SpoolFile, BelongsToThisUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  folder_.Write("spool", "old");
  ASSERT_EQ(chown(path_.c_str(), 1, 1), 0);
  EXPECT_FALSE(Append("new"));
  EXPECT_EQ(Text(), "old");
}

TEST_F(SpoolFile, ALineThatACrashCutShortSpoilsNoOther) {
  folder_.Write("spool", "one\ntw");
  EXPECT_TRUE(Append("three\n"));
  EXPECT_EQ(Text(), "one\ntw\nthree\n");
  folder_.Write("spool", "0123456789");
  EXPECT_FALSE(Append("01234\n")) << "the line end in front counts";
  EXPECT_EQ(Text(), "0123456789");
  EXPECT_TRUE(Append("0123\n"));
}

TEST_F(SpoolFile, IsLeftAloneWhileSomebodyElseHoldsIt) {
  folder_.Write("spool", "one\n");
  {
    const tarvex::Descriptor held(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(held.Get(), LOCK_SH), 0);
    EXPECT_FALSE(Append("two\n"));
  }
  EXPECT_EQ(Text(), "one\n");
  EXPECT_TRUE(Append("two\n"));
}

// A limit on the size of files cuts a write as a full disk does.
TEST_F(SpoolFile, KeepsNoPartOfAText) {
  ASSERT_TRUE(Append("one\n"));
  const auto previous = signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit narrow = before;
  narrow.rlim_cur = 6;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &narrow), 0);
  const bool appended = Append("two\n");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  signal(SIGXFSZ, previous);
  EXPECT_FALSE(appended);
  EXPECT_EQ(Text(), "one\n");
}

}  // namespace

#include "os/trusted_path.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/test_folder.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;

class OpenFolderOverOwnLinksTest : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_ / "real/inner"); }
  // A link that belongs to somebody else.
  void MakeStrangersLink(const std::string& target, const std::string& name) const {
    ASSERT_EQ(symlink(target.c_str(), (folder_ / name).c_str()), 0);
    ASSERT_EQ(lchown((folder_ / name).c_str(), 12345, 12345), 0);
  }
  static void ExpectSame(const Descriptor& opened, const std::string& path) {
    struct stat found {};
    struct stat expected {};
    ASSERT_EQ(fstat(opened.Get(), &found), 0);
    ASSERT_EQ(stat(path.c_str(), &expected), 0);
    EXPECT_EQ(found.st_ino, expected.st_ino);
    EXPECT_EQ(found.st_dev, expected.st_dev);
  }

  const TestFolder folder_;
  Descriptor opened_;
};

TEST_F(OpenFolderOverOwnLinksTest, GoesDownAndUpAndOverDoubledSeparators) {
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "real/.././real//inner/", opened_), 0);
  ExpectSame(opened_, folder_ / "real/inner");
  EXPECT_EQ(OpenFolderOverOwnLinks("/", opened_), 0);
  ExpectSame(opened_, "/");
  EXPECT_EQ(OpenFolderOverOwnLinks(".", opened_), 0);
  ExpectSame(opened_, ".");
}

TEST_F(OpenFolderOverOwnLinksTest, FollowsOwnLinksWhereverTheyLead) {
  ASSERT_EQ(symlink("real", (folder_ / "relative").c_str()), 0);
  ASSERT_EQ(symlink((folder_ / "relative").c_str(), (folder_ / "absolute").c_str()), 0);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "absolute/inner", opened_), 0);
  ExpectSame(opened_, folder_ / "real/inner");
}

TEST_F(OpenFolderOverOwnLinksTest, RefusesAStrangersLinkAtAnyPlace) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  MakeStrangersLink("real", "last");
  MakeStrangersLink("inner", "real/within");
  ASSERT_EQ(symlink("last", (folder_ / "own").c_str()), 0);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "last", opened_), ELOOP);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "last/inner", opened_), ELOOP);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "last/missing/deep", opened_), ELOOP);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "real/within", opened_), ELOOP);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "own/inner", opened_), ELOOP) << "behind an own one";
  EXPECT_FALSE(opened_.IsOpen());
}

TEST_F(OpenFolderOverOwnLinksTest, MakesWhatIsMissing) {
  ASSERT_EQ(symlink("real/", (folder_ / "own").c_str()), 0);
  ASSERT_EQ(symlink("own/inner", (folder_ / "over").c_str()), 0);
  EXPECT_EQ(MakeFolderOverOwnLinks(folder_ / "over/deep//new/", opened_), 0);
  ExpectSame(opened_, folder_ / "real/inner/deep/new");
  EXPECT_EQ(MakeFolderOverOwnLinks(folder_ / "over/x", opened_), 0);
  ExpectSame(opened_, folder_ / "real/inner/x");
  EXPECT_EQ(MakeFolderOverOwnLinks(folder_ / "real/inner", opened_), 0);
  ExpectSame(opened_, folder_ / "real/inner");
  folder_.Write("file", "");
  EXPECT_EQ(MakeFolderOverOwnLinks(folder_ / "file/deep", opened_), ENOTDIR);
  EXPECT_EQ(MakeFolderOverOwnLinks("", opened_), ENOENT);
}

TEST_F(OpenFolderOverOwnLinksTest, MakesNothingWhereALinkLeadsToNothing) {
  ASSERT_EQ(symlink("nothing", (folder_ / "real/dangling").c_str()), 0);
  ASSERT_EQ(symlink("real/dangling", (folder_ / "over").c_str()), 0);
  ASSERT_EQ(symlink("nothing/inner", (folder_ / "deep").c_str()), 0);
  for (const char* path : {"real/dangling", "real/dangling/", "over/new", "deep/new"}) {
    EXPECT_EQ(MakeFolderOverOwnLinks(folder_ / path, opened_), ENOENT) << path;
  }
  EXPECT_FALSE(fs::exists(folder_ / "nothing"));
  EXPECT_FALSE(fs::exists(folder_ / "real/nothing"));
}

TEST_F(OpenFolderOverOwnLinksTest, MakesNothingBehindAStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  MakeStrangersLink("real/inner", "last");
  EXPECT_EQ(MakeFolderOverOwnLinks(folder_ / "last/deep", opened_), ELOOP);
  EXPECT_EQ(MakeFolderOverOwnLinks(folder_ / "new/../last/deep", opened_), ELOOP);
  EXPECT_TRUE(fs::is_empty(folder_ / "real/inner"));
}

TEST_F(OpenFolderOverOwnLinksTest, EndsInACircle) {
  ASSERT_EQ(symlink("circle", (folder_ / "circle").c_str()), 0);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "circle", opened_), ELOOP);
}

TEST_F(OpenFolderOverOwnLinksTest, TellsWhyThereIsNone) {
  folder_.Write("file", "");
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "missing/deep", opened_), ENOENT);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "file", opened_), ENOTDIR);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / "file/deep", opened_), ENOTDIR);
  EXPECT_EQ(OpenFolderOverOwnLinks(folder_ / std::string(300, 'x'), opened_), ENAMETOOLONG);
  EXPECT_EQ(OpenFolderOverOwnLinks("", opened_), ENOENT);
  EXPECT_FALSE(opened_.IsOpen());
}

}  // namespace
}  // namespace tarvex

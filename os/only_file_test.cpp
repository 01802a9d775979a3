#include "os/only_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "os/regular_file.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_open.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;
using Access = OnlyFile::Access;

class OnlyFileTest : public testing::Test {
 protected:
  std::string Text(const std::string& name) const {
    std::string text;
    return ReadRegularFile(folder_ / name, 100, text) ? text : "(none)";
  }

  const TestFolder folder_;
  OnlyFile file_;
};

TEST_F(OnlyFileTest, MakesAFileAndChangesNothingInOneThatIsThere) {
  EXPECT_EQ(file_.Open(folder_ / "new", Access::kWrite, 0600), 0);
  EXPECT_TRUE(file_.MayBeWritten());
  EXPECT_EQ(Text("new"), "");
  folder_.Write("old", "text");
  EXPECT_EQ(file_.Open(folder_ / "old", Access::kWrite, 0600), 0);
  EXPECT_EQ(Text("old"), "text");
  EXPECT_EQ(file_.Empty(), 0);
  EXPECT_EQ(Text("old"), "");
}

TEST_F(OnlyFileTest, RefusesWhatIsNoFileWithOneName) {
  folder_.Write("file", "text");
  fs::create_hard_link(folder_ / "file", folder_ / "second");
  fs::create_symlink("new", folder_ / "link");
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), EMLINK);
  EXPECT_EQ(file_.Open(folder_ / "link", Access::kWrite, 0600), ELOOP);
  EXPECT_EQ(file_.Open(folder_ / "pipe", Access::kWrite, 0600), EINVAL);
  EXPECT_EQ(file_.Open(folder_.Path(), Access::kWrite, 0600), EINVAL);
  EXPECT_EQ(file_.Open(folder_ / "missing/file", Access::kWrite, 0600), ENOENT);
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(Text("file"), "text");
  EXPECT_FALSE(fs::exists(folder_ / "new"));
}

TEST_F(OnlyFileTest, WritesNoMoreWhenTheNameIsGone) {
  folder_.Write("file", "text");
  ASSERT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), 0);
  fs::rename(folder_ / "file", folder_ / "taken");
  EXPECT_FALSE(file_.MayBeWritten());
  EXPECT_EQ(file_.Empty(), EMLINK);
  EXPECT_EQ(Text("taken"), "text");
}

TEST_F(OnlyFileTest, WritesNoMoreWhenTheNameIsAnothers) {
  folder_.Write("file", "text");
  ASSERT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), 0);
  fs::rename(folder_ / "file", folder_ / "taken");
  folder_.Write("file", "other");
  EXPECT_FALSE(file_.MayBeWritten());
  fs::remove(folder_ / "file");
  fs::create_symlink("taken", folder_ / "file");
  EXPECT_FALSE(file_.MayBeWritten());
}

TEST_F(OnlyFileTest, WritesNoMoreWhenThereIsASecondName) {
  folder_.Write("file", "text");
  ASSERT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), 0);
  fs::create_hard_link(folder_ / "file", folder_ / "second");
  EXPECT_FALSE(file_.MayBeWritten());
  EXPECT_EQ(file_.Empty(), EMLINK);
  EXPECT_EQ(Text("file"), "text");
}

TEST_F(OnlyFileTest, WritesFromTheFirstByteOnWhateverBecomesOfTheName) {
  ASSERT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), 0);
  EXPECT_EQ(file_.Write("one "), 0);
  fs::rename(folder_ / "file", folder_ / "taken");
  EXPECT_EQ(file_.Write("two"), 0);
  EXPECT_EQ(Text("taken"), "one two");
}

TEST_F(OnlyFileTest, WritesNoFirstByteWhenTheNameIsGoneOrAnother) {
  ASSERT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), 0);
  fs::rename(folder_ / "file", folder_ / "taken");
  EXPECT_EQ(file_.Write("one"), EMLINK);
  folder_.Write("file", "other");
  EXPECT_EQ(file_.Write("two"), EMLINK);
  EXPECT_EQ(Text("taken"), "");
  EXPECT_EQ(Text("file"), "other");
}

TEST_F(OnlyFileTest, AFileThatIsOpenedAgainIsLookedAtAgain) {
  ASSERT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), 0);
  ASSERT_EQ(file_.Write("one"), 0);
  ASSERT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), 0);
  fs::create_hard_link(folder_ / "file", folder_ / "second");
  EXPECT_EQ(file_.Write("two"), EMLINK);
  EXPECT_EQ(Text("file"), "one");
}

// A stranger gives somebody else's file a second name, and takes it away once it is open: then the
// open file has a single name, but not this one.
TEST_F(OnlyFileTest, RefusesAFileWhoseNameIsGoneOnceItIsOpen) {
  for (const bool isMade : {false, true}) {
    folder_.Write("precious", "text");
    if (!isMade) folder_.Write("file", "text");
    afterOpen = [this] {
      fs::remove(folder_ / "file");
      fs::create_hard_link(folder_ / "precious", folder_ / "file");
    };
    EXPECT_EQ(file_.Open(folder_ / "file", Access::kWrite, 0600), EMLINK);
    EXPECT_FALSE(file_.IsOpen());
    EXPECT_EQ(Text("precious"), "text");
    fs::remove(folder_ / "file");
  }
}

TEST_F(OnlyFileTest, StaysBelowAFolder) {
  fs::create_directories(folder_ / "a/b");
  fs::create_symlink("b", folder_ / "a/link");
  const std::string base = folder_ / "a";
  EXPECT_EQ(file_.OpenBelow(base, "b//./file", Access::kReadAndAppend, 0600), 0);
  EXPECT_EQ(Text("a/b/file"), "");
  EXPECT_EQ(file_.OpenBelow(base, "link/file", Access::kWrite, 0600), ENOTDIR);
  for (const char* path : {"", "/", "/file", "../file", "b/../../file", "..", "b/..", "b/"}) {
    EXPECT_EQ(file_.OpenBelow(base, path, Access::kWrite, 0600), EINVAL) << path;
  }
  EXPECT_FALSE(fs::exists(folder_ / "file"));
}

}  // namespace
}  // namespace tarvex

#include "os/trusted_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/refusing_kernel.h"
#include "tests/support/test_folder.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kStranger = 12345;

// A chain of folders of one's own, "above/between/inner", with a file of one's own in each.
class TrustedFileTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(inner_);
    for (const char* name : {"above/between/inner/file", "above/file"}) {
      folder_.Write(name, "text");
      ASSERT_EQ(chmod((folder_ / name).c_str(), 0644), 0);
    }
  }
  static std::string FolderFault(const std::string& path) {
    Descriptor folder;
    std::string fault = OpenTrustedFolder(path, folder);
    EXPECT_EQ(folder.IsOpen(), fault.empty());
    return fault;
  }
  std::string FileFault(const std::string& name) const {
    Descriptor folder;
    Descriptor file;
    EXPECT_EQ(OpenTrustedFolder(inner_, folder), "");
    std::string fault = OpenTrustedFile(folder, name, file);
    EXPECT_EQ(file.IsOpen(), fault.empty());
    return fault;
  }
  void GiveAway(const std::string& name) const {
    ASSERT_EQ(lchown((folder_ / name).c_str(), kStranger, kStranger), 0);
  }

  const TestFolder folder_;
  const std::string above_ = folder_ / "above";
  const std::string inner_ = folder_ / "above/between/inner";
};

TEST_F(TrustedFileTest, TakesAFolderThatOnlyItsOwnerMayWrite) {
  EXPECT_EQ(FolderFault(inner_), "");
  EXPECT_EQ(FolderFault(inner_ + "/file"), "is no folder");
  EXPECT_EQ(FolderFault(inner_ + "/missing"), "No such file or directory");
  EXPECT_EQ(FolderFault(""), "No such file or directory");
  for (const mode_t mode : {0757U, 0777U, 0775U, 01777U, 02770U}) {
    ASSERT_EQ(chmod(inner_.c_str(), mode), 0);
    EXPECT_EQ(FolderFault(inner_), "can be written by others") << std::oct << mode;
  }
}

TEST_F(TrustedFileTest, LooksAtTheFoldersAbove) {
  const std::string real = fs::canonical(above_).string();
  ASSERT_EQ(symlink(inner_.c_str(), (folder_ / "link").c_str()), 0);
  for (const mode_t mode : {0777U, 0770U}) {
    ASSERT_EQ(chmod(above_.c_str(), mode), 0);
    const std::string expected = "lies in " + real + ", which can be written by others";
    EXPECT_EQ(FolderFault(inner_), expected);
    EXPECT_EQ(FolderFault(folder_ / "link"), expected);
    EXPECT_EQ(FolderFault(folder_ / "above/between/../between/./inner"), expected);
  }
  ASSERT_EQ(chmod(above_.c_str(), 01777), 0);
  EXPECT_EQ(FolderFault(inner_), "");
}

TEST_F(TrustedFileTest, LooksAboveTheWorkingFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(inner_);
  EXPECT_EQ(FolderFault("."), "");
  EXPECT_EQ(FolderFault("../inner"), "");
  ASSERT_EQ(chmod(above_.c_str(), 0777), 0);
  EXPECT_EQ(FolderFault("."),
            "lies in " + fs::canonical(above_).string() + ", which can be written by others");
  fs::current_path(before);
}

TEST_F(TrustedFileTest, RefusesAStrangersFolderAndWhatLiesInIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  GiveAway("above");
  EXPECT_EQ(FolderFault(above_), "belongs to another user");
  EXPECT_EQ(FolderFault(inner_),
            "lies in " + fs::canonical(above_).string() + ", which belongs to another user");
}

TEST_F(TrustedFileTest, FollowsNoStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  ASSERT_EQ(symlink("inner", (folder_ / "above/between/link").c_str()), 0);
  EXPECT_EQ(FolderFault(folder_ / "above/between/link"), "");
  GiveAway("above/between/link");
  EXPECT_EQ(FolderFault(folder_ / "above/between/link"),
            "is reached over a link of another user, or over too many");
}

TEST_F(TrustedFileTest, MakesTheLastFolderAlone) {
  Descriptor folder;
  EXPECT_EQ(MakeTrustedFolder(inner_ + "/new/", folder), "");
  EXPECT_TRUE(folder.IsOpen());
  EXPECT_TRUE(fs::is_directory(inner_ + "/new"));
  EXPECT_EQ(MakeTrustedFolder(inner_ + "/new", folder), "");
  EXPECT_EQ(MakeTrustedFolder(inner_ + "/other/new", folder), "No such file or directory");
  EXPECT_FALSE(fs::exists(inner_ + "/other"));
  ASSERT_EQ(chmod(above_.c_str(), 0777), 0);
  EXPECT_NE(MakeTrustedFolder(inner_ + "/newer", folder), "");
  EXPECT_FALSE(fs::exists(inner_ + "/newer"));
}

unsigned ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

TEST_F(TrustedFileTest, APrivateFolderIsMadeForItsOwnerAlone) {
  Descriptor folder;
  EXPECT_EQ(MakePrivateFolder(inner_ + "/new", folder), "");
  EXPECT_EQ(ModeOf(inner_ + "/new"), 0700U);
  // For its content, too.
  EXPECT_NE(fcntl(folder.Get(), F_GETFL) & O_DIRECTORY, 0);
  EXPECT_EQ(fcntl(folder.Get(), F_GETFL) & O_PATH, 0);
  EXPECT_EQ(MakePrivateFolder(inner_ + "/other/new", folder), "No such file or directory");
}

TEST_F(TrustedFileTest, APrivateFolderIsClosedToOthersWhereItWasNot) {
  for (const mode_t mode : {0755U, 0750U, 0705U, 0711U, 0701U, 0710U, 0704U, 0740U}) {
    ASSERT_EQ(chmod(inner_.c_str(), mode), 0);
    Descriptor folder;
    EXPECT_EQ(MakePrivateFolder(inner_, folder), "") << std::oct << mode;
    EXPECT_TRUE(folder.IsOpen());
    EXPECT_EQ(ModeOf(inner_), 0700U) << std::oct << mode;
  }
}

TEST_F(TrustedFileTest, APrivateFolderThatOthersMayHaveWrittenIsRefusedAsItIs) {
  for (const mode_t mode : {0757U, 0777U, 0770U, 01777U}) {
    ASSERT_EQ(chmod(inner_.c_str(), mode), 0);
    Descriptor folder;
    EXPECT_EQ(MakePrivateFolder(inner_, folder), "can be written by others") << std::oct << mode;
    EXPECT_FALSE(folder.IsOpen());
    EXPECT_EQ(ModeOf(inner_), mode);
  }
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  ASSERT_EQ(chmod(inner_.c_str(), 0755), 0);
  GiveAway("above/between/inner");
  Descriptor folder;
  EXPECT_EQ(MakePrivateFolder(inner_, folder), "belongs to another user");
  EXPECT_EQ(ModeOf(inner_), 0755U);
}

TEST_F(TrustedFileTest, APrivateFolderThatCannotBeClosedIsRefused) {
  ASSERT_EQ(chmod(inner_.c_str(), 0755), 0);
  WhereTheKernelRefuses({SYS_fchmod, EPERM}, [&] {
    Descriptor folder;
    EXPECT_EQ(MakePrivateFolder(inner_ + "/new", folder), "");  // made closed
    folder.Reset();
    EXPECT_EQ(MakePrivateFolder(inner_, folder), "is open to others: Operation not permitted");
    EXPECT_FALSE(folder.IsOpen());
  });
}

TEST_F(TrustedFileTest, TakesARegularFileThatOnlyItsOwnerMayWrite) {
  EXPECT_EQ(FileFault("file"), "");
  EXPECT_EQ(FileFault("missing"), "No such file or directory");
  EXPECT_EQ(FileFault("."), "is no regular file");
  ASSERT_EQ(symlink("file", (inner_ + "/link").c_str()), 0);
  EXPECT_EQ(FileFault("link"), "is no regular file");
  ASSERT_EQ(mkfifo((inner_ + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(FileFault("pipe"), "is no regular file");
  for (const mode_t mode : {0646U, 0664U, 0620U}) {
    ASSERT_EQ(chmod((inner_ + "/file").c_str(), mode), 0);
    EXPECT_EQ(FileFault("file"), "can be written by others") << std::oct << mode;
  }
}

TEST_F(TrustedFileTest, RefusesAStrangersFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  GiveAway("above/between/inner/file");
  EXPECT_EQ(FileFault("file"), "belongs to another user");
}

TEST_F(TrustedFileTest, ReadsTheWholeOrNothing) {
  std::string text = "old";
  EXPECT_EQ(ReadTrustedFile(inner_ + "/file", 4, text), "");
  EXPECT_EQ(text, "text");
  text = "old";
  EXPECT_EQ(ReadTrustedFile(inner_ + "/file", 3, text), "is larger than 3 bytes");
  EXPECT_EQ(ReadTrustedFile(inner_, 4, text), "is no regular file");
  ASSERT_EQ(chmod(above_.c_str(), 0777), 0);
  EXPECT_NE(ReadTrustedFile(inner_ + "/file", 4, text), "");
  EXPECT_EQ(text, "old");
}

TEST_F(TrustedFileTest, ReadsNothingWhereThereIsNoFile) {
  for (const char* name : {"/missing", "/missing/deep"}) {
    std::string text = "old";
    EXPECT_EQ(ReadTrustedFile(inner_ + name, 4, text), "");
    EXPECT_EQ(text, "");
  }
}

TEST_F(TrustedFileTest, ReadsOverOwnLinksWhereverTheyLead) {
  ASSERT_EQ(symlink("../../file", (inner_ + "/relative").c_str()), 0);
  ASSERT_EQ(symlink((inner_ + "/relative").c_str(), (folder_ / "absolute").c_str()), 0);
  std::string text;
  EXPECT_EQ(ReadTrustedFile(folder_ / "absolute", 4, text), "");
  EXPECT_EQ(text, "text");
  ASSERT_EQ(symlink("circle", (folder_ / "circle").c_str()), 0);
  EXPECT_EQ(ReadTrustedFile(folder_ / "circle", 4, text), "is reached over too many links");
  ASSERT_EQ(chmod(above_.c_str(), 0777), 0);
  EXPECT_NE(ReadTrustedFile(folder_ / "absolute", 4, text), "");
}

TEST_F(TrustedFileTest, ReadsOverNoStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  ASSERT_EQ(symlink("file", (inner_ + "/link").c_str()), 0);
  GiveAway("above/between/inner/link");
  std::string text = "old";
  EXPECT_EQ(ReadTrustedFile(inner_ + "/link", 4, text), "is a link of another user");
  EXPECT_EQ(text, "old");
}

}  // namespace
}  // namespace tarvex

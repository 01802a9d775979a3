#include "service/machine/capture_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "service/machine/machine_files.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

namespace fs = std::filesystem;

TEST(WriteCaptureTest, ReplacesAFileButNeverWritesThroughALink) {
  const TestFolder folder;
  const std::string path = folder.Path() + "/capture";
  ASSERT_EQ(WriteCapture(path, "a longer first text"), 0);
  ASSERT_EQ(WriteCapture(path, "second"), 0);
  EXPECT_EQ(LiveFiles(folder.Path()).ReadBytes("/capture", 100), "second");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  ASSERT_EQ(WriteCapture(path, "second"), 0);
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  fs::create_symlink(path, folder.Path() + "/link");
  EXPECT_EQ(WriteCapture(folder.Path() + "/link", "third"), ELOOP);
  EXPECT_EQ(LiveFiles(folder.Path()).ReadBytes("/capture", 100), "second");
}

TEST(WriteCaptureTest, ChangesNothingInAFileWithASecondName) {
  const TestFolder folder;
  const std::string path = folder.Path() + "/capture";
  ASSERT_EQ(WriteCapture(path, "first"), 0);
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  fs::create_hard_link(path, folder.Path() + "/second");
  EXPECT_EQ(WriteCapture(path, "second"), EMLINK);
  EXPECT_EQ(LiveFiles(folder.Path()).ReadBytes("/capture", 100), "first");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0644U);
}

TEST(WriteCaptureTest, GoesOverNoStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  const TestFolder folder;
  fs::create_directory(folder.Path() + "/real");
  fs::create_symlink("real", folder.Path() + "/link");
  ASSERT_EQ(WriteCapture(folder.Path() + "/link/capture", "own"), 0);
  ASSERT_EQ(lchown((folder.Path() + "/link").c_str(), 12345, 12345), 0);
  EXPECT_EQ(WriteCapture(folder.Path() + "/link/capture", "his"), ELOOP);
  EXPECT_EQ(LiveFiles(folder.Path()).ReadBytes("/real/capture", 100), "own");
}

}  // namespace
}  // namespace orvan::machine

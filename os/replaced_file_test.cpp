#include "os/replaced_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tests/support/log_test_support.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;

std::string TextIn(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

class ReplaceFileTest : public ::testing::Test {
 protected:
  int Replace(const std::string& text, bool isExact = true) {
    return ReplaceFile(path_, text, 0644, isExact);
  }
  orvan::log::testing::TemporaryFolder folder_;
  const std::string path_ = folder_.Path("metrics.prom");
};

TEST_F(ReplaceFileTest, MakesAndReplacesAndLeavesNothingElse) {
  EXPECT_EQ(Replace("one"), 0);
  const std::ifstream before(path_);
  EXPECT_EQ(Replace("two"), 0);
  EXPECT_EQ(TextIn(path_), "two");
  std::ostringstream old;
  old << before.rdbuf();
  EXPECT_EQ(old.str(), "one");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator()), 1);
}

TEST_F(ReplaceFileTest, TheModeIsExactOrLessTheUmask) {
  const mode_t before = umask(077);
  EXPECT_EQ(Replace("a"), 0);
  EXPECT_EQ(ModeOf(path_), 0644U);
  EXPECT_EQ(Replace("a", false), 0);
  EXPECT_EQ(ModeOf(path_), 0600U);
  umask(before);
}

TEST_F(ReplaceFileTest, WhatIsNoFileStays) {
  ASSERT_EQ(symlink("/dev/null", path_.c_str()), 0);
  EXPECT_EQ(Replace("a"), EEXIST);
  EXPECT_TRUE(fs::is_symlink(path_));
  fs::remove(path_);
  ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
  EXPECT_EQ(Replace("a"), EEXIST);
  EXPECT_EQ(ReplaceFile("/dev/null", "a", 0644, true), EEXIST);
  EXPECT_EQ(ReplaceFile(folder_.Path() + "/", "a", 0644, true), EISDIR);
  EXPECT_EQ(ReplaceFile(folder_.Path("none/file"), "a", 0644, true), ENOENT);
}

TEST_F(ReplaceFileTest, AFailedWriteLeavesTheOldOne) {
  ASSERT_EQ(Replace("old"), 0);
  const rlimit tiny{0, RLIM_INFINITY};
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  setrlimit(RLIMIT_FSIZE, &tiny);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  EXPECT_EQ(Replace("new"), EFBIG);
  signal(SIGXFSZ, handler);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(TextIn(path_), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator()), 1);
}

}  // namespace
}  // namespace tarvex

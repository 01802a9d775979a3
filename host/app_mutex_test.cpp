#include "host/app_mutex.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tarvex {
namespace {

class AppMutexTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "/app_mutex_XXXXXX";
    ASSERT_NE(::mkdtemp(name.data()), nullptr);
    parent_ = name;
    folder_ = name + "/run";
    lock_ = folder_ + "/instance.lock";
  }
  void TearDown() override { std::filesystem::remove_all(parent_); }

  static unsigned Mode(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
  }

  std::string parent_;
  std::string folder_;
  std::string lock_;
};

TEST_F(AppMutexTest, MakesFolderAndFileForTheOwnerToWrite) {
  const mode_t before = ::umask(022);
  EXPECT_NE(AppMutex::Open(folder_), nullptr);
  ::umask(before);
  EXPECT_EQ(Mode(folder_), 0755U);
  EXPECT_EQ(Mode(lock_), 0600U);
}

TEST_F(AppMutexTest, FirstTakesTheLockAndKeepsIt) {
  const auto mutex = AppMutex::Open(folder_);
  ASSERT_NE(mutex, nullptr);
  EXPECT_FALSE(mutex->IsAlreadyRunning());
  EXPECT_FALSE(mutex->IsAlreadyRunning());
}

TEST_F(AppMutexTest, SecondFindsItTakenUntilTheFirstEnds) {
  auto first = AppMutex::Open(folder_);
  const auto second = AppMutex::Open(folder_);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_FALSE(first->IsAlreadyRunning());
  EXPECT_TRUE(second->IsAlreadyRunning());
  first.reset();
  EXPECT_FALSE(second->IsAlreadyRunning());
}

TEST_F(AppMutexTest, OpenAloneTakesNothing) {
  const auto first = AppMutex::Open(folder_);
  const auto second = AppMutex::Open(folder_);
  EXPECT_FALSE(second->IsAlreadyRunning());
}

TEST_F(AppMutexTest, GivesNullWhereTheFolderCannotBe) {
  EXPECT_EQ(AppMutex::Open(parent_ + "/missing/run"), nullptr);
  std::filesystem::create_directory_symlink("/nonexistent", parent_ + "/dangling");
  EXPECT_EQ(AppMutex::Open(parent_ + "/dangling"), nullptr);
  EXPECT_EQ(AppMutex::Open(""), nullptr);
}

TEST_F(AppMutexTest, FollowsNoLinkInPlaceOfTheFile) {
  std::filesystem::create_directory(folder_);
  std::filesystem::create_symlink(parent_ + "/target", lock_);
  EXPECT_EQ(AppMutex::Open(folder_), nullptr);
  EXPECT_FALSE(std::filesystem::exists(parent_ + "/target"));
}

TEST_F(AppMutexTest, TakesNoPipeAndNoFolderForTheFile) {
  std::filesystem::create_directory(folder_);
  ASSERT_EQ(::mkfifo(lock_.c_str(), 0600), 0);
  EXPECT_EQ(AppMutex::Open(folder_), nullptr);
  std::filesystem::remove(lock_);
  std::filesystem::create_directory(lock_);
  EXPECT_EQ(AppMutex::Open(folder_), nullptr);
}

TEST_F(AppMutexTest, TakesNoLockThatOthersCouldHavePutThere) {
  std::filesystem::create_directory(folder_);
  for (const mode_t mode : {0770U, 0777U, 01777U}) {
    ASSERT_EQ(::chmod(folder_.c_str(), mode), 0);
    EXPECT_EQ(AppMutex::Open(folder_), nullptr) << std::oct << mode;
  }
  ASSERT_EQ(::chmod(folder_.c_str(), 0755), 0);
  EXPECT_NE(AppMutex::Open(folder_), nullptr);
  ASSERT_EQ(::chmod(lock_.c_str(), 0660), 0);
  EXPECT_EQ(AppMutex::Open(folder_), nullptr);
  ASSERT_EQ(::chmod(lock_.c_str(), 0600), 0);
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(::chown(lock_.c_str(), 12345, 12345), 0);
  EXPECT_EQ(AppMutex::Open(folder_), nullptr);
}

}  // namespace
}  // namespace tarvex

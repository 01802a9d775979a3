#include "service/core/platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "service/core/test_support.h"

namespace orvan::core {
namespace {

using testing::TemporaryFolder;

TEST(IsWritableFolder, IsTrueForFoldersOnly) {
  TemporaryFolder folder;
  EXPECT_TRUE(IsWritableFolder(folder.Path()));
  EXPECT_FALSE(IsWritableFolder(folder.Write("file", "")));
  EXPECT_FALSE(IsWritableFolder(folder.Path("missing")));
  EXPECT_FALSE(IsWritableFolder(folder.Path() + std::string("\0x", 2)));
}

TEST(ReadRegularFile, ReadsToItsEndOrToTheLimit) {
  TemporaryFolder folder;
  const std::string path = folder.Write("file", "four");
  std::string text = "old";
  EXPECT_TRUE(ReadRegularFile(path, 5, text));
  EXPECT_EQ(text, "four");
  EXPECT_TRUE(ReadRegularFile(path, 3, text));
  EXPECT_EQ(text, "fou");
  ASSERT_EQ(symlink("file", folder.Path("link").c_str()), 0);
  EXPECT_TRUE(ReadRegularFile(folder.Path("link"), 4, text));
  EXPECT_EQ(text, "four");
}

TEST(ReadRegularFile, RefusesAllElse) {
  TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  std::string text = "old";
  EXPECT_FALSE(ReadRegularFile(folder.Path("pipe"), 9, text));
  EXPECT_FALSE(ReadRegularFile(folder.Path(), 9, text));
  EXPECT_FALSE(ReadRegularFile("/dev/zero", 9, text));
  EXPECT_FALSE(ReadRegularFile(folder.Path("missing"), 9, text));
  EXPECT_EQ(text, "old");
}

}  // namespace
}  // namespace orvan::core

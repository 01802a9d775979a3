#include "os/regular_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/test_folder.h"

namespace {

using tarvex::IsNamed;
using tarvex::ReadRegularFile;

TEST(ReadRegularFile, ReadsToItsEndOrToTheLimit) {
  const TestFolder folder;
  folder.Write("file", "four");
  std::string text = "old";
  EXPECT_TRUE(ReadRegularFile(folder / "file", 5, text));
  EXPECT_EQ(text, "four");
  EXPECT_TRUE(ReadRegularFile(folder / "file", 3, text));
  EXPECT_EQ(text, "fou");
  ASSERT_EQ(symlink("file", (folder / "link").c_str()), 0);
  EXPECT_TRUE(ReadRegularFile(folder / "link", 4, text));
  EXPECT_EQ(text, "four");
}

TEST(ReadRegularFile, ReadsWhatIsLongerThanOneBlock) {
  const TestFolder folder;
  const std::string content = std::string(65536, 'a') + std::string(65536, 'b') + 'c';
  folder.Write("file", content);
  std::string text;
  EXPECT_TRUE(ReadRegularFile(folder / "file", 1U << 20, text));
  EXPECT_TRUE(text == content);
}

TEST(ReadRegularFile, RefusesAllElse) {
  const TestFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::string text = "old";
  EXPECT_FALSE(ReadRegularFile(folder / "pipe", 9, text));
  EXPECT_FALSE(ReadRegularFile(folder.Path(), 9, text));
  EXPECT_FALSE(ReadRegularFile("/dev/zero", 9, text));
  EXPECT_FALSE(ReadRegularFile(folder / "missing", 9, text));
  EXPECT_EQ(text, "old");
}

TEST(IsNamed, IsTrueForTheVeryFileOnly) {
  const TestFolder folder;
  folder.Write("file", "");
  ASSERT_EQ(symlink("file", (folder / "link").c_str()), 0);
  ASSERT_EQ(link((folder / "file").c_str(), (folder / "second").c_str()), 0);
  const tarvex::Descriptor place(open(folder.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const tarvex::Descriptor file(open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(IsNamed(place, "file", file));
  EXPECT_TRUE(IsNamed(place, "second", file));
  EXPECT_FALSE(IsNamed(place, "link", file));
  EXPECT_FALSE(IsNamed(place, "missing", file));
  ASSERT_EQ(unlink((folder / "file").c_str()), 0);
  folder.Write("file", "");
  EXPECT_FALSE(IsNamed(place, "file", file));
  EXPECT_FALSE(IsNamed(place, "file", {}));
}

}  // namespace

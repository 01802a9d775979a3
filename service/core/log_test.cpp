#include "service/core/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "service/core/test_support.h"

namespace orvan::core {
namespace {

using testing::FileText;
using testing::TemporaryFolder;

TEST(ServiceLog, MakesItsFolderAndFileWithTheFirstLine) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path("state/log"));
  EXPECT_FALSE(std::filesystem::exists(folder.Path("state")));
  log.Write("one");
  log.Write("two");
  EXPECT_THAT(FileText(folder.Path("state/log/service.log")),
              ::testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}"
                                      "[.][0-9]{3}Z one\n.{24} two\n"));
  struct stat status {};
  ASSERT_EQ(stat(folder.Path("state/log/service.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0137U, 0U);
}

TEST(ServiceLog, KeepsALineOneLine) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path());
  log.Write("a\nb\x1B[2Jc");
  const std::string text = FileText(folder.Path("service.log"));
  EXPECT_EQ(text.substr(25), "a b [2Jc\n");
}

TEST(ServiceLog, AddsToWhatIsThere) {
  TemporaryFolder folder;
  folder.Write("service.log", "old\n");
  ServiceLog log(folder.Path());
  log.Write("new");
  EXPECT_EQ(FileText(folder.Path("service.log")).substr(0, 4), "old\n");
}

TEST(ServiceLog, SetsAFileOfMoreThanFourMebibytesAside) {
  TemporaryFolder folder;
  folder.Write("service.log", std::string(4194305, 'x'));
  folder.Write("service.log.1", "older\n");
  ServiceLog log(folder.Path());
  log.Write("new");
  EXPECT_EQ(FileText(folder.Path("service.log")).substr(25), "new\n");
  EXPECT_EQ(std::filesystem::file_size(folder.Path("service.log.1")), 4194305U);
}

TEST(ServiceLog, GoesOnWithAFileOfFourMebibytes) {
  TemporaryFolder folder;
  folder.Write("service.log", std::string(4194304, 'x'));
  ServiceLog log(folder.Path());
  log.Write("new");
  EXPECT_GT(std::filesystem::file_size(folder.Path("service.log")), 4194304U);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("service.log.1")));
}

TEST(ServiceLog, MovesToAnotherFolderWhoseNameMayHaveBackslashes) {
  TemporaryFolder folder;
  ServiceLog log(folder.Path("a"));
  log.Write("first");
  std::string moved = folder.Path("b");
  std::replace(moved.begin(), moved.end(), '/', '\\');
  log.MoveTo(moved);
  log.Write("second");
  EXPECT_EQ(FileText(folder.Path("a/service.log")).substr(25), "first\n");
  EXPECT_EQ(FileText(folder.Path("b/service.log")).substr(25), "second\n");
}

TEST(ServiceLog, WritesThroughNoLink) {
  TemporaryFolder folder;
  folder.Write("victim", "");
  ASSERT_EQ(symlink(folder.Path("victim").c_str(), folder.Path("service.log").c_str()), 0);
  ServiceLog log(folder.Path());
  log.Write("line");
  EXPECT_EQ(FileText(folder.Path("victim")), "");
}

TEST(ServiceLog, IsSilentWhereItCannotWrite) {
  TemporaryFolder folder;
  folder.Write("file", "");
  ServiceLog underFile(folder.Path("file/log"));
  underFile.Write("line");
  ASSERT_EQ(mkfifo(folder.Path("service.log").c_str(), 0600), 0);
  ServiceLog pipe(folder.Path());
  pipe.Write("a pipe without a reader holds nobody");
  ServiceLog nowhere("");
  nowhere.Write("line");
  EXPECT_EQ(FileText(folder.Path("file")), "");
}

TEST(UtcTimeText, IsWrittenInUtcToTheMillisecond) {
  EXPECT_EQ(UtcTimeText(0), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(UtcTimeText(1732176000007), "2024-11-21T08:00:00.007Z");
}

TEST(IsWritableFolder, IsTrueForFoldersOnly) {
  TemporaryFolder folder;
  EXPECT_TRUE(IsWritableFolder(folder.Path()));
  EXPECT_FALSE(IsWritableFolder(folder.Write("file", "")));
  EXPECT_FALSE(IsWritableFolder(folder.Path("missing")));
  EXPECT_FALSE(IsWritableFolder(folder.Path() + std::string("\0x", 2)));
}

TEST(TrustFault, TakesOnlyWhatNobodyElseMayWrite) {
  TemporaryFolder folder;
  const std::string file = folder.Write("a.so", "");
  ASSERT_EQ(chmod(file.c_str(), 0644), 0);
  EXPECT_EQ(TrustFault(file, false), "");
  EXPECT_EQ(TrustFault(folder.Path(), true), "");
  EXPECT_EQ(TrustFault(folder.Path(), false), "is no regular file");
  EXPECT_EQ(TrustFault(file, true), "is no folder");
  EXPECT_EQ(TrustFault(folder.Path("missing"), false), "No such file or directory");
  ASSERT_EQ(chmod(file.c_str(), 0646), 0);
  EXPECT_EQ(TrustFault(file, false), "can be written by others");
  ASSERT_EQ(symlink("a.so", folder.Path("link.so").c_str()), 0);
  EXPECT_EQ(TrustFault(folder.Path("link.so"), false), "is no regular file");
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  EXPECT_EQ(TrustFault(folder.Path(), true), "can be written by others");
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

TEST(TrustFault, LooksAtTheFoldersAbove) {
  TemporaryFolder folder;
  const std::string above = folder.Path("above");
  const std::string inner = above + "/between/inner";
  std::filesystem::create_directories(inner);
  EXPECT_EQ(TrustFault(inner, true), "");
  ASSERT_EQ(chmod(above.c_str(), 0777), 0);
  const std::string real = std::filesystem::canonical(above).string();
  EXPECT_EQ(TrustFault(inner, true), "lies in " + real + ", which can be written by others");
  ASSERT_EQ(symlink(inner.c_str(), folder.Path("link").c_str()), 0);
  EXPECT_EQ(TrustFault(folder.Path("link"), true),
            "lies in " + real + ", which can be written by others");
  ASSERT_EQ(chmod(above.c_str(), 01777), 0);
  EXPECT_EQ(TrustFault(inner, true), "");
}

TEST(TrustFault, RefusesAFolderBelowAStrangers) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a folder away";
  }
  TemporaryFolder folder;
  const std::string inner = folder.Path("above/inner");
  std::filesystem::create_directories(inner);
  ASSERT_EQ(chown(folder.Path("above").c_str(), 12345, 0), 0);
  EXPECT_EQ(TrustFault(inner, true), "lies in " +
                                         std::filesystem::canonical(folder.Path("above")).string() +
                                         ", which belongs to another user");
}

TEST(TrustFault, RefusesAStrangersFile) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a file away";
  }
  TemporaryFolder folder;
  const std::string file = folder.Write("a.so", "");
  ASSERT_EQ(chown(file.c_str(), 12345, 0), 0);
  EXPECT_EQ(TrustFault(file, false), "belongs to another user");
  ASSERT_EQ(chown(file.c_str(), 0, 12345), 0);
  ASSERT_EQ(chmod(file.c_str(), 0664), 0);
  EXPECT_EQ(TrustFault(file, false), "can be written by others");
}

}  // namespace
}  // namespace orvan::core

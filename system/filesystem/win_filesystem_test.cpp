#include "system/filesystem/win_filesystem.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "tests/support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

std::string Backslashed(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

class WinFilesystemTest : public testing::Test {
 protected:
  int Create(const std::string& path) { return filesystem_.CreateDirectoryTree(path, result_); }

  const TestFolder folder_;
  WinFilesystem filesystem_;
  std::string result_ = "untouched";
};

// ---- Places -------------------------------------------------------------------------------------

TEST_F(WinFilesystemTest, OneInstanceServesTheProcess) {
  EXPECT_EQ(&WinFilesystem::Instance(), &WinFilesystem::Instance());
}

TEST_F(WinFilesystemTest, SystemDriveIsTheRoot) {
  EXPECT_EQ(filesystem_.GetSystemDrive(), '/');
}

TEST_F(WinFilesystemTest, WorkingDirectoryIsThatOfTheFirstCall) {
  const fs::path before = fs::current_path();
  const char* const first = filesystem_.GetWorkingDirectory();
  fs::current_path(folder_.Path());
  EXPECT_STREQ(filesystem_.GetWorkingDirectory(), before.c_str());
  EXPECT_EQ(filesystem_.GetWorkingDirectory(), first);
  WinFilesystem later;
  EXPECT_STREQ(later.GetWorkingDirectory(), folder_.Path().c_str());
  fs::current_path(before);
}

TEST_F(WinFilesystemTest, WorkingDirectoryThatIsGoneIsNull) {
  const fs::path before = fs::current_path();
  const std::string gone = folder_ / "gone";
  fs::create_directory(gone);
  fs::current_path(gone);
  fs::remove(gone);
  EXPECT_EQ(filesystem_.GetWorkingDirectory(), nullptr);
  fs::current_path(before);
  EXPECT_STREQ(filesystem_.GetWorkingDirectory(), before.c_str());
}

TEST_F(WinFilesystemTest, ExecutableDirectoryIsThePathWithoutItsNameAndSeparator) {
  const std::string path = filesystem_.GetExecutablePath();
  EXPECT_EQ(path, fs::read_symlink("/proc/self/exe").string());
  const std::string directory = filesystem_.GetExecutableDirectory();
  EXPECT_EQ(directory, path.substr(0, path.rfind('/')));
  EXPECT_NE(directory.back(), '/');
  EXPECT_NE(directory.back(), '\\');
}

// ---- IsInvalidPath ------------------------------------------------------------------------------

TEST_F(WinFilesystemTest, PathLengthRunsFrom2To255Characters) {
  EXPECT_EQ(filesystem_.IsInvalidPath(""), 1);
  EXPECT_EQ(filesystem_.IsInvalidPath("a"), 1);
  EXPECT_EQ(filesystem_.IsInvalidPath("\xC3\xA4"), 1);
  EXPECT_EQ(filesystem_.IsInvalidPath("ab"), 0);
  EXPECT_EQ(filesystem_.IsInvalidPath(std::string(255, 'a')), 0);
  EXPECT_EQ(filesystem_.IsInvalidPath(std::string(256, 'a')), 1);
}

TEST_F(WinFilesystemTest, ReservedNameAsAComponentIsRefusedInAnyCase) {
  for (const char* const path :
       {"CLOCK$", "clock$", "a\\Clock$\\b", "a\\LPT9", "lpt9\\a", "/tmp/con/x", "con", "COM1",
        "COM9", "nul", "PRN", "aux", "LPT1", "\\aux"}) {
    EXPECT_EQ(filesystem_.IsInvalidPath(path), 1) << path;
  }
}

TEST_F(WinFilesystemTest, NameThatMerelyContainsAReservedWordPasses) {
  for (const char* const path : {"AUXILIARY", "a\\auxiliary\\b", "CONFIG", "falcon", "CLOCK$X",
                                 "xCLOCK$", "COM10", "COM0", "LPT", "nul.txt"}) {
    EXPECT_EQ(filesystem_.IsInvalidPath(path), 0) << path;
  }
}

TEST_F(WinFilesystemTest, OnlyTheFirstOccurrenceOfAReservedNameCounts) {
  EXPECT_EQ(filesystem_.IsInvalidPath("auxiliary\\aux"), 0);
  EXPECT_EQ(filesystem_.IsInvalidPath("auxiliary\\con"), 1);
}

TEST_F(WinFilesystemTest, ComponentOfWhiteSpaceIsRefusedInsideThePath) {
  EXPECT_EQ(filesystem_.IsInvalidPath("a\\ \\b"), 1);
  EXPECT_EQ(filesystem_.IsInvalidPath("a\\ \t \\b"), 1);
  EXPECT_EQ(filesystem_.IsInvalidPath("a/ /b"), 1);
  EXPECT_EQ(filesystem_.IsInvalidPath("a\\b\\ \\c"), 1);
  EXPECT_EQ(filesystem_.IsInvalidPath("a\\\\b"), 0);
  EXPECT_EQ(filesystem_.IsInvalidPath("a\\ b\\c"), 0);
}

TEST_F(WinFilesystemTest, WhiteSpaceThatTouchesThePathsFirstOrLastCharacterPasses) {
  EXPECT_EQ(filesystem_.IsInvalidPath("\\ \\a"), 0);
  EXPECT_EQ(filesystem_.IsInvalidPath("a\\ \\"), 0);
}

// ---- CreateDirectoryTree ------------------------------------------------------------------------

TEST_F(WinFilesystemTest, EmptyPathCreatesNothingAndLeavesTheResult) {
  EXPECT_EQ(Create(""), 0);
  EXPECT_EQ(result_, "untouched");
}

TEST_F(WinFilesystemTest, CreatesAllPrefixesAndClosesTheResultWithASeparator) {
  EXPECT_EQ(Create(Backslashed(folder_ / "a/b/c")), 0);
  EXPECT_TRUE(fs::is_directory(folder_ / "a/b/c"));
  EXPECT_EQ(result_, Backslashed(folder_ / "a/b/c") + "\\");
}

TEST_F(WinFilesystemTest, SeparatorAtTheEndIsNotDoubled) {
  EXPECT_EQ(Create(folder_ / "a\\"), 0);
  EXPECT_EQ(result_, folder_ / "a\\");
  EXPECT_EQ(Create(folder_ / "b/"), 0);
  EXPECT_EQ(result_, folder_ / "b/");
}

TEST_F(WinFilesystemTest, TakesItsPathAsResult) {
  std::string path = folder_ / "a";
  EXPECT_EQ(filesystem_.CreateDirectoryTree(path, path), 0);
  EXPECT_EQ(path, folder_ / "a\\");
}

TEST_F(WinFilesystemTest, ExistingTreeIsASuccess) {
  EXPECT_EQ(Create(folder_ / "a\\b"), 0);
  EXPECT_EQ(Create(folder_ / "a\\b"), 0);
}

TEST_F(WinFilesystemTest, RelativePathLiesBelowTheExecutablesDirectory) {
  const std::string base = filesystem_.GetExecutableDirectory();
  const std::string name = "tree-" + fs::path(folder_.Path()).filename().string();
  EXPECT_EQ(Create(name + "\\b"), 0);
  EXPECT_EQ(result_, base + "\\" + name + "\\b\\");
  EXPECT_TRUE(fs::is_directory(base + "/" + name + "/b"));
  fs::remove_all(base + "/" + name);
}

TEST_F(WinFilesystemTest, FailedCreationLeavesNoDirectoryThatItMade) {
  fs::create_directory(folder_ / "old");
  // The last component is longer than any file system takes.
  const std::string path = folder_ / "old\\new\\newer\\" + std::string(256, 'x');
  EXPECT_EQ(Create(path), 1);
  EXPECT_EQ(result_, path + "\\");
  EXPECT_TRUE(fs::is_directory(folder_ / "old"));
  EXPECT_TRUE(fs::is_empty(folder_ / "old"));
}

TEST_F(WinFilesystemTest, FailedCreationWithNothingMadeFailsAtOnce) {
  folder_.Write("file", "");
  EXPECT_EQ(Create(folder_ / "file\\a\\b"), 1);
  EXPECT_TRUE(fs::is_regular_file(folder_ / "file"));
}

TEST_F(WinFilesystemTest, PrefixOf260CharactersStopsTheWalk) {
  std::string path = folder_ / "p";
  path += "\\" + std::string(150, 'x') + "\\";
  const std::string longest = path + std::string(259 - path.size(), 'y');
  EXPECT_EQ(Create(longest), 0);
  EXPECT_FALSE(fs::is_empty(folder_ / ("p/" + std::string(150, 'x'))));
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(folder_ / "p"), 0);
  EXPECT_EQ(Create(longest + "y"), 1);
  EXPECT_FALSE(fs::exists(folder_ / "p"));
}

TEST_F(WinFilesystemTest, DriveFormIsAbsoluteAndNamesNothingHere) {
  EXPECT_EQ(Create("C:\\a\\b"), 1);
  EXPECT_EQ(result_, "C:\\a\\b\\");
  EXPECT_FALSE(fs::exists("C:"));
}

TEST_F(WinFilesystemTest, NothingIsMadeBehindAStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  fs::create_directory(folder_ / "real");
  fs::create_directory_symlink("real", folder_ / "link");
  ASSERT_EQ(lchown((folder_ / "link").c_str(), 12345, 12345), 0);
  EXPECT_EQ(Create(folder_ / "link/new"), 1);
  EXPECT_EQ(result_, folder_ / "link/new\\");
  EXPECT_EQ(Create(folder_ / "link"), 1);
  EXPECT_EQ(Create(folder_ / "fresh/../link/new"), 1) << "behind a folder that is made first";
  EXPECT_FALSE(fs::exists(folder_ / "fresh"));
  EXPECT_TRUE(fs::is_empty(folder_ / "real"));
  ASSERT_EQ(lchown((folder_ / "link").c_str(), 0, 0), 0);
  EXPECT_EQ(Create(folder_ / "link/new"), 0);
  EXPECT_TRUE(fs::is_directory(folder_ / "real/new"));
}

// A folder on the way and a stranger's link change places as fast as they can.
TEST_F(WinFilesystemTest, NothingIsMadeBehindALinkThatIsSlippedInMeanwhile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  fs::create_directory(folder_ / "real");
  fs::create_directory(folder_ / "place");
  fs::create_directory_symlink("real", folder_ / "link");
  ASSERT_EQ(lchown((folder_ / "link").c_str(), 12345, 12345), 0);
  std::jthread stranger([this](const std::stop_token& stop) {
    const std::string place = folder_ / "place";
    const std::string link = folder_ / "link";
    while (!stop.stop_requested()) {
      renameat2(AT_FDCWD, place.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
    }
  });
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  do {
    Create(folder_ / "place/new");
    ASSERT_TRUE(fs::is_empty(folder_ / "real"));
  } while (std::chrono::steady_clock::now() < end);
}

// ---- RemoveDirectoryTree ------------------------------------------------------------------------

TEST_F(WinFilesystemTest, RemovesATreeWithReadOnlyFiles) {
  fs::create_directories(folder_ / "t/a/b");
  folder_.Write("t/a/b/file", "x");
  folder_.Write("t/.hidden", "x");
  fs::permissions(folder_ / "t/a/b/file", fs::perms::owner_read);
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(Backslashed(folder_ / "t")), 0);
  EXPECT_FALSE(fs::exists(folder_ / "t"));
}

TEST_F(WinFilesystemTest, LinksInATreeAreRemovedAndNotFollowed) {
  fs::create_directories(folder_ / "t/a");
  fs::create_directory(folder_ / "kept");
  folder_.Write("kept/file", "x");
  fs::create_directory_symlink(folder_ / "kept", folder_ / "t/a/link");
  fs::create_symlink(folder_ / "missing", folder_ / "t/dangling");
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(folder_ / "t\\"), 0);
  EXPECT_FALSE(fs::exists(folder_ / "t"));
  EXPECT_TRUE(fs::exists(folder_ / "kept/file"));
}

TEST_F(WinFilesystemTest, PathThatIsALinkIsLeftAlone) {
  fs::create_directory(folder_ / "kept");
  folder_.Write("kept/file", "x");
  fs::create_directory_symlink(folder_ / "kept", folder_ / "link");
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(folder_ / "link"), 0);
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(folder_ / "link\\"), 0);
  EXPECT_TRUE(fs::exists(folder_ / "kept/file"));
  EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
}

TEST_F(WinFilesystemTest, ListingThatCannotStartIsASuccess) {
  folder_.Write("file", "x");
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(folder_ / "missing"), 0);
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(folder_ / "file"), 0);
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(""), 0);
  EXPECT_TRUE(fs::exists(folder_ / "file"));
}

TEST_F(WinFilesystemTest, PathWithAZeroByteNamesNothing) {
  fs::create_directory(folder_ / "t");
  EXPECT_EQ(filesystem_.RemoveDirectoryTree((folder_ / "t") + std::string("\0x", 2)), 0);
  EXPECT_TRUE(fs::exists(folder_ / "t"));
}

TEST_F(WinFilesystemTest, RemovesATreeDeeperThanTheLongestPath) {
  int at = open(folder_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::string name(250, 'd');
  for (int depth = 0; depth < 40; ++depth) {
    ASSERT_EQ(mkdirat(at, name.c_str(), 0700), 0);
    const int next = openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    close(at);
    at = next;
  }
  close(at);
  EXPECT_EQ(filesystem_.RemoveDirectoryTree(folder_ / name), 0);
  EXPECT_FALSE(fs::exists(folder_ / name));
}

// Runs in a child process, in a mount namespace of its own. 0 when all held, 1 when something
// didn't, 2 when this system gives no such namespace.
int RemoveTreeWithMount(const std::string& tree, const std::string& kept) {
  if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return 2;
  if (mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0) return 2;
  if (mount(kept.c_str(), (tree + "/mount").c_str(), nullptr, MS_BIND, nullptr) != 0) return 2;
  return WinFilesystem().RemoveDirectoryTree(tree) == 1 && fs::exists(kept + "/file") ? 0 : 1;
}

TEST_F(WinFilesystemTest, OtherMountsInATreeAreNotGoneInto) {
  fs::create_directories(folder_ / "t/mount");
  fs::create_directory(folder_ / "kept");
  folder_.Write("kept/file", "x");
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) _exit(RemoveTreeWithMount(folder_ / "t", folder_ / "kept"));
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "no mount namespace may be made here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

// ---- ListFiles ----------------------------------------------------------------------------------

class ListFilesTest : public WinFilesystemTest {
 protected:
  void SetUp() override {
    for (const char* const name : {"b.log", "a.log", "a.txt", "[x].log", "\xC3\xA4.log"}) {
      folder_.Write(name, "");
    }
  }
  int List(const std::string& pattern) { return filesystem_.ListFiles(pattern, names_); }
  Texts Full(Texts names) const {
    for (std::string& name : names) name = Backslashed(folder_.Path()) + "\\" + name;
    return names;
  }
  std::string Pattern(const std::string& form) const {
    return Backslashed(folder_.Path()) + "\\" + form;
  }
  Texts names_{"old"};
};

TEST_F(ListFilesTest, StarStandsForAnyCharacters) {
  EXPECT_EQ(List(Pattern("*.log")), 0);
  EXPECT_EQ(names_, Full({"[x].log", "a.log", "b.log", "\xC3\xA4.log"}));
  EXPECT_EQ(List(Pattern("a*")), 0);
  EXPECT_EQ(names_, Full({"a.log", "a.txt"}));
  EXPECT_EQ(List(Pattern("*")), 0);
  EXPECT_EQ(names_.size(), 5U);
}

TEST_F(ListFilesTest, QuestionMarkStandsForOneCharacter) {
  EXPECT_EQ(List(Pattern("?.log")), 0);
  EXPECT_EQ(names_, Full({"a.log", "b.log", "\xC3\xA4.log"}));
}

TEST_F(ListFilesTest, BracketsStandForThemselves) {
  EXPECT_EQ(List(Pattern("[x].*")), 0);
  EXPECT_EQ(names_, Full({"[x].log"}));
}

TEST_F(ListFilesTest, NameWithoutWildcardsFindsItself) {
  EXPECT_EQ(List(folder_ / "a.txt"), 0);
  EXPECT_EQ(names_, (Texts{folder_ / "a.txt"}));
}

TEST_F(ListFilesTest, PatternWithoutDirectoryLooksIntoTheWorkingDirectory) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_.Path());
  EXPECT_EQ(List("*.txt"), 0);
  EXPECT_EQ(names_, (Texts{"a.txt"}));
  fs::current_path(before);
}

TEST_F(ListFilesTest, PatternMayBeOneOfTheNames) {
  names_ = {Pattern("*.txt")};
  EXPECT_EQ(List(names_[0]), 0);
  EXPECT_EQ(names_, Full({"a.txt"}));
}

TEST_F(ListFilesTest, EmptyPatternFails) {
  EXPECT_EQ(List(""), 1);
  EXPECT_TRUE(names_.empty());
}

TEST_F(ListFilesTest, PatternThatFindsNothingFails) {
  EXPECT_EQ(List(Pattern("*.none")), 1);
  EXPECT_TRUE(names_.empty());
  EXPECT_EQ(List(Pattern("")), 1);
  EXPECT_EQ(List(Pattern("missing\\*")), 1);
  EXPECT_EQ(List("C:\\*"), 1);
}

}  // namespace

#include "service/machine/folder_state.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "tests/support/refusing_kernel.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

using Names = std::vector<std::string>;

class FolderStateTest : public testing::Test {
 protected:
  std::string Read(const std::string& name) {
    int error = 0;
    const auto content = state_.Read(name, error);
    EXPECT_EQ(error, 0) << name;
    return content.value_or("(none)");
  }
  int ReadError(const std::string& name) {
    int error = 0;
    EXPECT_FALSE(state_.Read(name, error)) << name;
    return error;
  }
  Names List() {
    int error = 0;
    Names names = state_.List(error);
    EXPECT_EQ(error, 0);
    return names;
  }
  // All that lies in the folder, also what is no state.
  Names Everything() {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  TestFolder folder_;
  const int number_ = open(folder_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  FolderState state_{tarvex::Descriptor(number_)};
};

TEST_F(FolderStateTest, WhatIsNotThereIsNoneAndNoError) {
  EXPECT_EQ(Read("journal"), "(none)");
  EXPECT_EQ(state_.Remove("journal"), 0);
  EXPECT_TRUE(List().empty());
}

TEST_F(FolderStateTest, ReplacesAppendsRemovesAndLists) {
  const std::string zeros("a\0b\n", 4);
  EXPECT_EQ(state_.Replace("b-2", zeros), 0);
  EXPECT_EQ(Read("b-2"), zeros);
  EXPECT_EQ(state_.Replace("b-2", "short"), 0);
  EXPECT_EQ(Read("b-2"), "short");
  EXPECT_EQ(state_.Append("A_1.log", "one\n"), 0);
  EXPECT_EQ(state_.Append("A_1.log", "two\n"), 0);
  EXPECT_EQ(Read("A_1.log"), "one\ntwo\n");
  EXPECT_EQ(List(), (Names{"A_1.log", "b-2"}));
  EXPECT_EQ(state_.Remove("b-2"), 0);
  EXPECT_EQ(Everything(), Names{"A_1.log"});
}

TEST_F(FolderStateTest, FilesAreForTheOwnerAlone) {
  EXPECT_EQ(state_.Replace("one", ""), 0);
  EXPECT_EQ(state_.Append("two", ""), 0);
  for (const char* name : {"one", "two"}) {
    struct stat status {};
    ASSERT_EQ(stat((folder_ / name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
  }
}

TEST_F(FolderStateTest, RefusesWhatIsNoName) {
  const std::string longest(128, 'x');
  EXPECT_EQ(state_.Replace(longest, "x"), 0);
  for (const std::string& name : Names{"", ".", "..", ".hidden", "a/b", "/etc/passwd", "a b", "ä",
                                       longest + 'x', std::string("a\0b", 3)}) {
    EXPECT_EQ(state_.Replace(name, "x"), EINVAL) << name;
    EXPECT_EQ(state_.Append(name, "x"), EINVAL) << name;
    EXPECT_EQ(state_.Remove(name), EINVAL) << name;
    EXPECT_EQ(ReadError(name), EINVAL) << name;
  }
  EXPECT_EQ(Everything(), Names{longest});
}

TEST_F(FolderStateTest, RefusesMoreThanTheLargestSize) {
  const std::string largest(sdk::ModuleState::kLargestBytes, 'x');
  EXPECT_EQ(state_.Replace("a", largest + 'x'), EFBIG);
  EXPECT_EQ(state_.Replace("a", largest), 0);
  EXPECT_EQ(Read("a").size(), largest.size());
  EXPECT_EQ(state_.Append("a", "x"), EFBIG);
  EXPECT_EQ(state_.Append("b", largest + 'x'), EFBIG);
  EXPECT_EQ(Everything(), Names{"a"});
  folder_.Write("a", largest + 'x');
  EXPECT_EQ(ReadError("a"), EFBIG);
}

TEST_F(FolderStateTest, FollowsNoLinkAndOpensNothingButFiles) {
  folder_.Write("target", "secret");
  ASSERT_EQ(symlink("target", (folder_ / "link").c_str()), 0);
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  ASSERT_EQ(mkdir((folder_ / "folder").c_str(), 0700), 0);
  EXPECT_EQ(ReadError("link"), ELOOP);
  EXPECT_EQ(state_.Append("link", "x"), ELOOP);
  EXPECT_EQ(ReadError("pipe"), EINVAL);
  EXPECT_EQ(state_.Append("pipe", "x"), ENXIO);
  EXPECT_EQ(ReadError("folder"), EINVAL);
  EXPECT_EQ(state_.Append("folder", "x"), EISDIR);
  EXPECT_EQ(state_.Replace("folder", "x"), EISDIR);
  EXPECT_EQ(state_.Replace("link", "new"), 0);
  EXPECT_EQ(Read("link"), "new");
  EXPECT_EQ(Read("target"), "secret");
}

TEST_F(FolderStateTest, ALeftTemporaryFileIsNoStateAndInNobodysWay) {
  folder_.Write(".one.new", "half");
  EXPECT_TRUE(List().empty());
  EXPECT_EQ(state_.Replace("one", "whole"), 0);
  EXPECT_EQ(Everything(), Names{"one"});
}

// Every call of a change that can fail.
class RefusedChange : public FolderStateTest,
                      public testing::WithParamInterface<std::pair<long, int>> {};

TEST_P(RefusedChange, IsToldAndLeavesWhatWasThere) {
  ASSERT_EQ(state_.Replace("old", "old"), 0);
  const auto [call, error] = GetParam();
  WhereTheKernelRefuses({call, error}, [&, error = error] {
    EXPECT_EQ(state_.Replace("old", "new"), error);
    EXPECT_EQ(state_.Replace("other", "new"), error);
  });
  EXPECT_EQ(Read("old"), "old");
  EXPECT_EQ(Everything(), Names{"old"});
}

INSTANTIATE_TEST_SUITE_P(All, RefusedChange,
                         testing::Values(std::pair{SYS_write, ENOSPC}, std::pair{SYS_fsync, EIO},
                                         std::pair{SYS_renameat, EROFS},
                                         std::pair{SYS_openat, EMFILE}));

class RefusedAppend : public FolderStateTest,
                      public testing::WithParamInterface<std::pair<long, int>> {};

TEST_P(RefusedAppend, IsToldAndLeavesWhatWasThere) {
  ASSERT_EQ(state_.Append("old", "old"), 0);
  const auto [call, error] = GetParam();
  WhereTheKernelRefuses({call, error}, [&, error = error] {
    EXPECT_EQ(state_.Append("old", "new"), error);
    EXPECT_EQ(state_.Append("other", "new"), error);
  });
  EXPECT_EQ(Read("old"), "old");
  EXPECT_EQ(Everything(), Names{"old"});
}

// How the library asks what a descriptor is: the thread sanitizer's goes an older way.
#if defined(__SANITIZE_THREAD__)
constexpr long kStatusCall = SYS_fstat;
#else
constexpr long kStatusCall = SYS_newfstatat;
#endif

INSTANTIATE_TEST_SUITE_P(All, RefusedAppend,
                         testing::Values(std::pair{SYS_write, ENOSPC},
                                         std::pair{SYS_fdatasync, EIO}, std::pair{kStatusCall, EIO},
                                         std::pair{SYS_openat, EMFILE}));

TEST_F(FolderStateTest, ANameThatMayNotBeOnTheDiskIsTold) {
  ASSERT_EQ(state_.Append("old", "old"), 0);
  WhereTheKernelRefuses({SYS_fsync, EIO, static_cast<std::uint32_t>(number_)}, [&] {
    EXPECT_EQ(state_.Replace("one", "new"), EIO);
    EXPECT_EQ(state_.Append("two", "new"), EIO);
    EXPECT_EQ(state_.Append("old", "new"), 0);  // its name is on the disk already
    EXPECT_EQ(state_.Remove("one"), EIO);
  });
}

TEST_F(FolderStateTest, HalfAnEntryIsTakenBack) {
  ASSERT_EQ(state_.Append("journal", "one\n"), 0);
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit few{6, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &few), 0);
  EXPECT_EQ(state_.Append("journal", "second\n"), EFBIG);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(folder_.Read("journal"), "one\n");
}

TEST_F(FolderStateTest, ReadingThatFailsIsTold) {
  ASSERT_EQ(state_.Replace("one", "x"), 0);
  WhereTheKernelRefuses({SYS_read, EIO}, [&] { EXPECT_EQ(ReadError("one"), EIO); });
  WhereTheKernelRefuses({SYS_getdents64, EIO}, [&] {
    int error = 0;
    EXPECT_TRUE(state_.List(error).empty());
    EXPECT_EQ(error, EIO);
  });
}

TEST_F(FolderStateTest, SeveralThreadsAppendWholeEntries) {
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([this, i] {
      for (int n = 0; n < 10; ++n) {
        EXPECT_EQ(state_.Append("journal", std::string(9, static_cast<char>('a' + i)) + '\n'), 0);
        EXPECT_EQ(state_.Replace("value", std::string(1000, static_cast<char>('a' + i))), 0);
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(Read("journal").size(), 400U);
  const std::string value = Read("value");
  EXPECT_EQ(value, std::string(1000, value[0]));
}

TEST(FolderStateWithoutAFolder, OffersNothing) {
  FolderState state{tarvex::Descriptor()};
  int error = 0;
  EXPECT_FALSE(state.Read("one", error));
  EXPECT_EQ(error, EOPNOTSUPP);
  EXPECT_TRUE(state.List(error).empty());
  EXPECT_EQ(error, EOPNOTSUPP);
  EXPECT_EQ(state.Replace("one", "x"), EOPNOTSUPP);
  EXPECT_EQ(state.Append("one", "x"), EOPNOTSUPP);
  EXPECT_EQ(state.Remove("one"), EOPNOTSUPP);
}

}  // namespace
}  // namespace orvan::machine

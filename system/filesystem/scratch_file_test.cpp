#include "system/filesystem/scratch_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <limits>
#include <string>

#include "system/filesystem/win_filesystem.h"
#include "tests/support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using tarvex::Descriptor;

constexpr std::size_t kBlock = 4096;

struct alignas(kBlock) Block {
  std::array<char, kBlock> bytes{};
  explicit Block(char fill) { bytes.fill(fill); }
  bool operator==(const Block&) const = default;
};

class ScratchFileTest : public testing::Test {
 protected:
  FileHandle Create(const std::string& name, bool deleteOnClose) {
    FileHandle handle = nullptr;
    EXPECT_EQ(filesystem_.CreateScratchFile(folder_ / name, &handle, deleteOnClose), 0);
    return handle;
  }
  int Write(FileHandle handle, std::uint64_t offset, const Block& block) {
    return filesystem_.WriteFileAt(handle, offset, kBlock, &done_, 10, block.bytes.data());
  }
  int Read(FileHandle handle, std::uint64_t offset, Block& block) {
    return filesystem_.ReadFileAt(handle, offset, kBlock, &done_, 10, block.bytes.data());
  }

  const TestFolder folder_;
  WinFilesystem filesystem_;
  std::size_t done_ = 99;
};

TEST_F(ScratchFileTest, WhatWasWrittenAtAnOffsetIsReadBack) {
  const FileHandle good = Create("scratch.bin", true);
  ASSERT_NE(good, nullptr);
  EXPECT_EQ(Write(good, 2 * kBlock, Block('w')), kTransferDone);
  EXPECT_EQ(done_, kBlock);
  Block read('x');
  EXPECT_EQ(Read(good, 2 * kBlock, read), kTransferDone);
  EXPECT_EQ(done_, kBlock);
  EXPECT_EQ(read, Block('w'));
  EXPECT_EQ(filesystem_.CloseFile(good), 0);
}

TEST_F(ScratchFileTest, FileToBeDeletedLeavesNothingEvenBeforeItIsClosed) {
  const FileHandle handle = Create("scratch.bin", true);
  EXPECT_TRUE(fs::is_empty(folder_.Path()));
  EXPECT_EQ(Write(handle, 0, Block('w')), kTransferDone);
  EXPECT_EQ(filesystem_.CloseFile(handle), 0);
  EXPECT_TRUE(fs::is_empty(folder_.Path()));
}

TEST_F(ScratchFileTest, OtherFileStaysWithItsContent) {
  const FileHandle handle = Create("scratch.bin", false);
  EXPECT_EQ(Write(handle, 0, Block('w')), kTransferDone);
  EXPECT_EQ(filesystem_.CloseFile(handle), 0);
  EXPECT_EQ(fs::file_size(folder_ / "scratch.bin"), kBlock);
}

TEST_F(ScratchFileTest, ReplacesAFileThatExistsAndSparesItsOtherNames) {
  folder_.Write("scratch.bin", "old");
  fs::create_hard_link(folder_ / "scratch.bin", folder_ / "other");
  const FileHandle handle = Create("scratch.bin", false);
  EXPECT_EQ(fs::file_size(folder_ / "scratch.bin"), 0U);
  EXPECT_EQ(fs::file_size(folder_ / "other"), 3U);
  EXPECT_EQ(filesystem_.CloseFile(handle), 0);
  EXPECT_EQ(filesystem_.CloseFile(Create("other", true)), 0);
  EXPECT_FALSE(fs::exists(folder_ / "other"));
}

TEST_F(ScratchFileTest, FileInUseIsNotShared) {
  const FileHandle handle = Create("scratch.bin", false);
  FileHandle second = handle;
  EXPECT_EQ(filesystem_.CreateScratchFile(folder_ / "scratch.bin", &second, false), 1);
  EXPECT_EQ(second, nullptr);
  EXPECT_TRUE(fs::exists(folder_ / "scratch.bin"));
  EXPECT_EQ(filesystem_.CloseFile(handle), 0);
  EXPECT_EQ(filesystem_.CloseFile(Create("scratch.bin", false)), 0);
}

TEST_F(ScratchFileTest, NeitherLinksNorOtherKindsOfFilesAreReplaced) {
  folder_.Write("target", "old");
  fs::create_symlink(folder_ / "target", folder_ / "link");
  fs::create_directory(folder_ / "folder");
  ASSERT_EQ(mkfifo((folder_ / "fifo").c_str(), 0600), 0);
  for (const char* const name : {"link", "folder", "fifo", "missing/file", "target/"}) {
    FileHandle handle = nullptr;
    EXPECT_EQ(filesystem_.CreateScratchFile(folder_ / name, &handle, true), 1) << name;
    EXPECT_EQ(filesystem_.CreateScratchFile(folder_ / name, &handle, false), 1) << name;
  }
  EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
  EXPECT_EQ(fs::file_size(folder_ / "target"), 3U);
}

TEST_F(ScratchFileTest, TransfersAreWrittenThroughAndUnbufferedWhereTheFilesystemCan) {
  const FileHandle handle = Create("scratch.bin", true);
  const int flags = fcntl(handle->descriptor.Get(), F_GETFL);
  EXPECT_EQ(flags & O_DSYNC, O_DSYNC);
  const Descriptor probe(open((folder_ / "probe").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  const bool canBeDirect = fcntl(probe.Get(), F_SETFL, O_DIRECT) == 0;
  EXPECT_EQ((flags & O_DIRECT) != 0, canBeDirect);
  EXPECT_EQ(filesystem_.CloseFile(handle), 0);
}

TEST_F(ScratchFileTest, FileIsOwnedByItsUserAndNotInherited) {
  const FileHandle handle = Create("scratch.bin", false);
  struct stat status {};
  ASSERT_EQ(fstat(handle->descriptor.Get(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_NE(fcntl(handle->descriptor.Get(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(filesystem_.CloseFile(handle), 0);
}

TEST_F(ScratchFileTest, ResizeEndsTheFileSparse) {
  const FileHandle handle = Create("scratch.bin", false);
  struct stat status {};
  EXPECT_EQ(filesystem_.ResizeFile(handle, 1ULL << 30), 0);
  ASSERT_EQ(fstat(handle->descriptor.Get(), &status), 0);
  EXPECT_EQ(status.st_size, 1LL << 30);
  EXPECT_LT(status.st_blocks, 2048);
  EXPECT_EQ(filesystem_.ResizeFile(handle, 10), 0);
  ASSERT_EQ(fstat(handle->descriptor.Get(), &status), 0);
  EXPECT_EQ(status.st_size, 10);
  EXPECT_EQ(filesystem_.ResizeFile(handle, std::numeric_limits<std::uint64_t>::max()), 1);
  EXPECT_EQ(filesystem_.CloseFile(handle), 0);
}

TEST_F(ScratchFileTest, NoHandleIsAFailureEverywhere) {
  Block block('x');
  EXPECT_EQ(filesystem_.CreateScratchFile(folder_ / "a", nullptr, true), 1);
  EXPECT_EQ(filesystem_.CloseFile(nullptr), 1);
  EXPECT_EQ(filesystem_.ResizeFile(nullptr, 1), 1);
  EXPECT_EQ(Write(nullptr, 0, block), kTransferNotStarted);
  EXPECT_EQ(Read(nullptr, 0, block), kTransferNotStarted);
  EXPECT_EQ(done_, 0U);
}

TEST_F(ScratchFileTest, CloseThatFailsIsToldAndEndsTheHandle) {
  const FileHandle handle = Create("scratch.bin", true);
  handle->descriptor.Close();
  EXPECT_EQ(filesystem_.CloseFile(handle), 1);
}

}  // namespace

#include "os/file_reserve.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/test_disk.h"

namespace {

using tarvex::Descriptor;
using tarvex::FileReserve;

constexpr std::uint64_t kStep = 65536;

Descriptor NewFile(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
}

// How many bytes of zeros the file takes, up to `most`.
std::uint64_t Grow(const Descriptor& file, std::uint64_t most) {
  const std::string zeros(1024, '\0');
  std::uint64_t taken = 0;
  while (taken < most && write(file.Get(), zeros.data(), zeros.size()) == 1024) taken += 1024;
  return taken;
}

TEST(FileReserve, HoldsRoomOnADiskThatFillsUp) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  const Descriptor file = NewFile(disk.Path("file"));
  FileReserve reserve;
  EXPECT_TRUE(reserve.Hold(file.Get(), 1));
  disk.Fill();
  EXPECT_TRUE(reserve.Hold(file.Get(), kStep));
  EXPECT_FALSE(reserve.Hold(file.Get(), kStep + 1));
  EXPECT_EQ(lseek(file.Get(), 0, SEEK_END), 0);
  EXPECT_EQ(Grow(file, 2 * kStep), kStep);
}

TEST(FileReserve, TakesLessThanAStepWhereThereIsNoMore) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  const Descriptor file = NewFile(disk.Path("file"));
  FileReserve reserve;
  disk.Fill(3);
  EXPECT_FALSE(reserve.Hold(file.Get(), 3 * 4096 + 1));
  EXPECT_TRUE(reserve.Hold(file.Get(), 3 * 4096));
  EXPECT_FALSE(reserve.Hold(file.Get(), 3 * 4096 + 1));
  disk.Empty();
  EXPECT_TRUE(reserve.Hold(file.Get(), 3 * 4096 + 1));
  EXPECT_EQ(RoomOf(disk.Path("file")), kStep);
}

TEST(FileReserve, GivesBackWhatTheFileDoesNotUse) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  const Descriptor file = NewFile(disk.Path("file"));
  FileReserve reserve;
  ASSERT_TRUE(reserve.Hold(file.Get(), 5 * kStep - 1));
  EXPECT_EQ(Grow(file, 2048), 2048U);
  EXPECT_EQ(RoomOf(disk.Path("file")), 5 * kStep);
  reserve.GiveBack(file.Get(), 2048);
  EXPECT_EQ(RoomOf(disk.Path("file")), 4096);
  disk.Fill();
  EXPECT_FALSE(reserve.Hold(file.Get(), kStep));
}

TEST(FileReserve, ATruncationTakesItBack) {
  NEEDS_A_SMALL_DISK();
  SmallDisk disk;
  const Descriptor file = NewFile(disk.Path("file"));
  FileReserve reserve;
  ASSERT_TRUE(reserve.Hold(file.Get(), kStep));
  EXPECT_EQ(Grow(file, 2048), 2048U);
  ASSERT_EQ(ftruncate(file.Get(), 10), 0);
  reserve.Forget(10);
  disk.Fill();
  EXPECT_FALSE(reserve.Hold(file.Get(), kStep));
}

TEST(FileReserve, KnowsOfNoFullDiskWhereNoRoomCanBeHeld) {
  const Descriptor file(open("/dev/null", O_WRONLY | O_CLOEXEC));
  FileReserve reserve;
  EXPECT_TRUE(reserve.Hold(file.Get(), 1));
  EXPECT_TRUE(reserve.Hold(file.Get(), 1ULL << 60));
}

TEST(FileReserve, HasNoRoomBeyondTheLimitOfFileSizes) {
  const TestFolder folder;
  const Descriptor file = NewFile(folder / "file");
  FileReserve reserve;
  const SizeLimit limit(100000);
  EXPECT_FALSE(reserve.Hold(file.Get(), 100001));
  EXPECT_TRUE(reserve.Hold(file.Get(), 100000));
}

TEST(FileReserve, HoldsNoMoreThanTheLimitOfFileSizes) {
  const TestFolder folder;
  const Descriptor file = NewFile(folder / "file");
  FileReserve reserve;
  const SizeLimit limit(10240);
  EXPECT_TRUE(reserve.Hold(file.Get(), 1));
  EXPECT_TRUE(reserve.Hold(file.Get(), 10240));
  EXPECT_FALSE(reserve.Hold(file.Get(), 10241));
  EXPECT_EQ(Grow(file, kStep), 10240U);
}

}  // namespace

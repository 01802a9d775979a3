#include "service/machine/device_content.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "service/machine/machine_files.h"
#include "tests/support/captured_files.h"
#include "tests/support/loop_device.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

using sdk::WriteRefusal;

constexpr std::size_t kBytes = 16U << 20;

void Put(std::string& disk, std::size_t at, const std::string& bytes) {
  disk.replace(at, bytes.size(), bytes);
}

std::string Little(std::uint64_t value, std::size_t bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFF);
  return text;
}

// Source: UEFI 2.10, 4.2 and 5.3.2: CRC-32 as in ISO 3309.
std::uint32_t Crc32(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return ~crc;
}

// An empty table of 128 entries and its header. Source: UEFI 2.10, table 5-5.
void PutGpt(std::string& disk, std::uint64_t sector, std::uint64_t headerLba,
            std::uint64_t otherLba, std::uint64_t entriesLba) {
  const std::uint64_t sectors = disk.size() / sector;
  const std::string entries(std::size_t{128} * 128, '\0');
  const auto header = [&](std::uint32_t crc) {
    return "EFI PART" + Little(0x10000, 4) + Little(92, 4) + Little(crc, 4) + Little(0, 4) +
           Little(headerLba, 8) + Little(otherLba, 8) + Little(64, 8) + Little(sectors - 65, 8) +
           std::string(16, 'g') + Little(entriesLba, 8) + Little(128, 4) + Little(128, 4) +
           Little(Crc32(entries), 4);
  };
  Put(disk, entriesLba * sector, entries);
  Put(disk, headerLba * sector, header(Crc32(header(0))));
}

// Two bytes of the end of a boot sector, and one partition.
void PutMbr(std::string& disk, std::uint8_t type) {
  Put(disk, 446,
      std::string(4, '\0') + Little(type, 1) + Little(0, 3) + Little(1, 4) + Little(2047, 4));
  Put(disk, 510, "\x55\xAA");
}

class DeviceContentTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
  }

  // Looks at a disk with that on it, by a descriptor as a writer's is.
  DeviceContent Look(const std::string& content, std::uint32_t sectorBytes = 512) {
    folder_.Write("disk", content);
    const LoopDevice loop(folder_ / "disk", sectorBytes, false);
    const DeviceContent found = LookAt(loop);
    EXPECT_EQ(folder_.Read("disk"), content) << "something was written";
    return found;
  }

  DeviceContent LookAt(const LoopDevice& loop) {
    const tarvex::Descriptor fd(
        open(loop.Path().c_str(), O_RDWR | O_EXCL | O_DIRECT | O_CLOEXEC | O_NOFOLLOW));
    EXPECT_TRUE(fd.IsOpen()) << errno;
    const int flags = fcntl(fd.Get(), F_GETFL);
    DeviceContent found = FindContent(files_, NumberOf(loop.Path()), fd.Get());
    EXPECT_EQ(fcntl(fd.Get(), F_GETFL), flags) << "no longer past the cache";
    return found;
  }

  void ExpectHeld(const std::string& content, const std::string& what,
                  std::uint32_t sectorBytes = 512) {
    const DeviceContent found = Look(content, sectorBytes);
    EXPECT_EQ(found.refusal, WriteRefusal::kHoldsData) << what << ' ' << found.error;
    EXPECT_EQ(found.what, what);
  }

  const TestFolder folder_;
  const LiveFiles files_;
};

TEST_F(DeviceContentTest, NothingIsFoundWhereNothingIs) {
  for (const std::uint32_t sector : {512U, 4096U}) {
    EXPECT_EQ(Look(std::string(kBytes, '\0'), sector).refusal, WriteRefusal::kNone);
    EXPECT_EQ(Look(std::string(kBytes, '\xFF'), sector).refusal, WriteRefusal::kNone);
  }
}

TEST_F(DeviceContentTest, ATableOfPartitionsIsFound) {
  std::string disk(kBytes, '\0');
  PutMbr(disk, 0x83);
  ExpectHeld(disk, "dos");
  disk.assign(kBytes, '\0');
  PutMbr(disk, 0xEE);
  PutGpt(disk, 512, 1, kBytes / 512 - 1, 2);
  ExpectHeld(disk, "gpt");
}

TEST_F(DeviceContentTest, SoIsOneOfWhichOnlyTheCopyAtTheEndIsLeft) {
  for (const std::uint32_t sector : {512U, 4096U}) {
    std::string disk(kBytes, '\0');
    const std::uint64_t last = kBytes / sector - 1;
    PutGpt(disk, sector, last, 1, last - 32);
    ExpectHeld(disk, "gpt", sector);
  }
}

// A bridge that was in front of the disk, or is now, may tell sectors of another size.
TEST_F(DeviceContentTest, SoIsOneThatWasWrittenInSectorsOfAnotherSize) {
  for (const auto& [written, told] : {std::pair{512U, 4096U}, {4096U, 512U}}) {
    std::string disk(kBytes, '\0');
    const std::uint64_t last = kBytes / written - 1;
    PutGpt(disk, written, last, 1, last - 32);
    ExpectHeld(disk, "gpt", told);
    disk.assign(kBytes, '\0');
    PutGpt(disk, written, 1, last, 2);
    ExpectHeld(disk, "gpt", told);
  }
}

TEST_F(DeviceContentTest, SoIsOneOfWhichOnlyTheFirstSectorIsGone) {
  std::string disk(kBytes, '\0');
  PutGpt(disk, 512, 1, kBytes / 512 - 1, 2);
  ExpectHeld(disk, "gpt");
}

// What announces a member of something bigger, of which no more is there, and with wrong checksums.
TEST_F(DeviceContentTest, TheSignaturesOfWhatMayBeAssembledLaterAreFound) {
  struct Row {
    const char* type;
    std::vector<std::pair<std::size_t, std::string>> parts;
  };
  const std::vector<Row> rows = {
      {"crypto_LUKS", {{0, std::string("LUKS\xBA\xBE\0\1", 8)}}},
      {"LVM2_member",
       {{512, "LABELONE" + Little(1, 8)}, {512 + 20, Little(32, 4)}, {512 + 24, "LVM2 001"}}},
      {"bcache",
       {{4096 + 8, Little(8, 8)},
        {4096 + 24,
         "\xC6\x85\x73\xF6\x4E\x1A\x45\xCA"
         "\x82\x65\xF5\x7F\x48\xBA\x6D\x81"}}},
      {"linux_raid_member",
       {{4096, Little(0xA92B4EFC, 4) + Little(1, 4)}, {4096 + 144, Little(8, 8)}}},
      {"btrfs", {{65536 + 64, "_BHRfS_M"}}},
  };
  for (const Row& row : rows) {
    std::string disk(kBytes, '\0');
    for (const auto& [at, bytes] : row.parts) Put(disk, at, bytes);
    ExpectHeld(disk, row.type);
  }
  // A pool announces itself by many blocks in a row, on disks of some size.
  std::string disk(std::size_t{65} << 20, '\0');
  for (std::size_t i = 0; i < 32; ++i) Put(disk, 131072 + i * 1024, Little(0x00BAB10C, 8));
  ExpectHeld(disk, "zfs_member");
}

TEST_F(DeviceContentTest, AFileSystemIsFoundAndSoIsSwapSpace) {
  for (const auto& [tool, type] : {std::pair{"mkfs.ext4 -q ", "ext4"}, {"mkswap -q ", "swap"}}) {
    folder_.Write("made", std::string(kBytes, '\0'));
    ASSERT_EQ(std::system((tool + folder_ / "made" + " >/dev/null 2>&1").c_str()), 0) << tool;
    ExpectHeld(folder_.Read("made"), type);
  }
}

TEST_F(DeviceContentTest, APartitionThatOnlyTheKernelKnowsIsFound) {
  folder_.Write("disk", std::string(kBytes, '\0'));
  LoopDevice loop(folder_ / "disk", 512, false);
  loop.AddPartition(3, 2048, 4096);
  const DeviceContent found = LookAt(loop);
  EXPECT_EQ(found.refusal, WriteRefusal::kHoldsData);
  EXPECT_EQ(found.what, loop.Name() + "p3");
}

TEST_F(DeviceContentTest, WhatTheDeviceHoldsCountsAndNotWhatTheCacheDoes) {
  std::string disk(kBytes, '\0');
  folder_.Write("disk", disk);
  const LoopDevice loop(folder_ / "disk", 512, false);
  // Keeps the first sectors in the cache as they are now.
  const tarvex::Descriptor reader(open(loop.Path().c_str(), O_RDONLY | O_CLOEXEC));
  std::string cached(1U << 20, 'x');
  ASSERT_EQ(pread(reader.Get(), cached.data(), cached.size(), 0), 1 << 20);
  const tarvex::Descriptor file(open((folder_ / "disk").c_str(), O_WRONLY | O_CLOEXEC));
  ASSERT_EQ(pwrite(file.Get(), "LUKS\xBA\xBE\0\1", 8, 0), 8);
  ASSERT_EQ(fsync(file.Get()), 0);
  EXPECT_EQ(LookAt(loop).what, "crypto_LUKS");
}

TEST_F(DeviceContentTest, WhatCannotBeReadIsUnknown) {
  folder_.Write("disk", std::string(kBytes, '\0'));
  const LoopDevice loop(folder_ / "disk", 512, false);
  const std::uint64_t number = NumberOf(loop.Path());
  const tarvex::Descriptor fd(open(loop.Path().c_str(), O_RDWR | O_DIRECT | O_CLOEXEC));
  // Its data ends before the device does.
  std::filesystem::resize_file(folder_ / "disk", kBytes / 2);
  const DeviceContent cut = FindContent(files_, number, fd.Get());
  EXPECT_EQ(cut.refusal, WriteRefusal::kUnknownContent);
  EXPECT_EQ(cut.error, EIO);
  const DeviceContent none = FindContent(files_, number, -1);
  EXPECT_EQ(none.refusal, WriteRefusal::kUnknownContent);
  EXPECT_EQ(none.error, EBADF);
  const DeviceContent nowhere = FindContent(files_, sdk::DeviceNumber(4000, 1), fd.Get());
  EXPECT_EQ(nowhere.refusal, WriteRefusal::kUnknownContent);
  EXPECT_EQ(nowhere.error, ENOENT);
}

}  // namespace
}  // namespace orvan::machine

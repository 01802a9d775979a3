#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/blkpg.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "os/descriptor.h"
#include "service/sdk/block_reader.h"

// A loop device with direct I/O over a file. Needs root.
class LoopDevice {
 public:
  static bool CanBe() { return geteuid() == 0 && access("/dev/loop-control", R_OK | W_OK) == 0; }

  LoopDevice(const std::string& file, std::uint32_t sectorBytes, bool isReadOnly = true)
      : sectorBytes_(sectorBytes), isReadOnly_(isReadOnly) {
    const tarvex::Descriptor control(open("/dev/loop-control", O_RDWR | O_CLOEXEC));
    // Another program may take the free one first.
    for (int attempt = 0; attempt < 16 && !device_.IsOpen(); ++attempt) {
      number_ = ioctl(control.Get(), LOOP_CTL_GET_FREE);
      Attach(file);
    }
    EXPECT_TRUE(device_.IsOpen()) << "errno " << errno;
  }
  ~LoopDevice() { Detach(); }
  LoopDevice(const LoopDevice&) = delete;
  LoopDevice& operator=(const LoopDevice&) = delete;
  // Takes its partitions along, which would outlive it.
  void Detach() {
    for (const int index : partitions_) Partition(BLKPG_DEL_PARTITION, index, 0, 0);
    partitions_.clear();
    if (device_.IsOpen()) ioctl(device_.Get(), LOOP_CLR_FD);
    device_.Reset();
  }

  // Takes its file away and gives it another, as the same device. False when another program took
  // the device in between; it then has none.
  bool Exchange(const std::string& file) {
    Detach();
    Attach(file);
    return device_.IsOpen();
  }

  // Makes a partition with that number of these sectors of 512 bytes.
  void AddPartition(int index, std::int64_t firstSector, std::int64_t sectors) {
    partitions_.push_back(index);
    Partition(BLKPG_ADD_PARTITION, index, firstSector, sectors);
  }

  std::string Name() const { return "loop" + std::to_string(number_); }
  std::string Path() const { return "/dev/" + Name(); }

 private:
  void Attach(const std::string& file) {
    const int access = isReadOnly_ ? O_RDONLY : O_RDWR;
    const tarvex::Descriptor backing(open(file.c_str(), access | O_CLOEXEC));
    tarvex::Descriptor device(open(Path().c_str(), access | O_CLOEXEC));
    loop_config config{};
    config.fd = static_cast<std::uint32_t>(backing.Get());
    config.block_size = sectorBytes_;
    config.info.lo_flags = LO_FLAGS_DIRECT_IO | LO_FLAGS_AUTOCLEAR;
    if (isReadOnly_) config.info.lo_flags |= LO_FLAGS_READ_ONLY;
    if (ioctl(device.Get(), LOOP_CONFIGURE, &config) == 0) device_ = std::move(device);
  }

  void Partition(int operation, int index, std::int64_t firstSector, std::int64_t sectors) {
    blkpg_partition partition{};
    partition.pno = index;
    partition.start = firstSector * 512;
    partition.length = sectors * 512;
    blkpg_ioctl_arg request{};
    request.op = operation;
    request.datalen = sizeof(partition);
    request.data = &partition;
    EXPECT_EQ(ioctl(device_.Get(), BLKPG, &request), 0) << "errno " << errno;
  }

  std::uint32_t sectorBytes_;
  bool isReadOnly_;
  std::vector<int> partitions_;
  int number_ = -1;
  tarvex::Descriptor device_;
};

// The number of the device under that name.
inline std::uint64_t NumberOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return orvan::sdk::DeviceNumber(major(status.st_rdev), minor(status.st_rdev));
}

// The sequence number of the medium under that name.
inline std::uint64_t SequenceOf(const std::string& path) {
  const tarvex::Descriptor device(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::uint64_t sequence = 0;
  EXPECT_EQ(ioctl(device.Get(), BLKGETDISKSEQ, &sequence), 0) << path;
  return sequence;
}

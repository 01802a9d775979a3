#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

// What the tests of readers share.
namespace orvan::machine {

inline constexpr std::uint32_t kSector =
    4096;  // every file system takes unbuffered reads of this size
inline constexpr std::uint64_t kSectors = 256;

// A file that stands in for a disk; in the build folder, where unbuffered reads work.
class DiskFile {
 public:
  DiskFile() {
    path_ = std::string(TARVEX_BINARY_DIR) + "/tests/disk_XXXXXX";
    const int fd = mkstemp(path_.data());
    EXPECT_GE(fd, 0);
    EXPECT_EQ(ftruncate(fd, kSectors * kSector), 0);
    close(fd);
  }
  ~DiskFile() { unlink(path_.c_str()); }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace orvan::machine

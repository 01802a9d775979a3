#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

// What the tests of the reader and of its helper share.
namespace orvan::machine {

inline constexpr std::uint32_t kSector =
    4096;  // every file system takes unbuffered reads of this size
inline constexpr std::uint64_t kSectors = 256;

inline std::string HelperPath() {
  return std::string(TARVEX_BINARY_DIR) + "/lib/orvan/orvan-block-reader";
}

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

#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>

#include "service/machine/block_reader.h"

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

inline sdk::BlockReaderOptions OptionsFor(const std::string& path) {
  sdk::BlockReaderOptions options;
  options.device = path;
  options.depth = 4;
  options.queued = 4;
  options.largestReadBytes = 8 * kSector;
  options.timeLimit = std::chrono::seconds(5);
  options.fileSectorBytes = kSector;
  return options;
}

// What opens readers, and how many of them were left behind.
struct Opener {
  std::shared_ptr<LeftBehindCount> left = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls{left};
  sdk::OpenedReader Open(const sdk::BlockReaderOptions& options, std::stop_token stop = {}) {
    return OpenBlockReader(calls, left, options, std::move(stop));
  }
};

inline bool Comes(const std::function<bool()>& condition) {
  for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
       std::chrono::steady_clock::now() < end && !condition();) {
    std::this_thread::yield();
  }
  return condition();
}

}  // namespace orvan::machine

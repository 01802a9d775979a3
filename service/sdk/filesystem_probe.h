#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace orvan::sdk {

// What a block device holds, and how full its mounted file system is. Texts are as they stand on
// the disk, so nothing may be taken for granted about their bytes.
struct FilesystemFacts {
  std::string tableType;   // "gpt" or "dos"; empty: no partition table
  std::string fileSystem;  // "ext4"; empty: none that is known
  std::string label;
  struct Use {
    std::uint64_t usedBytes = 0;
    std::uint64_t freeBytes = 0;
  };
  std::optional<Use> use;  // none: not mounted, or not to be had
};

// Looks at a device. Reading a superblock or asking a file system for its use may hang, so the live
// one does both on a thread apart with a time limit. One thread.
class FilesystemProbe {
 public:
  virtual ~FilesystemProbe() = default;
  // `device` and `mountPoint` may each be empty: then that half is left out. None when it did not
  // answer within `limit`, was stopped or could not be tried.
  virtual std::optional<FilesystemFacts> Probe(const std::string& device,
                                               const std::string& mountPoint,
                                               std::chrono::milliseconds limit,
                                               std::stop_token stop) = 0;
};

}  // namespace orvan::sdk

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "service/modules/storage/disk.h"
#include "service/sdk/filesystem_probe.h"
#include "service/sdk/machine_files.h"

namespace orvan::storage {

// Where a file system is mounted.
struct Mount {
  std::string point;       // empty: not mounted
  std::string fileSystem;  // "ext4", as the kernel calls it
  bool isWhole = false;    // the file system's root, not one of its folders
};

// Where block devices are mounted, from /proc/self/mountinfo. Believed is what the kernel vouches
// for: the number, and the source where the kernel itself opened it.
class MountTable {
 public:
  explicit MountTable(const sdk::MachineFiles& files);
  // The mount of a device by its number ("8:1") or, for file systems with numbers of their own, by
  // its path; the one of the whole file system when there is one.
  Mount Find(const std::string& number, const std::string& devicePath) const;

 private:
  static void Keep(std::map<std::string, Mount>& mounts, const std::string& key,
                   const Mount& mount);
  std::map<std::string, Mount> byNumber_;
  std::map<std::string, Mount> byPath_;
};

// The search for the partitions of one disk. What the kernel and the device manager know is read
// when it is made, and only the rest is probed.
class PartitionSearch {
 public:
  // Of a disk of which nothing can be known: there is none.
  PartitionSearch() = default;
  PartitionSearch(const sdk::MachineFiles& files, const MountTable& mounts, const DiskFacts& facts);

  // Whether a look at the medium, or at a mounted file system, has something left to tell.
  bool IsOpen() const { return !looks_.empty(); }
  // The next look. After one that is not answered, or a stop, there are no more: each of them may
  // take its whole limit.
  void Look(sdk::FilesystemProbe& probe, std::chrono::milliseconds limit, std::stop_token stop);
  // What is known, in the order of the index; a file system on the whole disk counts as one with
  // index 0. Where nobody tells the file system of a mounted one, it is what the kernel calls it.
  std::vector<Partition> Found() const;

 private:
  // What the device manager has stored about a block device, or a probe has told.
  struct Known {
    sdk::FilesystemFacts facts;
    std::string entryScheme;  // of the table that the partition stands in
    std::string entryType;    // e.g. "0xf"
  };
  struct Part {
    Partition partition;
    Known known;
    Mount mount;
  };
  // A look that is due.
  struct Due {
    std::size_t part = 0;
    std::string device = {};  // empty: its file system is known
    std::string mountPoint = {};
    bool isForTable = false;  // of the whole disk, and not of the one that was found
  };

  static Known ReadDeviceDatabase(const sdk::MachineFiles& files, const std::string& number);
  void Read(const sdk::MachineFiles& files, const MountTable& mounts, const std::string& folder,
            const std::string& name, std::uint32_t index);
  void AskForTable(const sdk::MachineFiles& files, const DiskFacts& facts);
  std::string TypeOf(const Part& one) const;
  Partition Finished(const Part& one) const;

  std::uint64_t sectorBytes_ = 0;  // 0: not known
  std::vector<Part> parts_;
  std::deque<Due> looks_;
  std::optional<std::string> tableType_;  // none: nobody needed it so far
};

}  // namespace orvan::storage

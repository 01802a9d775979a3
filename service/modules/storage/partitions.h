#pragma once

#include <map>
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

// The partitions of a disk in the order of their index; a file system on the whole disk counts as
// one with index 0. What the device manager already knows is taken from there, and only the rest
// is probed. Where neither tells the file system of a mounted one, it is what the kernel calls it.
std::vector<Partition> ReadPartitions(const sdk::MachineFiles& files, sdk::FilesystemProbe& probe,
                                      const MountTable& mounts, const DiskFacts& facts,
                                      std::stop_token stop);

}  // namespace orvan::storage

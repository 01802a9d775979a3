#include "service/machine/drive_node.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>

#include "service/machine/block_device.h"
#include "service/sdk/block_reader.h"

namespace orvan::machine {
namespace {

// Takes what is at the beginning of `name` and fits, at least one; false when none does.
bool Take(std::string_view& name, char first, char last) {
  const auto end =
      std::find_if(name.begin(), name.end(), [&](char c) { return c < first || c > last; });
  const auto size = static_cast<std::size_t>(end - name.begin());
  name.remove_prefix(size);
  return size != 0;
}

bool TakeText(std::string_view& name, std::string_view text) {
  if (!name.starts_with(text)) return false;
  name.remove_prefix(text.size());
  return true;
}

// A node that was looked at and not opened, so nothing has happened to what it stands for.
struct Node {
  tarvex::Descriptor path;
  struct stat status = {};
  bool IsFile() const { return S_ISREG(status.st_mode); }
  bool IsBlock() const { return S_ISBLK(status.st_mode); }
  dev_t Raw() const { return IsFile() ? status.st_dev : status.st_rdev; }
  std::uint64_t Number() const { return sdk::DeviceNumber(major(Raw()), minor(Raw())); }
  // "/sys/dev/block/8:0".
  std::string Link() const {
    return std::string(S_ISCHR(status.st_mode) ? "/sys/dev/char/" : "/sys/dev/block/") +
           std::to_string(major(Raw())) + ':' + std::to_string(minor(Raw()));
  }
};

// Source: SPC-5, 6.7.2 (peripheral device type): direct access, reduced commands, zoned.
bool IsDiskType(const std::string& type) {
  static constexpr std::array<std::string_view, 3> kDisks = {"0", "14", "20"};
  return std::find(kDisks.begin(), kDisks.end(), type) != kDisks.end();
}

bool TakesIt(const sdk::MachineFiles& files, const DriveOpening& opening, const Node& node) {
  if (node.IsFile()) return opening.filesMayBeDrives;
  if (!node.IsBlock() && (!S_ISCHR(node.status.st_mode) || opening.isExclusive)) return false;
  const std::string link = files.ReadLink(node.Link()).value_or(std::string());
  const std::string name = link.substr(link.find_last_of('/') + 1);
  if (!IsDriveName(name, node.IsBlock())) return false;
  return !opening.isBlankOnOptical ||
         (name.starts_with("sd") && IsDiskType(files.ReadText(node.Link() + "/device/type")));
}

// 0, or the errno of why this is not the drive that is meant.
int Check(const sdk::MachineFiles& files, const DriveOpening& opening, const Node& node) {
  if (S_ISLNK(node.status.st_mode)) return ELOOP;
  if (!TakesIt(files, opening, node)) return EOPNOTSUPP;
  const std::uint64_t expected = opening.command.expectedDevice;
  return expected == 0 || expected == node.Number() ? 0 : ENODEV;
}

// Source: Linux, drivers/nvme/host/core.c (states of a controller), drivers/scsi/scsi_sysfs.c
// (states of a device).
bool IsLeaving(const std::string& state) {
  static constexpr std::array<std::string_view, 5> kLeaving = {"deleting", "deleting (no IO)",
                                                               "dead", "cancel", "deleted"};
  return std::find(kLeaving.begin(), kLeaving.end(), state) != kLeaving.end();
}

}  // namespace

bool HasLeft(const sdk::MachineFiles& files, const tarvex::Descriptor& drive) {
  Node node;
  if (fstat(drive.Get(), &node.status) != 0) return false;
  int error = 0;
  const std::string link = node.Link();
  if (!files.ReadLink(link, &error)) {
    // Where no device is listed at all, that one is not means nothing.
    return error == 0 && files.Exists(link.substr(0, link.rfind('/')));
  }
  const char* state = S_ISCHR(node.status.st_mode) ? "/state" : "/device/state";
  return IsLeaving(files.ReadText(link + state));
}

bool IsDriveName(std::string_view name, bool isBlock) {
  if (TakeText(name, "sd")) return isBlock && Take(name, 'a', 'z') && name.empty();
  if (!TakeText(name, "nvme") || !Take(name, '0', '9')) return false;
  if (isBlock && !(TakeText(name, "n") && Take(name, '0', '9'))) return false;
  return name.empty();
}

OpenedDrive OpenDrive(const sdk::MachineFiles& files, const DriveOpening& opening) {
  Node node;
  node.path.Reset(open(opening.command.device.c_str(), O_PATH | O_CLOEXEC | O_NOFOLLOW));
  if (!node.path.IsOpen() || fstat(node.path.Get(), &node.status) != 0) return {{}, errno};
  if (const int error = Check(files, opening, node); error != 0) return {{}, error};
  // Not for writing: the end of that would make the device manager look at the whole disk again.
  const int flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | (opening.isExclusive ? O_EXCL : 0);
  const std::string same = "/proc/self/fd/" + std::to_string(node.path.Get());
  OpenedDrive drive{tarvex::Descriptor(open(same.c_str(), flags)), 0};
  if (!drive.descriptor.IsOpen()) return {{}, errno};
  if (node.IsBlock()) {
    drive.error = CheckDiskSequence(drive.descriptor.Get(), opening.command.diskSequence,
                                    opening.isExclusive);
  }
  return drive;
}

}  // namespace orvan::machine

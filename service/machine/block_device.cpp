#include "service/machine/block_device.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>

#include "service/sdk/read_errors.h"

namespace orvan::machine {

int CheckDiskSequence(int fd, std::uint64_t expected, bool isNeeded) {
  std::uint64_t sequence = 0;
  // Before Linux 5.15 there is none.
  if (ioctl(fd, BLKGETDISKSEQ, &sequence) != 0) return errno == ENODEV ? ENODEV : 0;
  if (expected == 0) return isNeeded ? EINVAL : 0;
  return expected == sequence ? 0 : ENODEV;
}

int BlockDevice::Open(const Request& request) {
  const int flags = O_CLOEXEC | O_NOFOLLOW | (request.isForWriting ? O_RDWR | O_EXCL : O_RDONLY);
  fd_.Reset(open(request.path.c_str(), flags | O_DIRECT));
  // Some file systems refuse O_DIRECT; a block device never does.
  if (!fd_.IsOpen() && errno == EINVAL && request.fileSectorBytes != 0) {
    fd_.Reset(open(request.path.c_str(), flags));
  }
  struct stat status {};
  if (!fd_.IsOpen() || fstat(fd_.Get(), &status) != 0) return errno;
  if (S_ISREG(status.st_mode) && request.fileSectorBytes != 0) {
    geometry_ = {static_cast<std::uint64_t>(status.st_size), request.fileSectorBytes,
                 request.fileSectorBytes};
    return 0;
  }
  if (!S_ISBLK(status.st_mode)) return ENOTBLK;
  device_ = sdk::DeviceNumber(major(status.st_rdev), minor(status.st_rdev));
  if (request.expected != 0 && request.expected != device_) return ENODEV;
  const int error = CheckDiskSequence(fd_.Get(), request.sequence, request.isForWriting);
  if (error != 0) return error;
  // The kernel lets it be opened for writing all the same.
  int isReadOnly = 0;
  if (request.isForWriting && ioctl(fd_.Get(), BLKROGET, &isReadOnly) != 0) return errno;
  return isReadOnly != 0 ? EROFS : ReadGeometry();
}

int BlockDevice::ReadGeometry() {
  int logical = 0;
  unsigned physical = 0;
  if (ioctl(fd_.Get(), BLKGETSIZE64, &geometry_.sizeBytes) != 0 ||
      ioctl(fd_.Get(), BLKSSZGET, &logical) != 0 || ioctl(fd_.Get(), BLKPBSZGET, &physical) != 0) {
    return errno;
  }
  geometry_.logicalSectorBytes = static_cast<std::uint32_t>(logical);
  geometry_.physicalSectorBytes = physical;
  return 0;
}

bool BlockDevice::IsGone() const {
  if (device_ == 0) return false;
  std::uint64_t size = 0;
  // Any other error is the call's own and tells nothing of the device.
  const bool isAnswered = ioctl(fd_.Get(), BLKGETSIZE64, &size) == 0;
  if (isAnswered ? size == 0 : sdk::MeansGone(errno)) return true;
  const std::string node = "/sys/dev/block/" + std::to_string(device_ >> 32) + ':' +
                           std::to_string(device_ & 0xFFFFFFFF);
  return access(node.c_str(), F_OK) != 0 && errno == ENOENT && access("/sys/dev/block", F_OK) == 0;
}

}  // namespace orvan::machine

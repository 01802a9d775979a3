#include "service/machine/helper_device.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <string>

#include "service/sdk/read_errors.h"

namespace orvan::machine {

int HelperDevice::Open(const OpenMessage& request) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW;
  fd_ = tarvex::Descriptor(open(request.device.data(), kFlags | O_DIRECT));
  // Some file systems refuse O_DIRECT; a block device never does.
  if (!fd_.IsOpen() && errno == EINVAL && request.fileSectorBytes != 0) {
    fd_ = tarvex::Descriptor(open(request.device.data(), kFlags));
  }
  struct stat status {};
  if (!fd_.IsOpen() || fstat(fd_.Get(), &status) != 0) return errno;
  if (S_ISREG(status.st_mode) && request.fileSectorBytes != 0) {
    geometry_ = {static_cast<std::uint64_t>(status.st_size), request.fileSectorBytes,
                 request.fileSectorBytes};
    return 0;
  }
  if (!S_ISBLK(status.st_mode)) return ENOTBLK;
  number_ = DeviceNumber(major(status.st_rdev), minor(status.st_rdev));
  if (request.expectedDevice != 0 && request.expectedDevice != number_) return ENODEV;
  return ReadGeometry();
}

int HelperDevice::ReadGeometry() {
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

bool HelperDevice::IsGone() const {
  if (number_ == 0) return false;
  std::uint64_t size = 0;
  // Any other error is the call's own and tells nothing of the device.
  const bool isAnswered = ioctl(fd_.Get(), BLKGETSIZE64, &size) == 0;
  if (isAnswered ? size == 0 : sdk::MeansGone(errno)) return true;
  const std::string node = "/sys/dev/block/" + std::to_string(number_ >> 32) + ':' +
                           std::to_string(number_ & 0xFFFFFFFF);
  return access(node.c_str(), F_OK) != 0 && errno == ENOENT && access("/sys/dev/block", F_OK) == 0;
}

}  // namespace orvan::machine

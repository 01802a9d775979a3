#pragma once

#include <cstdint>
#include <string>

#include "os/descriptor.h"
#include "service/sdk/block_reader.h"

namespace orvan::machine {

// Whether an open block device holds the medium of that sequence number, which no other has. 0, or
// the errno: ENODEV when it is another; EINVAL when none is expected, though one is needed and the
// kernel tells it. May hang.
int CheckDiskSequence(int fd, std::uint64_t expected, bool isNeeded);

// An open block device. Its operations may hang, so they are for calls apart.
class BlockDevice {
 public:
  struct Request {
    std::string path;
    std::uint64_t expected = 0;  // sdk::DeviceNumber; 0: any
    std::uint64_t sequence = 0;  // of the disk; 0: any, but not for writing
    std::uint32_t fileSectorBytes =
        0;                      // not 0: a regular file of such sectors may stand in (tests)
    bool isForWriting = false;  // for writing too, and for nobody else meanwhile
  };

  // Opens past the page cache. 0, or the errno: ENOTBLK when it is no block device, ENODEV when it
  // is another device or medium than expected, EROFS when it cannot be written, EINVAL when it is
  // to be written and which medium is meant was not said though the kernel can tell them apart.
  int Open(const Request& request);

  const sdk::BlockGeometry& Geometry() const { return geometry_; }
  int Number() const { return fd_.Get(); }
  // True once the device has left the machine. A device that is gone answers transfers with the
  // same error as a bad sector, so every failed transfer asks.
  bool IsGone() const;

 private:
  int ReadGeometry();

  tarvex::Descriptor fd_;
  sdk::BlockGeometry geometry_;
  std::uint64_t device_ = 0;  // 0: a regular file
};

}  // namespace orvan::machine

#pragma once

#include <cstdint>
#include <string>

#include "os/descriptor.h"
#include "service/sdk/block_reader.h"

namespace orvan::machine {

// An open block device. Its operations may hang, so they are for calls apart.
class BlockDevice {
 public:
  struct Request {
    std::string path;
    std::uint64_t expected = 0;  // sdk::DeviceNumber; 0: any
    std::uint32_t fileSectorBytes =
        0;                      // not 0: a regular file of such sectors may stand in (tests)
    bool isForWriting = false;  // for writing too, and for nobody else meanwhile
  };

  // Opens past the page cache. 0, or the errno: ENOTBLK when it is no block device, ENODEV when it
  // is another device than expected, EROFS when it cannot be written.
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

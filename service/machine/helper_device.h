#pragma once

#include "os/descriptor.h"
#include "service/machine/helper_protocol.h"

namespace orvan::machine {

// The device that the helper program reads.
class HelperDevice {
 public:
  // Opens read-only and past the page cache. 0, or the errno: ENOTBLK when it is no block device,
  // ENODEV when it is another device than expected. May hang.
  int Open(const OpenMessage& request);

  const BlockGeometry& Geometry() const { return geometry_; }
  int Descriptor() const { return fd_.Get(); }
  // True once the device has left the machine. A device that is gone answers reads with the same
  // error as a bad sector, so every failed read asks.
  bool IsGone() const;

 private:
  int ReadGeometry();

  tarvex::Descriptor fd_;
  BlockGeometry geometry_;
  std::uint64_t number_ = 0;  // 0: a regular file
};

}  // namespace orvan::machine

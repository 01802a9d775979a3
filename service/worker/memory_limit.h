#pragma once

#include <cstdint>

#include "os/descriptor.h"
#include "service/worker/connection.h"

namespace orvan::worker {

// Ends the process when it grows past its limit, and says so. There is one for each process, and
// it outlives all threads.
class MemoryLimit {
 public:
  // From now on `limitBytes` holds, of which 0 is none: for what is allocated at once, and, at each
  // Look, for what is in use. The main thread, once.
  MemoryLimit(const ProgramChannel& channel, std::uint64_t limitBytes);

  // One thread.
  void Look() const;
  std::uint64_t ResidentBytes() const;

 private:
  tarvex::Descriptor pages_;  // what the system says of our memory
  std::uint64_t limitBytes_;
};

}  // namespace orvan::worker

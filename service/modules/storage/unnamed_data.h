#pragma once

#include <cstdint>
#include <stop_token>

#include "service/sdk/block_writer.h"

namespace orvan::storage {

// What a look at a disk that has no signature came to.
struct DataLook {
  enum class Kind {
    kNothing,  // zeros, ones, and what this test wrote earlier
    kData,     // something else
    kUnreadable,
    kHung,
    kVanished,
    kStopped,
    kOwnFault,
  };
  Kind kind = Kind::kNothing;
  std::uint64_t lba = 0;  // where it is, or ended
  int error = 0;          // errno of a read
};

// The writer must take transfers of this size.
inline constexpr std::uint32_t kLookBytes = 64U << 10;

// Looks for data of which nothing tells whose it is, such as an encrypted volume without a head: in
// 256 places all over the disk and in the first and the last MiB, which are looked at last, so
// right before the first write. What lies between these places is not seen.
DataLook LookForData(sdk::BlockWriter& writer, std::stop_token stop);

}  // namespace orvan::storage

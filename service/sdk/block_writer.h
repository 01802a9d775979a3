#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "service/sdk/block_reader.h"

namespace orvan::sdk {

// What became of one transfer or flush.
struct TransferResult {
  enum class Outcome {
    kDone,
    kFailed,    // the device answered with an error
    kTimedOut,  // no answer within the time limit; it goes on and is never waited for
    kNotTried,  // it could not be handed to the device: our own fault, whatever the error
    kStopped,   // the stop token was set; it may go on and is never waited for
  };
  Outcome outcome = Outcome::kNotTried;
  int error = 0;  // errno of kFailed and kNotTried. kFailed, ENODEV: the device is gone
  bool IsDone() const { return outcome == Outcome::kDone; }
};

// Writes to a block device that this process alone holds, past the page cache, one transfer at a
// time. Offsets and sizes are multiples of the logical sector; buffers may lie anywhere. After a
// transfer that timed out or was stopped nothing more is tried (kNotTried, ESHUTDOWN), nor once the
// row that opened it has ended (kNotTried, EPERM). One thread. Its end never waits.
class BlockWriter {
 public:
  virtual ~BlockWriter() = default;
  virtual const BlockGeometry& Geometry() const = 0;
  virtual TransferResult Write(std::uint64_t offsetBytes, std::span<const std::byte> data) = 0;
  // Reads into `data`, past every cache of the kernel's; after a Flush past the drive's, as far as
  // the drive keeps its word.
  virtual TransferResult Read(std::uint64_t offsetBytes, std::span<std::byte> data) = 0;
  // Until the drive says that all that was written lies on its medium.
  virtual TransferResult Flush() = 0;
};

struct BlockWriterOptions {
  std::string device;                // "/dev/sda"
  std::uint64_t expectedDevice = 0;  // DeviceNumber(); another one is ENODEV; not 0
  // As a reader takes it; another one is ENODEV. 0 is refused where the kernel knows it (kOwnFault,
  // EINVAL).
  std::uint64_t diskSequence = 0;
  std::uint32_t largestTransferBytes = 1U << 20;  // up to kLargestReadBytes
  std::chrono::milliseconds timeLimit{30000};     // of the opening, and of each transfer and flush
  // Refused (kHoldsData) when it holds a partition table, also a mere copy at its end, what a file
  // system, an array, a volume or an encryption is known by, or when the kernel knows partitions of
  // it. Looked at through the descriptor that is written, once nobody else can claim the device;
  // what cannot be looked at is kUnknownContent. A device without any of these may hold data all
  // the same.
  bool onlyWithoutSignature = false;
  // The stop token of the opening ends the wait for a transfer, too.
  bool stopEndsTransfers = false;
};

// Why a device was not opened for writing. The opening is exclusive, so nobody who claims a device,
// as a mount, swap space or an array does, can begin to use it from then on. Users without a claim,
// as a loop device over it, are looked for before the opening and once more after it; one that
// begins later is not noticed.
enum class WriteRefusal {
  kNone,
  kNotGranted,  // the row of the running test or tool does not say that it writes
  kMounted,     // the device, or a partition of it, is mounted; `user` is where
  kSwap,        // is used as swap space
  kHeld,        // is a part of something else, of an array or a loop device; `user` is the holder
  kBusy,        // somebody else holds it exclusively (EBUSY)
  kDevice,      // it could not be opened; `error` is its errno
  kHung,        // the opening, or a look at its use, did not come back within the time limit
  kUnknownUse,  // whether it is in use could not be found out; `error` says why
  kOwnFault,    // our own fault; `error` says why
  kStopped,     // the stop token was set
  kHoldsData,   // something was found on it; `user` says what: "gpt", "ext4", a partition's name
  kUnknownContent,  // what it holds could not be looked at; `error` says why
};
inline constexpr WriteRefusal kLastWriteRefusal = WriteRefusal::kUnknownContent;

struct OpenedWriter {
  std::unique_ptr<BlockWriter> writer;  // null unless refusal is kNone
  WriteRefusal refusal = WriteRefusal::kNone;
  int error = 0;
  std::string user = {};  // a stranger's text
};

}  // namespace orvan::sdk

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

namespace orvan::sdk {

struct BlockGeometry {
  std::uint64_t sizeBytes = 0;  // 0: no medium, or a device without capacity
  std::uint32_t logicalSectorBytes = 512;
  std::uint32_t physicalSectorBytes = 512;
};

// One read. Offset and size are multiples of the logical sector.
struct BlockRead {
  std::uint64_t id = 0;  // the caller's own; not used by another read in flight
  std::uint64_t offsetBytes = 0;
  std::uint32_t sizeBytes = 0;
  std::uint32_t reserved = 0;
};

enum class ReadOutcome : std::uint32_t {
  kRead = 0,      // every byte was read
  kFailed = 1,    // the device answered with an error
  kTimedOut = 2,  // no answer within the time limit; the transfer goes on and is never waited for
  kNotTried = 3,  // the reader could not hand it to the device: our own fault, whatever the error
};

struct BlockReadResult {
  std::uint64_t id = 0;
  ReadOutcome outcome = ReadOutcome::kFailed;
  std::int32_t error = 0;  // errno of kFailed and kNotTried. kFailed, ENODEV: the device is gone
  // When the device was given it, and when its answer was there, on a clock of the reader's own
  // that goes on only while the reader is awake. Both 0: not known.
  std::chrono::nanoseconds begun{};
  std::chrono::nanoseconds ended{};
};

enum class ReaderState {
  kWorking,
  kHung,     // the reader hangs in the kernel, and the device with it, long past the time limit
  kStalled,  // the reader was stopped, or got no processor: our own fault, not the device's
  kLost,     // the reader itself failed: our own fault, too
};

// Reads a block device asynchronously, past the page cache, for success only. One thread. Its end
// never waits for reads in flight.
class BlockReader {
 public:
  virtual ~BlockReader() = default;
  virtual const BlockGeometry& Geometry() const = 0;
  // How many reads may be outstanding. More are accepted than are in flight at the device, so that
  // it never runs dry between two calls.
  virtual std::uint32_t Capacity() const = 0;
  // Queues reads, at most Capacity() minus the outstanding ones. They start in this order.
  virtual void Submit(const std::vector<BlockRead>& reads) = 0;
  // Appends what has finished to `results`, waiting up to `wait`, and no longer than kAwakePace,
  // for the first. While reads are outstanding it is called that often. In any order, each read
  // once. Any state but kWorking is final: what is outstanding then never comes.
  virtual ReaderState Collect(std::vector<BlockReadResult>& results,
                              std::chrono::milliseconds wait) = 0;
};

// Most reads that may be in flight at once, and wait behind them; the largest single read.
inline constexpr std::uint32_t kMostReadsInFlight = 64;
inline constexpr std::uint32_t kMostReadsQueued = 64;
inline constexpr std::uint32_t kLargestReadBytes = 4U << 20;

struct BlockReaderOptions {
  std::string device;                // "/dev/sda"
  std::uint64_t expectedDevice = 0;  // DeviceNumber(); another device under that name is ENODEV
  // Of the disk, as its diskseq in /sys tells; ENODEV when the one that is opened has another, for
  // a device number is given away again once its medium has left. 0: not known.
  std::uint64_t diskSequence = 0;
  std::uint32_t depth = 1;  // reads in flight, 1 to kMostReadsInFlight
  // Reads accepted beyond those in flight, 1 to kMostReadsQueued. They cost nothing until they are
  // started, and keep the device busy while the caller waits for a processor.
  std::uint32_t queued = 1;
  std::uint32_t largestReadBytes = 1U << 20;  // up to kLargestReadBytes
  // Of the opening, and of each read. Only time counts in which the reader was awake.
  std::chrono::milliseconds timeLimit{30000};
  std::chrono::milliseconds stallLimit{60000};  // a reader that stands still is given up then
  // Not 0: a regular file of sectors of this size may stand in for a device (tests).
  std::uint32_t fileSectorBytes = 0;
};

enum class OpenFailure {
  kNone,
  kReader,   // the reader could not be started or broke; `error` says why
  kDevice,   // the device could not be opened; `error` is its errno
  kHung,     // the opening did not come back within the time limit
  kStalled,  // the reader stood still: it was stopped, or got no processor
  kStopped,  // the stop token was set
};

struct OpenedReader {
  std::unique_ptr<BlockReader> reader;  // null unless failure is kNone
  OpenFailure failure = OpenFailure::kNone;
  int error = 0;
};

using BlockReaderFactory = std::function<OpenedReader(const BlockReaderOptions&, std::stop_token)>;

// A device number from its two parts, as `expectedDevice` takes it.
constexpr std::uint64_t DeviceNumber(std::uint32_t major, std::uint32_t minor) {
  return (static_cast<std::uint64_t>(major) << 32) | minor;
}

}  // namespace orvan::sdk

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>

#include "service/modules/storage/bad_ranges.h"
#include "service/modules/storage/written_pattern.h"
#include "service/sdk/block_writer.h"

namespace orvan::storage {

// What to write. The range is not empty and lies on the disk, and a block is no larger than the
// writer's largest transfer.
struct WritePlan {
  std::uint64_t run = 0;  // names the pattern
  std::uint64_t firstLba = 0;
  std::uint64_t lastLba = 0;
  std::uint32_t sectorsPerBlock = 1;  // the last block of the range may be shorter
  std::uint32_t passes = 2;
  // 0: no cap. The first pass writes no longer than its share of it, and what it did not reach by
  // then is left alone.
  std::chrono::seconds timeCap{0};
};

enum class WriteEnd {
  kComplete,
  kTimeCap,  // a part of the range, or of the passes, was left out
  kTooBad,   // so many sectors failed that no more was tried
  kStopped,
  kHung,         // a transfer ran past its time limit
  kVanished,     // the disk has left the machine
  kFlushFailed,  // the disk did not say that it kept what was written
  kOwnFault,     // a transfer failed for a reason that is none of the disk's
};

enum class WriteStep { kWriting, kFlushing, kReading };

struct WriteResult {
  WriteEnd end = WriteEnd::kComplete;
  WriteStep endStep = WriteStep::kWriting;  // this and the next two: where it ended otherwise
  std::uint64_t endLba = 0;
  int endError = 0;
  // Of a disk that vanished: transfers that failed otherwise right before, which count for nothing.
  std::uint64_t lastFailures = 0;
  std::uint32_t passesDone = 0;  // written, and read as far as they were written
  // All of one pass, for the pass that finds any is the last.
  BadRanges unwritable;
  BadRanges unreadable;
  BadRanges wrong;
  SectorFinding firstWrong;  // of the lowest wrong sector
  std::map<SectorKind, std::uint64_t> wrongKinds;
  // Not 0: each wrong sector holds what was written so many sectors, or a multiple, further on, so
  // these addresses share one place.
  std::uint64_t repeatsAfter = 0;
  // How many sectors from the first on may have been written, and how many were compared in each
  // pass that was done.
  std::uint64_t sectorsTouched = 0;
  std::uint64_t sectorsPlanned = 0;
  std::uint64_t sectorsCompared = 0;  // of the pass that came furthest
  std::uint64_t bytesWritten = 0;     // this and the next: of all passes
  std::uint64_t bytesCompared = 0;
  using Duration = std::chrono::steady_clock::duration;
  Duration writing{};  // time in transfers and flushes
  Duration reading{};
  Duration slowestWrite{};
  Duration slowestRead{};
};

struct WriteHooks {
  // At most four times a second, and at 0 and, when all was done, 100 percent. Never falls.
  std::function<void(int percent)> progress;
  std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
};

// Above so many sectors that cannot be written, or read, the run ends.
inline constexpr std::uint64_t kMostFailedSectors = 4096;

// Writes the pattern of each pass to all of the range, has it flushed, reads all of it back and
// compares. A block that fails is tried again sector by sector. A pass that found a fault is the
// last one. Looks at the stop token before each transfer.
WriteResult WriteSurface(sdk::BlockWriter& writer, const WritePlan& plan, std::stop_token stop,
                         const WriteHooks& hooks,
                         std::uint64_t mostFailedSectors = kMostFailedSectors);

}  // namespace orvan::storage

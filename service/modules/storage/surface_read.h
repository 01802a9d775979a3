#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <stop_token>

#include "service/modules/storage/bad_ranges.h"
#include "service/modules/storage/block_order.h"
#include "service/modules/storage/found_places.h"
#include "service/modules/storage/sector_ranges.h"
#include "service/sdk/block_reader.h"

namespace orvan::storage {

// What to read. The range is not empty and lies on the disk.
struct SurfacePlan {
  std::uint64_t firstLba = 0;
  std::uint64_t lastLba = 0;
  std::uint32_t sectorsPerBlock = 1;  // the last block of the range may be shorter
  BlockOrder order;
  // After it no new block is begun, and no sector of a failed one read by itself; 0: no cap.
  std::chrono::seconds timeCap{0};
  // An answer for which the disk took longer than this is a slow one; 0: none is.
  std::chrono::milliseconds slowAfter{0};
};

// Answers for which a disk took longer than it should, of blocks and of sectors that were read by
// themselves, good or bad. By the time that each read itself took, see OwnTimes.
struct SlowAnswers {
  std::uint64_t count = 0;
  std::chrono::nanoseconds slowest{};
  std::uint64_t slowestLba = 0;
  SectorRanges sectors;
  FoundPlaces places{FoundPlaces::Kind::kTimes};
};

enum class SurfaceEnd {
  kComplete,
  kTimeCap,
  kStopped,
  kHung,           // a transfer ran past its time limit
  kVanished,       // the disk has left the machine
  kReaderLost,     // our own reader broke
  kReaderStalled,  // our own reader stood still: it was stopped, or got no processor
  kOwnFault,       // a read failed for a reason that is none of the disk's
};

struct SurfaceResult {
  SurfaceEnd end = SurfaceEnd::kComplete;
  BadRanges bad;
  // Blocks that failed and whose sectors were not all read one by one, because too many were bad
  // already, the time was up or the run ended. Of one that was begun, what was found is in `bad`.
  std::uint64_t unnarrowedBlocks = 0;
  std::uint64_t firstUnnarrowedLba = 0;  // where the lowest of them begins
  int firstUnnarrowedError = 0;          // and its error
  FoundPlaces unnarrowedPlaces{FoundPlaces::Kind::kSectors};
  // Blocks that failed, and of which every sector could be read by itself.
  std::uint64_t secondTryBlocks = 0;
  std::uint64_t blocksRead = 0;  // judged, readable or not
  std::uint64_t bytesRead = 0;   // of the readable blocks
  // Of a disk that vanished: reads that failed otherwise right before, which count for nothing
  // else.
  std::uint64_t lastFailures = 0;
  std::uint64_t endLba = 0;  // where it hung, vanished or failed
  int endError = 0;
  std::chrono::steady_clock::duration took{};  // this and the next: time in which we were awake
  // The longest time in which the disk had a block, at the first try of it. It may have waited
  // there behind as many others as are at the disk at once.
  std::chrono::nanoseconds slowestAnswer{};
  SlowAnswers slow;
};

// The first answer to a block.
struct BlockAnswer {
  std::uint64_t lba = 0;
  std::uint32_t sectors = 0;
  sdk::ReadOutcome outcome = sdk::ReadOutcome::kRead;
  int error = 0;  // errno value of a read that failed
  std::uint64_t bytes = 0;
  // How long the disk had the block, and when it answered, on the reader's clock.
  std::chrono::nanoseconds took{};
  std::chrono::nanoseconds ended{};
};

// How the engine tells how far it is, and asks for the time.
struct SurfaceHooks {
  // At most four times a second, and at 0 and, when all was read, 100 percent. Never falls.
  std::function<void(int percent)> progress;
  // The first time that a sector is found to be unreadable.
  std::function<void(std::uint64_t lba)> firstBadSector;
  // For each block that came back, also with an error; not for the sectors of one that is read
  // again.
  std::function<void(const BlockAnswer&)> answer;
  std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
};

// Above so many unreadable sectors a failed block is counted as one and not read sector by sector,
// so that a dead disk of any size is still gone over in bounded time.
inline constexpr std::uint64_t kMostNarrowedSectors = 65536;

// Reads the blocks of the plan. A block that fails is read again sector by sector, one at a time,
// and only a sector that fails by itself is bad. No failed block is forgotten, however the run
// ends. Looks at the stop token at least every 100 ms.
SurfaceResult ReadSurface(sdk::BlockReader& reader, const SurfacePlan& plan, std::stop_token stop,
                          const SurfaceHooks& hooks,
                          std::uint64_t mostNarrowedSectors = kMostNarrowedSectors);

// The number of blocks of a range.
std::uint64_t CountBlocks(std::uint64_t firstLba, std::uint64_t lastLba,
                          std::uint32_t sectorsPerBlock);

}  // namespace orvan::storage

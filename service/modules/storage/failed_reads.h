#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "service/sdk/awake_clock.h"

namespace orvan::storage {

// Sectors that one read takes.
struct Extent {
  std::uint64_t lba = 0;
  std::uint32_t sectors = 0;
};

// A read that failed.
struct FailedRead {
  std::uint64_t id = 0;  // of the block, whose sectors are read later
  Extent extent;
  int error = 0;
  sdk::AwakeClock::Duration when{};
  bool isSector = false;   // read by itself
  bool isVouched = false;  // the disk has answered a read since
};

// The failed reads of a run that do not count yet. A disk that is pulled out may answer with errors
// for some seconds before it is gone, so a failure counts as one of the surface once the disk has
// answered another read, or has not vanished for a while.
class FailedReads {
 public:
  using Duration = sdk::AwakeClock::Duration;
  using Counter = std::function<void(const FailedRead&)>;

  // `count` takes each failure of the surface once, the oldest first.
  explicit FailedReads(Counter count) : count_(std::move(count)) {}

  // Blocks that failed and are to be read again, sector by sector.
  std::vector<FailedRead> blocks;

  // What is left of a failure after its sectors were read, or one of these sectors.
  void Suspect(const FailedRead& failure, Duration now);
  // The disk answers: what failed before is of its surface.
  void Vouch();
  std::uint64_t SuspectSectors() const { return suspectSectors_; }

  // The disk is gone: forgets what failed because it went.
  struct LastMoment {
    std::uint64_t reads = 0;
    std::optional<FailedRead> oldest;
  };
  LastMoment ForgetLastMoment(Duration now);
  // The run is over: all that is left counts.
  void CountAll();

 private:
  Counter count_;
  std::deque<FailedRead> suspects_;  // not counted yet, the oldest first
  std::uint64_t suspectSectors_ = 0;
};

}  // namespace orvan::storage

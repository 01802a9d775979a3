#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

#include "service/modules/storage/block_order.h"
#include "service/modules/storage/surface_read.h"
#include "service/sdk/context.h"
#include "service/sdk/machine.h"
#include "service/sdk/numbers.h"
#include "service/sdk/verdict.h"

namespace orvan::storage {

class HungDrives;

// How the tests of this module reach disks.
struct ReadEnvironment {
  sdk::Machine* machine = nullptr;
  std::chrono::seconds timeLimit{30};
  HungDrives* hung = nullptr;  // null: no drive is asked about itself
};

// The values that every test of a surface takes.
struct RangeValues {
  std::uint64_t blockKib = 0;
  std::uint64_t seconds = 0;   // 0: no cap
  std::uint64_t firstLba = 0;  // in sectors of the disk, and so is the next
  std::uint64_t lastLba = 0;   // 0: the end of the disk
};

// The values that every read test takes; each derives its own from them.
struct ReadValues : RangeValues {
  std::uint64_t slowMs = 3000;  // an answer that took longer is a slow one
};

// Far beyond any disk, and exact in every number that shows it.
inline constexpr std::uint64_t kGreatestLba = (std::uint64_t{1} << 53) - 1;
inline constexpr std::uint64_t kMostBlocks = 16777216;
inline constexpr std::uint64_t kMostSeconds = 604800;  // a week

inline constexpr sdk::Number kBlockKib{
    "block_kib", "BLOCK_SIZE_KIB", "|SIZE_OF_A_BLOCK_IN_|KI|B", 4, 4096, &RangeValues::blockKib};
inline constexpr sdk::Number kSeconds{
    "seconds", "SECONDS",    "|BEGIN_NO_BLOCK_AFTER_THIS_TIME,_0:_NO_LIMIT",
    0,         kMostSeconds, &RangeValues::seconds};
inline constexpr sdk::Number kFirstLba{"first_lba", "FIRST_SECTOR", "|FIRST_SECTOR_OF_THE_RANGE",
                                       0,           kGreatestLba,   &RangeValues::firstLba};
inline constexpr sdk::Number kLastLba{
    "last_lba", "LAST_SECTOR", "|LAST_SECTOR_OF_THE_RANGE,_0:_THE_END_OF_THE_DISK",
    0,          kGreatestLba,  &RangeValues::lastLba};

inline constexpr sdk::Number kSlowMs{
    "slow_ms", "SLOW_ANSWER_MS", "|WARN_OF_ANSWERS_THAT_TOOK_LONGER",
    1,         600000,           &ReadValues::slowMs};

// The number of blocks that a test reads, for values with a field `blocks`.
template <typename Values>
constexpr sdk::Number<Values> BlocksNumber() {
  return {"blocks", "BLOCKS", "|NUMBER_OF_BLOCKS_TO_READ", 1, kMostBlocks, &Values::blocks};
}

// What sets one read test apart from the others: one object for one run of it. The test's thread.
class ReadStyle {
 public:
  virtual ~ReadStyle() = default;

  // How many blocks are at the disk at once, and how many more are handed over behind them. Those
  // are read even when the time is up, so tests with a time cap take few. The time of an answer
  // holds the wait at the disk, so a test that measures how long one read takes has one there.
  struct Pace {
    std::uint32_t mostInFlight = 1;
    std::uint32_t queued = 1;
  };
  virtual Pace PaceOfReads() const { return {}; }
  // The order in which the blocks are read. Called once, before the first one.
  virtual BlockOrder Order(std::uint64_t totalBlocks) = 0;
  // What the operator is told when reading begins, as a message key; empty: nothing.
  virtual std::string Opening() const { return {}; }
  // True: a run that its time cap cut short is a warning, for the test's name says that all is
  // read.
  virtual bool PromisesAll() const { return false; }
  // The first answer to each block, in the order of the answers, good or bad.
  virtual void OnAnswer(const BlockAnswer& /*answer*/) {}
  // When all was read that will be: measures what this test alone counts, and has a say in the
  // verdict, which is that of every read test so far.
  virtual void Conclude(sdk::TestContext& /*context*/, const SurfaceResult& /*result*/,
                        sdk::Verdict& /*verdict*/) {}
};

// At most so many bytes are in flight at the disk.
inline constexpr std::uint64_t kMostBytesInFlight = 4U << 20;

// Fills the range of a plan from the values. Null, or the name of the parameter that does not fit
// the disk.
const char* FitRange(const RangeValues& values, const sdk::BlockGeometry& geometry,
                     SurfacePlan& plan);

// Runs one read test on the disk of the context.
sdk::Verdict RunReadTest(sdk::TestContext& context, const ReadEnvironment& environment,
                         const ReadValues& values, ReadStyle& style);

// A read test whose style is made of its values for each run.
template <typename Style, typename Values, std::size_t kCount>
sdk::TestWork MakeReadTest(const std::array<sdk::Number<Values>, kCount>& numbers,
                           const ReadEnvironment& environment, const Values& defaults) {
  return sdk::WorkOf(numbers, defaults,
                     [environment](sdk::TestContext& context, const Values& values) {
                       Style style(values);
                       return RunReadTest(context, environment, values, style);
                     });
}

}  // namespace orvan::storage

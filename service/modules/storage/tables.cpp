#include "service/modules/storage/tables.h"

#include "service/modules/storage/new_errors.h"
#include "service/modules/storage/read_tests.h"
#include "service/modules/storage/self_test/self_test_run.h"
#include "service/modules/storage/smart_status.h"
#include "service/modules/storage/write_compare.h"
#include "service/sdk/rows.h"

namespace orvan::storage {
namespace {

using sdk::MakeTest;

constexpr std::uint32_t kMajor = 5;  // of the version of each row

constexpr sdk::Row kFunnel{"FUNNEL_READ_TEST", "f", "funnel-read", sdk::TestKey(1, kMajor),
                           "reads outermost and innermost blocks in turn, toward the middle; up to "
                           "30 seconds, or two minutes with -E"};
constexpr sdk::Row kRandom{"RANDOM_READ_TEST", "r", "random-read", sdk::TestKey(2, kMajor),
                           "reads blocks in a random order; up to 10 seconds, or a minute with -E"};
constexpr sdk::Row kLinear{
    "LINEAR_READ_TEST", "l", "linear-read", sdk::TestKey(3, kMajor),
    "reads the whole surface from first to last sector; 1.5 to 2 hours for each TB of a "
    "rotating disk, 5 to 30 minutes of a solid-state one"};

constexpr sdk::Row kPerformance{
    "PERFORMANCE_READ_TEST", "p", "performance-read", sdk::TestKey(10, kMajor),
    "measures how fast 32 places are read and how soon random reads are answered; up to a "
    "minute, or half as much again to confirm"};

constexpr sdk::Row kWrite{
    "WRITE_TEST", "w", "write", sdk::TestKey(9, kMajor),
    "writes to an empty disk, reads back and compares, only when destructive=yes; about four times "
    "as long as l"};

constexpr sdk::Row kStatus{"SMART_STATUS_TEST", "s", "smart-status", sdk::TestKey(4, kMajor),
                           "asks the drive whether it expects to fail, and for telling numbers; "
                           "some seconds"};
constexpr sdk::Row kErrors{"ERROR_LOG_TEST", "e", "error-log", sdk::TestKey(5, kMajor),
                           "looks for errors that the drive has logged since the last run; some "
                           "seconds"};

constexpr sdk::Row kShortSelfTest{
    "SHORT_SELF_TEST", "t", "short-self-test", sdk::TestKey(6, kMajor),
    "has the drive test itself, in use or not, and reads its log; about 2 minutes"};
constexpr sdk::Row kExtendedSelfTest{
    "EXTENDED_SELF_TEST", "x", "extended-self-test", sdk::TestKey(7, kMajor),
    "has the drive test all of itself, in use or not, and reads its log; 2 to 3 hours for each TB "
    "of a rotating drive, 10 minutes to an hour of a solid-state one"};

constexpr sdk::Row kQuick{
    "QUICK_TEST", "Q", "quick", sdk::DiagnosticKey(1, kDiagnosticKindQuick, kMajor),
    "asks the drive about itself, samples the surface, then has the drive test itself; up to 3 "
    "minutes a disk"};
constexpr sdk::Row kExtended{"EXTENDED_TEST", "E", "extended",
                             sdk::DiagnosticKey(2, kDiagnosticKindExtended, kMajor),
                             "asks the drive about itself, samples the surface longer, measures "
                             "its speed, reads all of it, then has the drive test itself; 4 to 5 "
                             "hours for each TB of a rotating disk, up to 2 hours of a solid-state "
                             "one"};

// The ranges that tests read by default: the whole disk, in blocks of so many KiB.
constexpr RangeValues Range(std::uint64_t blockKib, std::uint64_t seconds) {
  return {.blockKib = blockKib, .seconds = seconds};
}

// The same for tests that read.
constexpr ReadValues Reading(std::uint64_t blockKib, std::uint64_t seconds) {
  return {Range(blockKib, seconds)};
}

// The one test that writes.
sdk::TestRecord MakeWriteTest(const ReadEnvironment& environment) {
  sdk::TestRecord test = MakeTest(kWrite, WriteCompare(environment, {Range(1024, 0), 0, 0, 2, 0}));
  test.needsOperator = true;
  test.mayWrite = true;
  return test;
}

// Changes no data, and what the drive does.
sdk::TestRecord MakeSelfTest(const sdk::Row& row, const DriveAccess& drives, SelfTestKind kind) {
  sdk::TestRecord test = MakeTest(row, {{}, [drives, kind](sdk::TestContext& context) {
                                          return RunSelfTest(context, drives, kind);
                                        }});
  test.mayWrite = true;
  return test;
}

}  // namespace

std::vector<sdk::DiagnosticRecord> MakeDiagnostics(const ReadEnvironment& environment,
                                                   const DriveAccess& drives) {
  const std::vector<sdk::TestRecord> quick = {
      MakeTest(kStatus, SmartStatusTest(drives)),
      MakeTest(kErrors, NewErrorsTest(drives)),
      MakeTest(kFunnel, FunnelRead(environment, {Reading(64, 30), 1024})),
      MakeTest(kRandom, RandomRead(environment, {Reading(64, 10), 4096})),
      MakeSelfTest(kShortSelfTest, drives, SelfTestKind::kShort),
  };
  const std::vector<sdk::TestRecord> extended = {
      MakeTest(kStatus, SmartStatusTest(drives)),
      MakeTest(kFunnel, FunnelRead(environment, {Reading(64, 0), 8192})),
      MakeTest(kRandom, RandomRead(environment, {Reading(64, 60), 65536})),
      MakeTest(kPerformance, PerformanceRead(environment, {Reading(1024, 30), 32, 2000, 0})),
      MakeTest(kLinear, LinearRead(environment, Reading(1024, 0))),
      MakeSelfTest(kExtendedSelfTest, drives, SelfTestKind::kExtended),
      MakeWriteTest(environment),
  };
  return {sdk::MakeDiagnostic(kQuick, quick), sdk::MakeDiagnostic(kExtended, extended)};
}

}  // namespace orvan::storage

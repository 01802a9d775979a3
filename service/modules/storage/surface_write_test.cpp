#include "service/modules/storage/surface_write.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/memory_disk.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using sdk::BlockGeometry;
using sdk::TransferResult;
using sdk::testing::MediumFaults;
using sdk::testing::MemoryDisk;

constexpr std::uint64_t kRun = 4711;
constexpr std::uint64_t kSectors = 2048;  // 1 MiB of 512 bytes
constexpr std::uint32_t kBlock = 128;

// Writes to a disk in memory, remembers in which order, and lets a test meddle before each call.
struct Bench final : sdk::BlockWriter {
  explicit Bench(MediumFaults faults = {}, BlockGeometry geometry = {kSectors * 512, 512, 512})
      : disk(geometry, std::move(faults)) {
    plan = {kRun, 0, geometry.sizeBytes / geometry.logicalSectorBytes - 1, kBlock};
    hooks.now = [this] { return now; };
    hooks.progress = [this](int percent) { percents.push_back(percent); };
  }

  const BlockGeometry& Geometry() const override { return disk.Geometry(); }
  TransferResult Write(std::uint64_t offset, std::span<const std::byte> data) override {
    return Do('w', [&] { return disk.Write(offset, data); });
  }
  TransferResult Read(std::uint64_t offset, std::span<std::byte> data) override {
    return Do('r', [&] { return disk.Read(offset, data); });
  }
  TransferResult Flush() override {
    return Do('f', [&] { return disk.Flush(); });
  }
  TransferResult Do(char kind, const std::function<TransferResult()>& work) {
    if (meddle) meddle(calls);
    ++calls;
    if (kinds.empty() || kinds.back() != kind) kinds += kind;
    if (kind != 'f') now += each;
    return answer ? *std::exchange(answer, std::nullopt) : work();
  }

  WriteResult Run(std::uint64_t mostFailed = kMostFailedSectors) {
    return WriteSurface(*this, plan, stop.get_token(), hooks, mostFailed);
  }
  std::vector<std::byte> Content(std::uint64_t lba) {
    std::vector<std::byte> sector(Geometry().logicalSectorBytes);
    EXPECT_TRUE(disk.Read(lba * sector.size(), sector).IsDone());
    return sector;
  }

  MemoryDisk disk;
  WritePlan plan;
  WriteHooks hooks;
  std::stop_source stop;
  std::chrono::steady_clock::time_point now{};
  std::chrono::milliseconds each{1};  // transfer takes so long
  std::function<void(int call)> meddle;
  std::optional<TransferResult> answer;  // of the next call, which does nothing
  int calls = 0;
  std::string kinds;  // of calls, one for a row of the same
  std::vector<int> percents;
};

void ExpectSound(const WriteResult& result) {
  EXPECT_EQ(result.end, WriteEnd::kComplete);
  EXPECT_TRUE(result.wrong.IsEmpty()) << result.wrong.Text(8);
  EXPECT_TRUE(result.unwritable.IsEmpty());
  EXPECT_TRUE(result.unreadable.IsEmpty());
}

TEST(WriteSurface, ASoundDiskHoldsThePatternOfTheLastPass) {
  for (const auto& [logical, physical] : {std::pair{512U, 512U}, {512U, 4096U}, {4096U, 4096U}}) {
    // The last block is short.
    Bench bench({}, {(kSectors + 3) * logical, logical, physical});
    const WriteResult result = bench.Run();
    ExpectSound(result);
    EXPECT_EQ(result.passesDone, 2U);
    EXPECT_EQ(result.bytesWritten, 2 * (kSectors + 3) * logical);
    EXPECT_EQ(result.bytesCompared, result.bytesWritten);
    EXPECT_EQ(result.sectorsTouched, kSectors + 3);
    EXPECT_EQ(bench.disk.WrittenSectors().size(), kSectors + 3);
    for (const std::uint64_t lba : {std::uint64_t{0}, std::uint64_t{127}, kSectors + 2}) {
      EXPECT_EQ(NameIn(bench.Content(lba)), (SectorName{kRun, 1, lba}));
    }
  }
}

TEST(WriteSurface, AllIsWrittenAndFlushedBeforeAnythingIsRead) {
  Bench bench;
  bench.plan.passes = 3;
  ExpectSound(bench.Run());
  EXPECT_EQ(bench.kinds, "wfrwfrwfr");
  EXPECT_EQ(bench.calls, 3 * (16 + 1 + 16));
}

TEST(WriteSurface, NothingOutsideItsRangeIsWritten) {
  Bench bench;
  bench.plan.firstLba = 100;
  bench.plan.lastLba = 300;
  const WriteResult result = bench.Run();
  ExpectSound(result);
  EXPECT_EQ(*bench.disk.WrittenSectors().begin(), 100U);
  EXPECT_EQ(*bench.disk.WrittenSectors().rbegin(), 300U);
  EXPECT_EQ(result.sectorsTouched, 201U);
}

TEST(WriteSurface, ASectorThatWasWrittenElsewhereIsNamedWithThatOtherOne) {
  Bench bench({.misplacedWrites = {{700, 100}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kComplete);
  EXPECT_EQ(result.wrong.Text(8), "100, 700");
  EXPECT_EQ(result.firstWrong.kind, SectorKind::kOtherAddress);
  EXPECT_EQ(result.firstWrong.name, (SectorName{kRun, 0, 700}));
  EXPECT_EQ(result.wrongKinds.at(SectorKind::kZeros), 1U);
  EXPECT_EQ(result.repeatsAfter, 0U);
  EXPECT_EQ(result.passesDone, 1U);
}

TEST(WriteSurface, AWriteThatIsLostLeavesWhatWasThere) {
  Bench fresh({.lostWrites = {55}});
  EXPECT_EQ(fresh.Run().firstWrong.kind, SectorKind::kZeros);

  Bench again;
  ExpectSound(again.Run());
  again.disk.faults.lostWrites = {55};
  ++again.plan.run;
  const WriteResult other = again.Run();
  EXPECT_EQ(other.wrong.Text(8), "55");
  EXPECT_EQ(other.firstWrong.kind, SectorKind::kOtherRun);
  EXPECT_EQ(other.firstWrong.name, (SectorName{kRun, 1, 55}));

  Bench late;
  late.meddle = [&late](int call) {
    if (call == 33) late.disk.faults.lostWrites = {55};  // the second pass begins
  };
  const WriteResult second = late.Run();
  EXPECT_EQ(second.wrong.Text(8), "55");
  EXPECT_EQ(second.firstWrong.kind, SectorKind::kOtherPass);
  EXPECT_EQ(second.firstWrong.name.pass, 0U);
  EXPECT_EQ(second.passesDone, 2U);
}

TEST(WriteSurface, ABitThatIsStuckIsFoundWhicheverWayItIsStuck) {
  for (int bit = 0; bit < 8; ++bit) {
    Bench bench({.stuckBits = {{5, {200, static_cast<std::byte>(1U << bit)}}}});
    const WriteResult result = bench.Run();
    EXPECT_EQ(result.wrong.Text(8), "5");
    EXPECT_EQ(result.firstWrong.kind, SectorKind::kBits);
    EXPECT_EQ(result.firstWrong.wrongBits, 1U);
    EXPECT_EQ(result.firstWrong.firstWrongByte, 200U);
  }
}

// Each address of the 1,000 that are there has what was last written to one of those that share it.
TEST(WriteSurface, ACapacityThatIsNotThereIsFound) {
  Bench bench({.realSectors = 1000});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.wrong.Text(8), "0-1047");
  EXPECT_EQ(result.firstWrong.name.lba, 2000U);
  EXPECT_EQ(result.repeatsAfter, 1000U);
}

TEST(WriteSurface, WritesBeyondTheCapacityThatAreDroppedAreFoundToo) {
  Bench bench;
  for (std::uint64_t lba = 1000; lba < kSectors; ++lba) bench.disk.faults.lostWrites.insert(lba);
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.wrong.Text(8), "1000-2047");
  EXPECT_EQ(result.repeatsAfter, 0U);
}

TEST(WriteSurface, ASectorThatCannotBeWrittenIsNamedOnceAndItsNeighboursAreWritten) {
  Bench bench({.failingWrites = {{300, EIO}, {302, EREMOTEIO}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kComplete);
  EXPECT_EQ(result.unwritable.Text(8), "300, 302");
  EXPECT_EQ(result.unwritable.FirstError(), EIO);
  EXPECT_TRUE(result.wrong.IsEmpty()) << result.wrong.Text(8);
  EXPECT_TRUE(result.unreadable.IsEmpty());
  EXPECT_EQ(result.passesDone, 1U);
  for (const std::uint64_t lba : {299U, 301U, 303U, 383U}) {
    EXPECT_EQ(NameIn(bench.Content(lba)), (SectorName{kRun, 0, lba}));
  }
}

TEST(WriteSurface, ASectorThatCannotBeReadBackIsNamed) {
  Bench bench({.breakingWrites = {{301, ENODATA}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.unreadable.Text(8), "301");
  EXPECT_EQ(result.unreadable.FirstError(), ENODATA);
  EXPECT_TRUE(result.unwritable.IsEmpty());
  EXPECT_TRUE(result.wrong.IsEmpty());
}

TEST(WriteSurface, WhatCouldNotBeWrittenIsNotNamedAgainWhenItCannotBeRead) {
  Bench bench({.badSectors = {{300, EIO}}, .failingWrites = {{300, EIO}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.unwritable.Text(8), "300");
  EXPECT_TRUE(result.unreadable.IsEmpty());
}

TEST(WriteSurface, TheLastSectorsFailuresCountToo) {
  Bench written({.failingWrites = {{kSectors - 1, EIO}}});
  EXPECT_EQ(written.Run().unwritable.Text(8), "2047");
  Bench read({.breakingWrites = {{kSectors - 1, EIO}}});
  const WriteResult result = read.Run();
  EXPECT_EQ(result.unreadable.Text(8), "2047");
  EXPECT_EQ(result.passesDone, 1U);
}

TEST(WriteSurface, AWriteThatHangsEndsTheRun) {
  Bench bench({.hangingWrites = {400}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kHung);
  EXPECT_EQ(result.endStep, WriteStep::kWriting);
  EXPECT_EQ(result.endLba, 384U);
  EXPECT_EQ(result.sectorsTouched, 512U);
}

TEST(WriteSurface, ADiskThatVanishesIsNamedWhereItDid) {
  Bench bench({.vanishAfter = 20});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kVanished);
  EXPECT_EQ(result.endStep, WriteStep::kReading);  // 16 writes and a flush lie before
  EXPECT_EQ(result.endLba, 384U);
  EXPECT_EQ(result.lastFailures, 0U);
}

TEST(WriteSurface, WhatFailedBecauseTheDiskWentDoesNotCountAgainstItsSurface) {
  for (const bool isSlow : {false, true}) {
    Bench bench;
    bench.meddle = [&bench, isSlow](int call) {
      if (call == 2) bench.answer = {TransferResult::Outcome::kFailed, EIO};
      if (call == 3 || call == 4) bench.answer = {TransferResult::Outcome::kFailed, EIO};
      if (call == 5 && isSlow) bench.now += 6s;
      if (call == 5) bench.answer = {TransferResult::Outcome::kFailed, ENODEV};
    };
    const WriteResult result = bench.Run();
    EXPECT_EQ(result.end, WriteEnd::kVanished);
    EXPECT_EQ(result.endLba, 258U);
    EXPECT_EQ(result.lastFailures, isSlow ? 0U : 2U);
    EXPECT_EQ(result.unwritable.Text(8), isSlow ? "256-257" : "");
  }
}

TEST(WriteSurface, APowerCutIsADiskThatVanishes) {
  Bench bench({.hasVolatileCache = true, .cutAfterWrites = 5});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kVanished);
  EXPECT_EQ(result.endLba, 5U * kBlock);
}

TEST(WriteSurface, AFlushThatFailsEndsTheRun) {
  Bench bench({.flushError = EIO});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kFlushFailed);
  EXPECT_EQ(result.endError, EIO);
  EXPECT_EQ(bench.kinds, "wf");
}

TEST(WriteSurface, WhatCouldNotBeTriedIsNoFaultOfTheDisk) {
  Bench bench;
  bench.meddle = [&bench](int call) {
    if (call == 20) bench.answer = {TransferResult::Outcome::kNotTried, ENOMEM};
  };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kOwnFault);
  EXPECT_EQ(result.endError, ENOMEM);
  EXPECT_TRUE(result.unreadable.IsEmpty());
}

TEST(WriteSurface, AStopEndsItBeforeTheNextTransfer) {
  Bench bench;
  bench.meddle = [&bench](int call) {
    if (call == 3) bench.stop.request_stop();
  };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kStopped);
  EXPECT_EQ(bench.calls, 4);
  EXPECT_EQ(result.sectorsTouched, 4U * kBlock);
  EXPECT_NE(bench.percents.back(), 100);
}

TEST(WriteSurface, AStopIsSeenAmongTheSectorsOfAFailedBlockAndInATransfer) {
  Bench sectors({.failingWrites = {{0, EIO}}});
  sectors.meddle = [&sectors](int call) {
    if (call == 9) sectors.stop.request_stop();
  };
  EXPECT_EQ(sectors.Run().end, WriteEnd::kStopped);
  EXPECT_EQ(sectors.calls, 10);
  Bench inside;
  inside.meddle = [&inside](int call) {
    if (call == 2) inside.answer = {TransferResult::Outcome::kStopped, 0};
  };
  EXPECT_EQ(inside.Run().end, WriteEnd::kStopped);
  EXPECT_EQ(inside.calls, 3);
}

TEST(WriteSurface, OfATimeCapEachStepHasItsShare) {
  Bench bench;
  bench.each = 1s;
  bench.plan.timeCap = 40s;
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kTimeCap);
  EXPECT_EQ(result.passesDone, 2U);
  EXPECT_EQ(result.sectorsTouched, 10U * kBlock);
  EXPECT_EQ(result.sectorsCompared, 10U * kBlock);
  EXPECT_EQ(result.sectorsPlanned, kSectors);
  EXPECT_EQ(bench.disk.WrittenSectors().size(), 10U * kBlock);
  EXPECT_EQ(bench.kinds, "wfrwfr");
}

TEST(WriteSurface, ReadingThatTakesLongerThanWritingIsCutToo) {
  Bench bench;
  bench.each = 1s;
  bench.plan.timeCap = 40s;
  bench.meddle = [&bench](int call) { bench.each = call < 10 ? 1s : 9s; };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kTimeCap);
  EXPECT_EQ(result.passesDone, 0U);
  EXPECT_EQ(result.sectorsCompared, 4U * kBlock);
}

TEST(WriteSurface, AtLeastOneBlockIsWritten) {
  Bench bench;
  bench.each = 9s;
  bench.plan.timeCap = 1s;
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kTimeCap);
  EXPECT_EQ(result.sectorsTouched, std::uint64_t{kBlock});
  EXPECT_EQ(result.sectorsCompared, 0U);
}

TEST(WriteSurface, NoMoreIsTriedOnceTooManySectorsFailed) {
  Bench bench;
  for (std::uint64_t lba = 500; lba < kSectors; ++lba) bench.disk.faults.failingWrites[lba] = EIO;
  const WriteResult result = bench.Run(10);
  EXPECT_EQ(result.end, WriteEnd::kTooBad);
  EXPECT_EQ(result.unwritable.Text(8), "500-509");
  EXPECT_EQ(bench.kinds, "w");
}

TEST(WriteSurface, ProgressNeverFallsAndEndsAtAHundred) {
  Bench bench;
  bench.each = 300ms;
  ExpectSound(bench.Run());
  EXPECT_EQ(bench.percents.front(), 0);
  EXPECT_EQ(bench.percents.back(), 100);
  EXPECT_GT(bench.percents.size(), 50U);
  for (std::size_t i = 1; i < bench.percents.size(); ++i) {
    EXPECT_GE(bench.percents[i], bench.percents[i - 1]);
    EXPECT_TRUE(bench.percents[i] < 100 || i + 1 == bench.percents.size());
  }
  // Half of the way when the first of two passes is done.
  EXPECT_EQ(bench.percents[32], 50);
}

TEST(WriteSurface, TransfersAreMeasured) {
  Bench bench;
  bench.meddle = [&bench](int call) { bench.each = call == 7 ? 4s : call == 20 ? 3s : 1s; };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.slowestWrite, 4s);
  EXPECT_EQ(result.slowestRead, 3s);
  EXPECT_EQ(result.writing, 32s + 3s);
  EXPECT_EQ(result.reading, 32s + 2s);
}

}  // namespace
}  // namespace orvan::storage

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/surface_write.h"
#include "tests/support/memory_disk.h"

// What the tests of writing a surface share.
namespace orvan::storage {

inline constexpr std::uint64_t kWriteRun = 4711;
inline constexpr std::uint64_t kWrittenSectors = 2048;  // 1 MiB of 512 bytes
inline constexpr std::uint32_t kWrittenBlock = 128;

// Writes to a disk in memory, remembers in which order, and lets a test meddle before each call.
struct SurfaceWriteBench final : sdk::BlockWriter {
  explicit SurfaceWriteBench(sdk::testing::MediumFaults faults = {},
                             sdk::BlockGeometry geometry = {kWrittenSectors * 512, 512, 512})
      : disk(geometry, std::move(faults)) {
    plan = {kWriteRun, 0, geometry.sizeBytes / geometry.logicalSectorBytes - 1, kWrittenBlock};
    hooks.now = [this] { return now; };
    hooks.progress = [this](int percent) { percents.push_back(percent); };
  }

  const sdk::BlockGeometry& Geometry() const override { return disk.Geometry(); }
  sdk::TransferResult Write(std::uint64_t offset, std::span<const std::byte> data) override {
    return Do('w', [&] { return disk.Write(offset, data); });
  }
  sdk::TransferResult Read(std::uint64_t offset, std::span<std::byte> data) override {
    return Do('r', [&] { return disk.Read(offset, data); });
  }
  sdk::TransferResult Flush() override {
    return Do('f', [&] { return disk.Flush(); });
  }
  sdk::TransferResult Do(char kind, const std::function<sdk::TransferResult()>& work) {
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

  sdk::testing::MemoryDisk disk;
  WritePlan plan;
  WriteHooks hooks;
  std::stop_source stop;
  std::chrono::steady_clock::time_point now{};
  std::chrono::milliseconds each{1};  // transfer takes so long
  std::function<void(int call)> meddle;
  std::optional<sdk::TransferResult> answer;  // of the next call, which does nothing
  int calls = 0;
  std::string kinds;  // of calls, one for a row of the same
  std::vector<int> percents;
};

inline void ExpectSound(const WriteResult& result) {
  EXPECT_EQ(result.end, WriteEnd::kComplete);
  EXPECT_TRUE(result.wrong.IsEmpty()) << result.wrong.Text(8);
  EXPECT_TRUE(result.unwritable.IsEmpty());
  EXPECT_TRUE(result.unreadable.IsEmpty());
}

}  // namespace orvan::storage

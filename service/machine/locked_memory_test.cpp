#include "service/machine/locked_memory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <vector>

#include "tests/support/refusing_kernel.h"

namespace orvan::machine {
namespace {

constexpr std::size_t kBytes = 1U << 20;

std::size_t PageBytes() {
  return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::uint64_t LockedKib() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::uint64_t kib = 0;
    if (word == "VmLck:" && status >> kib) return kib;
  }
  return 0;
}

TEST(LockedMemory, IsResidentAndLockedAndGivenBackAtItsEnd) {
  const std::uint64_t before = LockedKib();
  {
    const sdk::LockedMemoryResult result = LockPages(kBytes);
    ASSERT_NE(result.memory, nullptr) << result.error;
    EXPECT_EQ(result.error, 0);
    ASSERT_EQ(result.memory->Bytes().size(), kBytes);
    EXPECT_EQ(LockedKib(), before + kBytes / 1024);
    std::vector<unsigned char> resident(kBytes / PageBytes());
    ASSERT_EQ(mincore(result.memory->Bytes().data(), kBytes, resident.data()), 0);
    for (const unsigned char page : resident) EXPECT_EQ(page & 1, 1);
    for (std::byte& byte : result.memory->Bytes()) byte = std::byte{0x5A};
  }
  EXPECT_EQ(LockedKib(), before);
}

TEST(LockedMemory, TellsWhereItLiesToWhoMayKnow) {
  const sdk::LockedMemoryResult result = LockPages(kBytes);
  ASSERT_NE(result.memory, nullptr) << result.error;
  const auto first = result.memory->PhysicalAddress(0);
  const auto third = result.memory->PhysicalAddress(2);
  if (geteuid() == 0) {
    ASSERT_TRUE(first && third);
    EXPECT_EQ(*first % PageBytes(), 0U);
    EXPECT_EQ(*third, *first + 2);
    EXPECT_TRUE(result.memory->PhysicalAddress(kBytes - 1));
  }
  EXPECT_FALSE(result.memory->PhysicalAddress(kBytes));
}

TEST(LockedMemory, AFrameThatIsNotToldIsNone) {
  WhereTheKernelRefuses({SYS_openat, EACCES}, [] {
    const sdk::LockedMemoryResult result = LockPages(kBytes);
    ASSERT_NE(result.memory, nullptr) << result.error;
    EXPECT_FALSE(result.memory->PhysicalAddress(0));
  });
}

TEST(LockedMemory, WhatTheKernelRefusesHasItsErrorAndLeavesNothing) {
  EXPECT_EQ(LockPages(0).error, EINVAL);
  EXPECT_EQ(LockPages(~std::size_t{0} / 2).error, ENOMEM);
  for (const int error : {ENOMEM, EPERM, EAGAIN}) {
    WhereTheKernelRefuses({SYS_mlock, error}, [error] {
      const sdk::LockedMemoryResult result = LockPages(kBytes);
      EXPECT_EQ(result.memory, nullptr);
      EXPECT_EQ(result.error, error);
    });
  }
}

}  // namespace
}  // namespace orvan::machine

#include "service/modules/storage/locked_drive.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

#include "service/modules/storage/smart_test_support.h"
#include "service/modules/storage/tables.h"
#include "service/sdk/module_test_support.h"

namespace orvan::storage {
namespace {

constexpr std::uint64_t kSectors = 4096;

// A drive on which each sector from `firstBad` on is unreadable, and its identity.
struct LockableDrive : HealthBench {
  explicit LockableDrive(std::uint16_t security, Transport transport = Transport::kSata)
      : HealthBench(transport) {
    Answer("EC", BytesOf(HealthyIdentity().PutWord(128, security)));
    sdk::testing::FaultyDisk& disk = machine.disks[facts.devicePath];
    disk.medium = std::make_shared<sdk::testing::MemoryDisk>(
        sdk::BlockGeometry{kSectors * 512, 512, 512}, sdk::testing::MediumFaults{});
    disk.deviceNumber = facts.deviceNumber;
    disk.diskSequence = facts.diskSequence;
  }

  sdk::Verdict Run(std::uint64_t firstBad) {
    for (std::uint64_t lba = firstBad; lba < kSectors; ++lba) {
      machine.disks[facts.devicePath].reads.badSectors[lba] = EIO;
    }
    const Disk disk("0", facts, true);
    const auto diagnostics = MakeDiagnostics({&machine, std::chrono::seconds(30), &hung});
    sdk::testing::RememberingContext context(&disk, {});
    return sdk::testing::FindTest(diagnostics, "E", "l").run(context);
  }
};

// ATA security: supported, a password is set, locked.
constexpr std::uint16_t kLocked = 0x0007;
constexpr std::uint16_t kUnlocked = 0x0003;

TEST(LockedDrive, IsNotCalledFaulty) {
  LockableDrive drive(kLocked);
  const sdk::Verdict verdict = drive.Run(0);
  EXPECT_EQ(verdict.status, kTestNotApplicable);
  EXPECT_EQ(verdict.message, "|THE_DRIVE_IS_LOCKED_BY_A_PASSWORD,_SO_NOTHING_ON_IT_CAN_BE_READ");
}

TEST(LockedDrive, IsAskedOnlyWhenNothingCouldBeRead) {
  LockableDrive some(kLocked);
  EXPECT_EQ(some.Run(2048).status, kTestFailed);
  EXPECT_TRUE(some.Sent().empty());
  LockableDrive sound(kLocked);
  EXPECT_EQ(sound.Run(kSectors).status, kTestPassed);
  EXPECT_TRUE(sound.Sent().empty());
}

TEST(LockedDrive, IsNoneThatDoesNotSaySo) {
  EXPECT_EQ(LockableDrive(kUnlocked).Run(0).status, kTestFailed);
  EXPECT_EQ(LockableDrive(kLocked, Transport::kNvme).Run(0).status, kTestFailed);
  LockableDrive silent(kLocked);
  silent.machine.commands.clear();
  EXPECT_EQ(silent.Run(0).status, kTestFailed);
}

}  // namespace
}  // namespace orvan::storage

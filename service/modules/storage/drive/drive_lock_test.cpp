#include "service/modules/storage/drive/drive_lock.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/ata/ata_test_support.h"
#include "service/modules/storage/drive/drive_test_support.h"
#include "service/modules/storage/read_test_support.h"

namespace orvan::storage {
namespace {

// IDENTIFY DEVICE of a drive whose word 128 is this.
ata::Pages IdentityWith(std::uint16_t security) {
  ata::Pages pages;
  pages.PutWord(0, 0x0040).PutText(10, 10, "SN").PutText(27, 20, "MD").PutWord(128, security);
  return pages;
}

constexpr std::uint16_t kNoPassword = 0x0001;
constexpr std::uint16_t kUnlocked = 0x0003;
constexpr std::uint16_t kLocked = 0x0007;

// A disk in memory whose drive answers, and a read test of it.
struct LockBench {
  explicit LockBench(std::uint16_t wordOfSearch, Transport transport = Transport::kSata) {
    DiskFacts facts = FactsOf(transport);
    if (wordOfSearch != 0) {
      facts.identify = ata::DecodeIdentify(IdentityWith(wordOfSearch)).value;
    }
    bench.disk = Disk("0", facts, true);
    bench.onSend = [this](const sdk::DriveCommand& command) {
      EXPECT_TRUE(IsIdentify(command));
      ++asked;
      const Bytes page = answers;
      return Good({page.begin(), page.end()});
    };
  }
  sdk::Verdict Read() {
    const auto diagnostics = MakeDiagnostics({&bench, std::chrono::seconds(30), &hung});
    return bench.Run(sdk::testing::FindTest(diagnostics, "Q", "f").run, {});
  }

  ReadBench bench;
  HungDrives hung;
  ata::Pages answers = IdentityWith(kLocked);
  int asked = 0;
};

TEST(LockedDrive, IsNotReadAndNotBlamed) {
  LockBench bench(kLocked);
  bench.bench.onOpen = [] { FAIL() << "it was opened"; };
  const sdk::Verdict verdict = bench.Read();
  EXPECT_EQ(verdict.status, kTestInvalid);
  EXPECT_EQ(verdict.message, "|THE_DRIVE_IS_LOCKED_BY_A_PASSWORD,_SO_NOTHING_ON_IT_CAN_BE_READ");
}

TEST(LockedDrive, IsNotWrittenEither) {
  LockBench bench(kLocked);
  const auto diagnostics = MakeDiagnostics({&bench.bench, std::chrono::seconds(30), &bench.hung});
  const auto write = [&] {
    return bench.bench.Run(sdk::testing::FindTest(diagnostics, "E", "w").run,
                           {{"destructive", "TRUE"}});
  };
  const sdk::Verdict verdict = write();
  EXPECT_EQ(verdict.status, kTestInvalid);
  EXPECT_TRUE(verdict.message.starts_with("|THE_DRIVE_IS_LOCKED")) << verdict.message;
  // What is not locked is gone on with, which the machine of this test does not take.
  bench.answers = IdentityWith(kUnlocked);
  EXPECT_THROW(write(), std::logic_error);
}

TEST(LockedDrive, IsReadOnceSomebodyHasUnlockedIt) {
  LockBench bench(kLocked);
  bench.answers = IdentityWith(kUnlocked);
  EXPECT_EQ(bench.Read().status, kTestPassed);
}

// As after a cut of its power.
TEST(LockedDrive, ThatLocksItselfWhileItIsReadIsNotBlamed) {
  LockBench bench(kUnlocked);
  bench.bench.faults.badSectors = {{5, EIO}};
  bench.answers = IdentityWith(kUnlocked);
  bench.bench.onOpen = [&bench] { bench.answers = IdentityWith(kLocked); };
  const sdk::Verdict verdict = bench.Read();
  EXPECT_EQ(verdict.status, kTestInvalid);
  EXPECT_TRUE(verdict.message.starts_with("|THE_DRIVE_IS_LOCKED_BY_A_PASSWORD,_"));
  EXPECT_NE(verdict.message.find("_FIRST_|L|B|A_5,"), std::string::npos) << verdict.message;
}

TEST(LockedDrive, IsAskedForOnlyWhereItMayBeOne) {
  LockBench sound(kNoPassword);
  sound.bench.faults.badSectors = {{5, EIO}};
  EXPECT_EQ(sound.Read().status, kTestFailed);
  EXPECT_EQ(sound.asked, 0);
  // Nothing was told of a password when it was found.
  LockBench silent(0);
  EXPECT_EQ(silent.Read().status, kTestPassed);
  EXPECT_EQ(silent.asked, 0);
  silent.bench.faults.badSectors = {{5, EIO}};
  EXPECT_EQ(silent.Read().status, kTestInvalid);
  EXPECT_EQ(silent.asked, 1);
  LockBench other(0, Transport::kNvme);
  other.bench.faults.badSectors = {{5, EIO}};
  EXPECT_EQ(other.Read().status, kTestFailed);
  EXPECT_EQ(other.asked, 0);
}

TEST(LockedDrive, IsNoneThatDoesNotSaySo) {
  LockBench bench(kUnlocked);
  bench.bench.faults.badSectors = {{5, EIO}};
  bench.answers = IdentityWith(kUnlocked);
  EXPECT_EQ(bench.Read().status, kTestFailed);
  bench.answers.Cut(100);
  EXPECT_EQ(bench.Read().status, kTestFailed);
}

TEST(LockedDrive, ThatVanishesHasFailed) {
  LockBench bench(kUnlocked);
  bench.answers = IdentityWith(kUnlocked);
  bench.bench.faults.badSectors = {{5, EIO}};
  bench.bench.faults.vanishAfterReads = 20;
  bench.bench.onOpen = [&bench] { bench.answers = IdentityWith(kLocked); };
  EXPECT_EQ(bench.Read().status, kTestFailed);
}

}  // namespace
}  // namespace orvan::storage

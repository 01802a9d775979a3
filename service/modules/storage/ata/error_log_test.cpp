#include "service/modules/storage/ata/error_log.h"

#include <gtest/gtest.h>

#include "service/modules/storage/ata/ata_test_support.h"
#include "service/modules/storage/ata/commands.h"
#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::ata {
namespace {

std::size_t EntryAt(std::size_t place) {
  return 2 + (place - 1) * 90;
}

std::size_t ExtendedEntryAt(std::size_t place) {
  return (place - 1) / 4 * kPageBytes + 4 + (place - 1) % 4 * 124;
}

Pages Log(int index, int count) {
  return Pages().Put(0, {1, index}).Put(452, {count & 0xFF, count >> 8});
}

// READ DMA of 8 sectors from 0A123450h on, whose third is unreadable, 300 hours in.
Pages& AddReadError(Pages& page, std::size_t at) {
  return page.Put(at + 48, {0x08, 0x11, 0x08, 0x50, 0x34, 0x12, 0xEA, 0xC8, 0x10, 0x27, 0, 0})
      .Put(at + 60, {0, 0x40, 0x06, 0x52, 0x34, 0x12, 0xEA, 0x51})
      .Put(at + 60 + 27, {0x03, 0x2C, 0x01});
}

TEST(AtaErrorLogTest, ReadsTheNewestErrorWithItsCommand) {
  Pages page = Log(1, 0x0102);
  AddReadError(page, EntryAt(1));
  page.Put(EntryAt(5) + 48 + 7, {0xCA}).Put(EntryAt(5) + 61, {0x84}).Seal();
  const Decoded<ErrorLog> log = DecodeSummaryErrorLog(page);
  ASSERT_TRUE(log.value);
  EXPECT_EQ(log.trouble, "");
  EXPECT_EQ(log.value->count, 0x0102);
  ASSERT_EQ(log.value->errors.size(), 2U);
  const LoggedError& newest = log.value->errors[0];
  EXPECT_EQ(newest.command, 0xC8);
  EXPECT_EQ(newest.asked, (Registers{0x11, 0x08, 0x0A123450, 0xEA}));
  EXPECT_EQ(newest.milliseconds, 10000U);
  EXPECT_EQ(newest.error, 0x40);
  EXPECT_EQ(newest.status, 0x51);
  EXPECT_EQ(newest.left, (Registers{0, 0x06, 0x0A123452, 0xEA}));
  EXPECT_EQ(newest.state, 0x03);
  EXPECT_EQ(newest.powerOnHours, 300);
  EXPECT_EQ(newest.FailingLba(), 0x0A123452U);
  EXPECT_EQ(ErrorWords(newest), "uncorrectable data (UNC)");
  EXPECT_EQ(ErrorWords(log.value->errors[1]),
            "checksum of a transfer (ICRC), command aborted (ABRT)");
  EXPECT_EQ(log.value->errors[1].FailingLba(), std::nullopt);
}

TEST(AtaErrorLogTest, ReadsTheEmulatorsDriveThatHasNone) {
  const Decoded<ErrorLog> log = DecodeSummaryErrorLog(FromHexFile("ata/emulator_error_log.hex"));
  ASSERT_TRUE(log.value);
  EXPECT_EQ(log.trouble, "");
  EXPECT_EQ(log.value->count, 0);
  EXPECT_TRUE(log.value->errors.empty());
}

TEST(AtaErrorLogTest, DistrustsWhatCannotBe) {
  const auto trouble = [](const Pages& page) {
    const Decoded<ErrorLog> log = DecodeSummaryErrorLog(page);
    EXPECT_FALSE(log.value);
    return log.trouble;
  };
  Pages sound = Log(1, 1);
  AddReadError(sound, EntryAt(1)).Seal();
  EXPECT_EQ(trouble(Pages(sound).Cut(454)), "the answer has 454 of 512 bytes");
  EXPECT_EQ(trouble(Pages(sound).Put(452, {9})), "the checksum of the error log is wrong");
  EXPECT_EQ(trouble(Pages(sound).Put(0, {7}).Seal()),
            "the error log has version 7, 1 was expected");
  EXPECT_EQ(trouble(Pages(sound).Put(1, {6}).Seal()),
            "the newest entry of the error log is number 6, the answer has 5");
  EXPECT_EQ(trouble(Pages(sound).Put(1, {3}).Seal()),
            "the newest entry of the error log is number 3, which is empty");
  EXPECT_EQ(trouble(Pages()), "the answer is nothing but zeros");
}

TEST(AtaErrorLogTest, SaysThatItCountsLessThanItHas) {
  Pages page = Log(1, 0);
  AddReadError(page, EntryAt(1)).Seal();
  const Decoded<ErrorLog> log = DecodeSummaryErrorLog(page);
  ASSERT_TRUE(log.value);
  EXPECT_EQ(log.trouble, "the error log counts 0 errors and has 1");
}

// READ FPDMA QUEUED of LBA 0605 0403 0201h; the drive says that 0605 0403 0209h is unreadable.
Pages& AddQueuedError(Pages& pages, std::size_t at) {
  return pages
      .Put(at + 72, {0x00, 0x08, 0x01, 0xF8, 0x00, 0x01, 0x04, 0x02, 0x05, 0x03, 0x06, 0x40, 0x60,
                     0x00, 0x78, 0x56, 0x34, 0x12})
      .Put(at + 90, {0, 0x40, 0x00, 0x01, 0x09, 0x04, 0x02, 0x05, 0x03, 0x06, 0x40, 0x41})
      .Put(at + 90 + 31, {0x03, 0x10, 0x27});
}

TEST(AtaErrorLogTest, ReadsTheExtendedLogOverItsPages) {
  Pages pages = Pages(2).Put(0, {1, 0, 5, 0}).Put(500, {0x05, 0x00});
  AddQueuedError(pages, ExtendedEntryAt(5));
  // READ DMA, whose LBA has its upper 4 bits in the device register.
  pages.Put(ExtendedEntryAt(4) + 72 + 5, {0x50, 0, 0x34, 0, 0x12, 0, 0xEA, 0xC8})
      .Put(ExtendedEntryAt(4) + 91, {0x10})
      .Put(ExtendedEntryAt(4) + 94, {0x52, 0, 0x34, 0, 0x12, 0, 0xEA, 0x71})
      .Seal();
  const Decoded<ErrorLog> log = DecodeExtendedErrorLog(pages);
  ASSERT_TRUE(log.value);
  EXPECT_EQ(log.value->count, 5);
  ASSERT_EQ(log.value->errors.size(), 2U);
  const LoggedError& newest = log.value->errors[0];
  EXPECT_EQ(newest.command, 0x60);
  EXPECT_EQ(newest.asked, (Registers{0x0108, 0x00F8, 0x060504030201, 0x40}));
  EXPECT_EQ(newest.milliseconds, 0x12345678U);
  EXPECT_EQ(newest.error, 0x40);
  EXPECT_EQ(newest.status, 0x41);
  EXPECT_EQ(newest.left, (Registers{0, 0x0100, 0x060504030209, 0x40}));
  EXPECT_EQ(newest.powerOnHours, 10000);
  EXPECT_EQ(newest.FailingLba(), 0x060504030209U);
  const LoggedError& older = log.value->errors[1];
  EXPECT_EQ(older.asked.lba, 0x0A123450U);
  EXPECT_EQ(older.FailingLba(), 0x0A123452U);
  EXPECT_EQ(ErrorWords(older), "sector not found (IDNF), device fault (DF)");

  EXPECT_EQ(DecodeExtendedErrorLog(Part(pages, 0, kPageBytes)).trouble,
            "the newest entry of the extended error log is number 5, the answer has 4");
  EXPECT_EQ(DecodeExtendedErrorLog(pages.Put(kPageBytes + 4, {1})).trouble,
            "the checksum of the extended error log is wrong");
}

// Some drives write the halves of their addresses one behind the other. An unreadable sector that
// is not on the disk gives them away.
TEST(AtaErrorLogTest, ReadsAddressesOfDrivesThatWriteThemInOrder) {
  Pages pages = Pages(1).Put(0, {1, 0, 2, 0}).Put(500, {0x02, 0x00});
  const std::size_t first = ExtendedEntryAt(1), second = ExtendedEntryAt(2);
  pages.Put(first + 72 + 5, {0x00, 0x03, 0x02, 0x01, 0, 0, 0xE0, 0x25})
      .Put(first + 90, {0, 0x40, 0, 0, 0x08, 0x03, 0x02, 0x01, 0, 0, 0xE0, 0x51});
  pages.Put(second + 72 + 5, {0x50, 0x34, 0x12, 0, 0, 0, 0xEA, 0xC8})
      .Put(second + 90, {0, 0x40, 0, 0, 0x52, 0x34, 0x12, 0, 0, 0, 0xEA, 0x51})
      .Seal();
  const auto read = [&pages](std::optional<std::uint64_t> sectors) {
    std::vector<std::uint64_t> found;
    const Decoded<ErrorLog> log = DecodeExtendedErrorLog(pages, sectors);
    for (const LoggedError& error : log.value.value().errors) {
      found.push_back(error.FailingLba().value());
      found.push_back(error.asked.lba);
    }
    return found;
  };
  using Lbas = std::vector<std::uint64_t>;
  EXPECT_EQ(read(0x10000000), (Lbas{0x0A123452, 0x0A123450, 0x01020308, 0x01020300}));
  // As the standard has it, where nothing speaks against that, or the other order explains nothing.
  const Lbas standard = {0x0A001252, 0x0A001250, 0x0103000208, 0x0103000200};
  EXPECT_EQ(read(std::nullopt), standard);
  EXPECT_EQ(read(0x0103000209), standard);
  EXPECT_EQ(read(0x01020308), standard);
}

// A host may ask for what is not on the disk; the drive answers that it does not find it.
TEST(AtaErrorLogTest, TakesASectorThatIsNotFoundForNoWitness) {
  Pages pages = Pages(1).Put(0, {1, 0, 1, 0}).Put(500, {0x01, 0x00});
  pages.Put(ExtendedEntryAt(1) + 72 + 12, {0x25})
      .Put(ExtendedEntryAt(1) + 90, {0, 0x10, 0, 0, 0, 0, 0, 0x01, 0, 0, 0xE0, 0x51})
      .Seal();
  const Decoded<ErrorLog> log = DecodeExtendedErrorLog(pages, 0x02000000);
  EXPECT_EQ(log.value.value().errors.at(0).FailingLba(), std::uint64_t{1} << 32);
}

TEST(AtaErrorLogTest, HasWordsForStatesAndCommands) {
  EXPECT_EQ(ErrorWords(LoggedError{}), "no error bit");
  LoggedError lost;
  lost.error = 0x05;
  lost.left.lba = 4096;
  EXPECT_EQ(ErrorWords(lost), "command aborted (ABRT), address mark not found (AMNF)");
  EXPECT_EQ(lost.FailingLba(), 4096U);
  EXPECT_EQ(StateWords(0x03), "active or idle");
  EXPECT_EQ(StateWords(0xA4), "off-line data collection or self-test");
  EXPECT_EQ(StateWords(0x0B), "reserved");
  EXPECT_EQ(CommandName(0xC8), "READ DMA");
  EXPECT_EQ(CommandName(0xC7), "command C7h");
  EXPECT_TRUE(Has28BitLba(0xC8));
  EXPECT_FALSE(Has28BitLba(0x25));
  EXPECT_FALSE(Has28BitLba(0xC7));
}

}  // namespace
}  // namespace orvan::storage::ata

#include "service/recording/page_secrets.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/recording_test_support.h"

namespace orvan::recording {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Put(Bytes& page, std::size_t at, const std::string& text) {
  std::copy(text.begin(), text.end(), page.begin() + static_cast<std::ptrdiff_t>(at));
}

std::string TextAt(const Bytes& page, std::size_t at, std::size_t size) {
  return {page.begin() + static_cast<std::ptrdiff_t>(at),
          page.begin() + static_cast<std::ptrdiff_t>(at + size)};
}

std::string Swapped(std::string text) {
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) std::swap(text[i], text[i + 1]);
  return text;
}

// IDENTIFY DEVICE data of a drive with the serial number "QM00001", and a checksum.
Bytes Identify() {
  Bytes page(512, 0);
  Put(page, 20, Swapped("QM00001             "));
  Put(page, 46, Swapped("2.5+    "));
  Put(page, 54, Swapped("QEMU HARDDISK                           "));
  const Bytes name = {0x00, 0x50, 0x00, 0xc5, 0xb2, 0xa1, 0xd4, 0xc3};
  std::copy(name.begin(), name.end(), page.begin() + 216);
  page[510] = 0xA5;
  unsigned sum = 0;
  for (const std::uint8_t byte : page) sum += byte;
  page[511] = static_cast<std::uint8_t>(0x100 - (sum & 0xFF));
  return page;
}

sdk::DriveCommand AtaCommandOf(std::uint8_t code, std::uint64_t lba = 0) {
  sdk::DriveCommand command;
  sdk::AtaCommand ata;
  ata.command = code;
  ata.lba = lba;
  command.command = ata;
  return command;
}

sdk::DriveCommand ScsiCommandOf(std::vector<std::uint8_t> cdb) {
  sdk::DriveCommand command;
  command.command = sdk::ScsiCommand{std::move(cdb)};
  return command;
}

sdk::DriveCommand NvmeCommandOf(std::uint8_t opcode, std::uint32_t dword10) {
  sdk::DriveCommand command;
  sdk::NvmeAdminCommand nvme;
  nvme.opcode = opcode;
  nvme.dwords[0] = dword10;
  command.command = nvme;
  return command;
}

TEST(PageSecretsTest, IdentifyDataKeepsModelAndChecksum) {
  Secrets secrets(KeyOf(1));
  const Bytes before = Identify();
  // By the command itself, in both forms of pass-through, and from the log that holds a copy.
  std::vector<std::uint8_t> cdb16(16, 0), cdb12(12, 0);
  cdb16[0] = 0x85;
  cdb16[14] = 0xEC;
  cdb12[0] = 0xA1;
  cdb12[9] = 0xEC;
  for (const sdk::DriveCommand& command : {AtaCommandOf(0xEC), AtaCommandOf(0x2F, 0x0130),
                                           ScsiCommandOf(cdb16), ScsiCommandOf(cdb12)}) {
    Bytes page = before;
    HideInAnswer(secrets, command, page);
    EXPECT_EQ(Swapped(TextAt(page, 20, 20)), secrets.Hide("QM00001") + std::string(13, ' '));
    EXPECT_EQ(TextAt(page, 46, 48), TextAt(before, 46, 48));
    unsigned sum = 0;
    for (const std::uint8_t byte : page) sum += byte;
    EXPECT_EQ(sum & 0xFF, 0U);
    // The number is that of the text elsewhere.
    std::string name;
    for (const std::size_t at : {217U, 216U, 219U, 218U, 221U, 220U, 223U, 222U}) {
      name += {"0123456789abcdef"[page[at] >> 4], "0123456789abcdef"[page[at] & 15]};
    }
    EXPECT_EQ(name, StandInOf(KeyOf(1), "5000c500a1b2c3d4"));
  }
}

TEST(PageSecretsTest, VitalProductDataIsHiddenInFilesAndAnswers) {
  Secrets secrets(KeyOf(1));
  std::string serial("\0\x80\0\x10      S1234567  ", 20);
  EXPECT_TRUE(HideInPageFile(secrets, "/sys/block/sda/device/vpd_pg80", serial));
  EXPECT_EQ(serial, std::string("\0\x80\0\x10      ", 10) + secrets.Hide("S1234567") + "  ");
  // A binary designator, and one with a vendor in front.
  std::string names(
      "\0\x83\0\x20\x01\x03\0\x08\x50\0\xc5\0\xa1\xb2\xc3\xd4\x02\x01\0\x10VENDOR  S1234567", 36);
  std::string copy = names;
  EXPECT_TRUE(HideInPageFile(secrets, "/sys/block/sda/device/vpd_pg83", copy));
  EXPECT_EQ(copy.substr(0, 8), names.substr(0, 8));
  EXPECT_NE(copy.substr(8, 8), names.substr(8, 8));
  EXPECT_EQ(copy.substr(16, 12), names.substr(16, 12));
  EXPECT_EQ(copy.substr(28), secrets.Hide("S1234567"));
  Bytes page(names.begin(), names.end());
  HideInAnswer(secrets, ScsiCommandOf({0x12, 1, 0x83, 0, 64, 0}), page);
  EXPECT_EQ(std::string(page.begin(), page.end()), copy);
  Bytes standard(96, 0);
  Put(standard, 8, "VENDOR  MODEL           1.0 X1234567            ");
  HideInAnswer(secrets, ScsiCommandOf({0x12, 0, 0, 0, 96, 0}), standard);
  EXPECT_EQ(TextAt(standard, 8, 28), "VENDOR  MODEL           1.0 ");
  EXPECT_EQ(TextAt(standard, 36, 8), secrets.Hide("X1234567"));
  std::string characteristics("\0\xB1\0\x3C\x1C\x20\0\x02", 8);
  const std::string told = characteristics;
  EXPECT_TRUE(HideInPageFile(secrets, "/sys/block/sda/device/vpd_pgb1", characteristics));
  EXPECT_EQ(characteristics, told);
  std::string other = "VENDOR";
  EXPECT_FALSE(HideInPageFile(secrets, "/sys/block/sda/device/vendor", other));
}

TEST(PageSecretsTest, NvmeIdentifyIsHiddenAndItsHealthIsNot) {
  Secrets secrets(KeyOf(1));
  Bytes controller(4096, 0);
  Put(controller, 4, "S466NX0K123456      Samsung SSD 970");
  Put(controller, 768, "nqn.2014.08.org:S466NX0K123456");
  HideInAnswer(secrets, NvmeCommandOf(0x06, 1), controller);
  EXPECT_EQ(TextAt(controller, 4, 35), secrets.Hide("S466NX0K123456") + "      Samsung SSD 970");
  EXPECT_EQ(TextAt(controller, 0, 4096).find("S466NX0K123456"), std::string::npos);
  Bytes space(4096, 0);
  const Bytes eui = {0x00, 0x25, 0x38, 0x5b, 0x71, 0xb0, 0xa1, 0xe2};
  std::copy(eui.begin(), eui.end(), space.begin() + 120);
  HideInAnswer(secrets, NvmeCommandOf(0x06, 0), space);
  EXPECT_FALSE(std::equal(eui.begin(), eui.end(), space.begin() + 120));
  EXPECT_TRUE(std::all_of(space.begin() + 104, space.begin() + 120, [](auto b) { return b == 0; }));
  Bytes names(64, 0);
  names[0] = 1;
  names[1] = 8;
  std::copy(eui.begin(), eui.end(), names.begin() + 4);
  Bytes copy = names;
  HideInAnswer(secrets, NvmeCommandOf(0x06, 3), copy);
  EXPECT_TRUE(std::equal(copy.begin() + 4, copy.begin() + 12, space.begin() + 120));
  Bytes health(512, 0x11);
  const Bytes before = health;
  HideInAnswer(secrets, NvmeCommandOf(0x02, 2), health);
  EXPECT_EQ(health, before);
}

// However the log is read, and from whichever of its pages on.
TEST(PageSecretsTest, EachCopyOfIdentifyDataIsHidden) {
  sdk::DriveCommand several = AtaCommandOf(0x2F, 0x0030);
  sdk::DriveCommand smart = AtaCommandOf(0xB0, 0xC24F30);
  for (sdk::DriveCommand* const command : {&several, &smart}) {
    auto& ata = std::get<sdk::AtaCommand>(command->command);
    ata.feature = 0xD5;
    ata.count = 2;
    Secrets secrets(KeyOf(1));
    const Bytes page = Identify();
    Bytes data(512, 0);
    data.insert(data.end(), page.begin(), page.end());
    HideInAnswer(secrets, *command, data);
    EXPECT_EQ(Swapped(TextAt(data, 512 + 20, 20)), secrets.Hide("QM00001") + std::string(13, ' '));
    EXPECT_EQ(TextAt(data, 512 + 54, 40), TextAt(page, 54, 40));
  }
}

TEST(PageSecretsTest, KnownNumbersAreFoundAsBytesInAnyOrder) {
  Secrets secrets(KeyOf(1));
  const std::string name("\x50\x00\xc5\x00\xa1\xb2\xc3\xd4", 8);
  const std::string standIn = secrets.Hide("5000c500a1b2c3d4");
  secrets.Hide("WD-WCC4E1234567");
  Bytes health(512, 0);
  Put(health, 100, name);
  Put(health, 200, Swapped(name));
  Put(health, 300, {name.rbegin(), name.rend()});
  Put(health, 400, Swapped("     WD-WCC4E1234567"));
  const Bytes before = health;
  HideInAnswer(secrets, NvmeCommandOf(0x02, 2), health);
  std::string shown;
  for (const std::size_t i : {0U, 2U, 4U, 6U, 8U, 10U, 12U, 14U}) {
    shown += static_cast<char>(std::stoi(standIn.substr(i, 2), nullptr, 16));
  }
  EXPECT_EQ(TextAt(health, 100, 8), shown);
  EXPECT_EQ(TextAt(health, 200, 8), Swapped(shown));
  EXPECT_EQ(TextAt(health, 300, 8), std::string(shown.rbegin(), shown.rend()));
  EXPECT_EQ(Swapped(TextAt(health, 400, 20)), "     " + secrets.Hide("WD-WCC4E1234567"));
  EXPECT_EQ(TextAt(health, 0, 100), TextAt(before, 0, 100));
}

TEST(PageSecretsTest, WhatAMakerPutsInWhereItLikesIsEmpty) {
  Secrets secrets(KeyOf(1));
  Bytes controller(4096, 0x41);
  HideInAnswer(secrets, NvmeCommandOf(0x06, 1), controller);
  EXPECT_EQ(controller[3071], 0x41);
  EXPECT_EQ(TextAt(controller, 3072, 1024), std::string(1024, '\0'));
  Bytes identify = Identify();
  Put(identify, 258, std::string(62, 'A'));
  HideInAnswer(secrets, AtaCommandOf(0xEC), identify);
  EXPECT_EQ(TextAt(identify, 258, 62), std::string(62, '\0'));
  Bytes allocated(4096, 0);
  Put(allocated, 104, "\x01\x02\x03\x04\x05\x06\x07\x08\x11\x12\x13\x14\x15\x16\x17\x18");
  const Bytes before = allocated;
  HideInAnswer(secrets, NvmeCommandOf(0x06, 0x11), allocated);
  EXPECT_NE(TextAt(allocated, 104, 16), TextAt(before, 104, 16));
}

TEST(PageSecretsTest, IdentifyDataWithoutAChecksumGetsNone) {
  Secrets secrets(KeyOf(1));
  Bytes page = Identify();
  page[510] = 0;
  page[511] = 0x5A;
  HideInAnswer(secrets, AtaCommandOf(0xEC), page);
  EXPECT_EQ(Swapped(TextAt(page, 20, 20)), secrets.Hide("QM00001") + std::string(13, ' '));
  EXPECT_EQ(page[510], 0);
  EXPECT_EQ(page[511], 0x5A);
}

// A command set (type 4) is no name, and behind a length of 0 nothing is.
TEST(PageSecretsTest, OfNvmeDescriptorsOnlyNamesAreHidden) {
  Secrets secrets(KeyOf(1));
  const std::string name = "\x11\x22\x33\x44\x55\x66\x77\x88";
  Bytes names(64, 0);
  Put(names, 0, std::string("\x04\x01\0\0\x02", 5));
  Put(names, 5, std::string("\x03\x08\0\0", 4) + name);
  Put(names, 17, std::string("\x01\0\0\0\x01\x08\0\0\x21\x32\x43\x54\x65\x76\x87\x98", 16));
  const Bytes before = names;
  HideInAnswer(secrets, NvmeCommandOf(0x06, 3), names);
  EXPECT_EQ(TextAt(names, 0, 9), TextAt(before, 0, 9));
  EXPECT_NE(TextAt(names, 9, 8), name);
  EXPECT_EQ(TextAt(names, 17, 16), TextAt(before, 17, 16));
}

TEST(PageSecretsTest, APageThatIsCutIsTakenAsFarAsItGoes) {
  Secrets secrets(KeyOf(1));
  const Bytes whole = Identify();
  for (const sdk::DriveCommand& command :
       {AtaCommandOf(0xEC), AtaCommandOf(0x2F, 0x0530), ScsiCommandOf({0x12, 1, 0x80, 0, 0, 0}),
        ScsiCommandOf({0x12, 1, 0x83, 0, 0, 0}), ScsiCommandOf({0x12, 1, 0x89, 0, 0, 0}),
        ScsiCommandOf({0x12, 0, 0, 0, 0, 0}), NvmeCommandOf(6, 0), NvmeCommandOf(6, 1),
        NvmeCommandOf(6, 3)}) {
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      Bytes page(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      HideInAnswer(secrets, command, page);
      EXPECT_EQ(page.size(), size);
    }
  }
}

}  // namespace
}  // namespace orvan::recording

#include "service/recording/known_pages.h"

#include <gtest/gtest.h>

namespace orvan::recording {
namespace {

DataOf OfAta(std::uint8_t code, std::uint8_t feature = 0, std::uint64_t lba = 0,
             std::uint16_t count = 1) {
  sdk::AtaCommand ata;
  ata.command = code;
  ata.feature = feature;
  ata.lba = lba;
  ata.count = count;
  sdk::DriveCommand command;
  command.command = ata;
  // The same in the 16-byte form of pass-through.
  sdk::DriveCommand passed;
  std::vector<std::uint8_t> cdb(16, 0);
  cdb[0] = 0x85;
  cdb[4] = feature;
  cdb[6] = static_cast<std::uint8_t>(count);
  cdb[8] = static_cast<std::uint8_t>(lba);
  cdb[10] = static_cast<std::uint8_t>(lba >> 8);
  cdb[14] = code;
  passed.command = sdk::ScsiCommand{cdb};
  EXPECT_EQ(DataOfCommand(command), DataOfCommand(passed));
  return DataOfCommand(command);
}

DataOf OfScsi(std::vector<std::uint8_t> cdb) {
  cdb.resize(10);
  sdk::DriveCommand command;
  command.command = sdk::ScsiCommand{std::move(cdb)};
  return DataOfCommand(command);
}

DataOf OfNvme(std::uint8_t opcode, std::uint32_t page) {
  sdk::NvmeAdminCommand nvme;
  nvme.opcode = opcode;
  nvme.dwords[0] = page;
  sdk::DriveCommand command;
  command.command = nvme;
  return DataOfCommand(command);
}

TEST(KnownPagesTest, AreThoseOfWhichEachFieldIsKnown) {
  for (const DataOf known : {OfAta(0xEC),
                             OfAta(0xA1),
                             OfAta(0xE5),
                             OfAta(0xB0, 0xD0),
                             OfAta(0xB0, 0xD1),
                             OfAta(0xB0, 0xD5, 0xC24F06),
                             OfAta(0xB0, 0xD5, 0xC24F30),
                             OfAta(0x2F, 0, 0x04),
                             OfAta(0x47, 0, 0x0130),
                             OfAta(0x2F, 0, 0x0030, 3),
                             OfScsi({0x12}),
                             OfScsi({0x12, 1, 0x80}),
                             OfScsi({0x12, 1, 0x83}),
                             OfScsi({0x12, 1, 0xB1}),
                             OfScsi({0x1A, 0, 0x08}),
                             OfScsi({0x5A, 0, 0x1C}),
                             OfScsi({0x4D, 0, 0x4D}),
                             OfScsi({0x9E, 0x10}),
                             OfScsi({0x03}),
                             OfNvme(0x02, 2),
                             OfNvme(0x06, 1),
                             OfNvme(0x06, 0x11)}) {
    EXPECT_EQ(known, DataOf::kDrive);
  }
}

TEST(KnownPagesTest, AllElseMayHoldAnything) {
  const DataOf kUnknown[] = {
      // What lies on the medium.
      OfAta(0x20), OfAta(0x24), OfAta(0x25), OfAta(0xC8), OfAta(0x60), OfAta(0x5C), OfAta(0xE4),
      OfScsi({0x08}), OfScsi({0x28}), OfScsi({0x88}), OfScsi({0xA8}), OfScsi({0x7F}),
      OfScsi({0x3C}), OfScsi({0x9E, 0x11}), OfScsi({0xC1}), OfNvme(0x82, 0),
      // Logs and pages of makers, and with addresses of ports.
      OfAta(0x2F, 0, 0xA1), OfAta(0xB0, 0xD5, 0xC24FE0), OfAta(0xB0, 0xE0), OfAta(0x2F, 0, 0x0330),
      OfAta(0x2F, 0, 0x0030, 9), OfScsi({0x12, 1, 0x88}), OfScsi({0x12, 1, 0xC0}),
      OfScsi({0x4D, 0, 0x58}), OfScsi({0x4D, 0, 0x42, 1}), OfScsi({0x5A, 0, 0x19, 1}),
      OfScsi({0x1A, 0, 0x3F}), OfNvme(0x02, 0x0D), OfNvme(0x02, 0xC0), OfNvme(0x06, 0x05),
      OfNvme(0x0A, 0x81), OfNvme(0x0A, 0x03)};
  for (const DataOf data : kUnknown) EXPECT_EQ(data, DataOf::kUnknown);
}

}  // namespace
}  // namespace orvan::recording

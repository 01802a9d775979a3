#include "service/machine/ata_pass_through.h"

#include <gtest/gtest.h>

#include <random>

namespace orvan::machine {
namespace {

using sdk::AtaCommand;
using sdk::AtaRegisters;
using sdk::DataDirection;
using Protocol = AtaCommand::Protocol;
using Bytes = std::vector<std::uint8_t>;

constexpr auto kNone = DataDirection::kNone;
constexpr auto kIn = DataDirection::kFromDevice;
constexpr auto kOut = DataDirection::kToDevice;

// IDENTIFY DEVICE.
AtaCommand Identify() {
  AtaCommand command;
  command.protocol = Protocol::kPioIn;
  command.count = 1;
  command.command = 0xEC;
  return command;
}

// A command in which every byte is another one.
AtaCommand Telling() {
  AtaCommand command;
  command.protocol = Protocol::kDmaIn;
  command.is48Bit = true;
  command.feature = 0x1122;
  command.count = 0x0002;
  command.lba = 0x665544332211;
  command.device = 0x40;
  command.command = 0x25;
  return command;
}

// The bytes are those of the tables in SAT-4, 12.2.2 and 12.2.3.
TEST(AtaPassThrough, PutsEveryRegisterInItsPlace) {
  EXPECT_EQ(AtaPassThrough(Telling(), kIn, 1024),
            (Bytes{0x85, 0x0D, 0x0E, 0x11, 0x22, 0x00, 0x02, 0x44, 0x11, 0x55, 0x22, 0x66, 0x33,
                   0x40, 0x25, 0x00}));
  EXPECT_EQ(AtaPassThrough(Identify(), kIn, 512),
            (Bytes{0x85, 0x08, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC, 0}));
}

TEST(AtaPassThrough, HasAFormOfTwelveBytes) {
  AtaCommand command = Identify();
  command.uses12Bytes = true;
  command.feature = 0x55;
  command.lba = 0x0A332211;
  command.device = 0xE7;  // of which the lower half is of the address
  EXPECT_EQ(AtaPassThrough(command, kIn, 512),
            (Bytes{0xA1, 0x08, 0x0E, 0x55, 0x01, 0x11, 0x22, 0x33, 0xEA, 0xEC, 0x00, 0x00}));
}

TEST(AtaPassThrough, AsksForTheRegistersOfACommandWithoutData) {
  AtaCommand command;
  command.feature = 0xDA;
  command.lba = 0xC24F00;
  command.command = 0xB0;
  EXPECT_EQ(AtaPassThrough(command, kNone, 0),
            (Bytes{0x85, 0x06, 0x20, 0, 0xDA, 0, 0, 0, 0, 0, 0x4F, 0, 0xC2, 0, 0xB0, 0}));
}

TEST(AtaPassThrough, TellsProtocolAndDirection) {
  struct Case {
    Protocol protocol;
    DataDirection direction;
    int byte1;
    int byte2;
  };
  for (const Case& one :
       {Case{Protocol::kPioIn, kIn, 4 << 1, 0x0E}, Case{Protocol::kPioOut, kOut, 5 << 1, 0x06},
        Case{Protocol::kDmaIn, kIn, 6 << 1, 0x0E}, Case{Protocol::kDmaOut, kOut, 6 << 1, 0x06}}) {
    AtaCommand command = Identify();
    command.protocol = one.protocol;
    const auto cdb = AtaPassThrough(command, one.direction, 512);
    ASSERT_TRUE(cdb);
    EXPECT_EQ((*cdb)[1], one.byte1);
    EXPECT_EQ((*cdb)[2], one.byte2);
    for (const DataDirection other : {kNone, kIn, kOut}) {
      if (other == one.direction) continue;
      EXPECT_FALSE(AtaPassThrough(command, other, 512));
    }
  }
}

TEST(AtaPassThrough, CountsInBlocksOf512BytesOrInSectors) {
  AtaCommand command = Telling();
  EXPECT_EQ((*AtaPassThrough(command, kIn, 2 * 512))[2], 0x0E);
  EXPECT_EQ((*AtaPassThrough(command, kIn, 2 * 4096))[2], 0x1E);
  for (const std::uint64_t bytes : {0U, 2U, 512U, 1025U, 2 * 520U, 2 * 256U}) {
    EXPECT_FALSE(AtaPassThrough(command, kIn, bytes)) << bytes;
  }
  command.count = 0;
  EXPECT_EQ((*AtaPassThrough(command, kIn, 65536 * 512))[2], 0x0E);
  command = Identify();
  command.count = 0;
  EXPECT_TRUE(AtaPassThrough(command, kIn, 256 * 512));
  EXPECT_FALSE(AtaPassThrough(command, kIn, 512));
}

TEST(AtaPassThrough, RefusesNumbersThatHaveNoPlace) {
  AtaCommand command = Telling();
  command.lba = std::uint64_t{1} << 48;
  EXPECT_FALSE(AtaPassThrough(command, kIn, 1024));
  command = Telling();
  command.uses12Bytes = true;
  EXPECT_FALSE(AtaPassThrough(command, kIn, 1024));
  command = Identify();
  command.lba = 1 << 28;
  EXPECT_FALSE(AtaPassThrough(command, kIn, 512));
  command = Identify();
  command.feature = 0x100;
  EXPECT_FALSE(AtaPassThrough(command, kIn, 512));
  command = Identify();
  command.count = 0x101;
  EXPECT_FALSE(AtaPassThrough(command, kIn, 512));
}

// Source: SAT-4, 12.2.2.7: an ATA Status Return descriptor behind a descriptor of another kind.
Bytes Descriptors() {
  return {0x72, 0x01, 0x00, 0x1D, 0,    0,    0,    2 + 4 + 14,  //
          0x02, 0x04, 0,    0,    0,    0,                       //
          0x09, 0x0C, 0x01, 0x04, 0x11, 0x22, 0x44, 0x33,       0x66, 0x55, 0x88, 0x77, 0x40, 0x51};
}

void ExpectRegisters(const std::optional<AtaRegisters>& found, const AtaRegisters& wanted) {
  ASSERT_TRUE(found);
  EXPECT_EQ(found->error, wanted.error);
  EXPECT_EQ(found->status, wanted.status);
  EXPECT_EQ(found->device, wanted.device);
  EXPECT_EQ(found->count, wanted.count);
  EXPECT_EQ(found->lba, wanted.lba);
}

TEST(AtaRegistersIn, FindsTheDescriptorWhereverItStands) {
  ExpectRegisters(AtaRegistersIn(Descriptors()), {0x04, 0x51, 0x40, 0x1122, 0x886644775533});
  Bytes deferred = Descriptors();
  deferred[0] = 0xF3;
  EXPECT_TRUE(AtaRegistersIn(deferred));
}

TEST(AtaRegistersIn, TakesTheUpperHalvesOfAnExtendedCommandAlone) {
  Bytes sense = Descriptors();
  sense[16] = 0;
  ExpectRegisters(AtaRegistersIn(sense), {0x04, 0x51, 0x40, 0x0022, 0x775533});
}

// Source: SAT-4, 12.2.2.6: ATA pass-through in fixed format.
TEST(AtaRegistersIn, ReadsTheFixedFormat) {
  Bytes sense = {0x70, 0, 0x01, 0x04, 0x51, 0x40, 0x22, 10, 0, 0x33, 0x4F, 0xC2, 0x00, 0x1D, 0, 0};
  ExpectRegisters(AtaRegistersIn(sense), {0x04, 0x51, 0x40, 0x22, 0xC24F33});
  sense[13] = 0x1C;  // then these bytes are an address on the medium
  EXPECT_FALSE(AtaRegistersIn(sense));
}

TEST(AtaRegistersIn, WhatIsCutOrNonsenseHoldsNone) {
  EXPECT_FALSE(AtaRegistersIn({}));
  const Bytes whole = Descriptors();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(AtaRegistersIn(Bytes(whole.begin(), whole.begin() + static_cast<int>(size))));
  }
  Bytes shorter = whole;
  shorter[7] -= 1;
  EXPECT_FALSE(AtaRegistersIn(shorter));
  Bytes other = whole;
  other[0] = 0x74;
  EXPECT_FALSE(AtaRegistersIn(other));
  Bytes wrongLength = whole;
  wrongLength[15] = 0x0B;
  EXPECT_FALSE(AtaRegistersIn(wrongLength));
  for (std::size_t size = 0; size < 14; ++size) EXPECT_FALSE(AtaRegistersIn(Bytes(size, 0x70)));
}

TEST(AtaRegistersIn, AnyBytesAreReadWithinTheirBounds) {
  std::mt19937 random(1);
  for (int round = 0; round < 100000; ++round) {
    Bytes sense(random() % 40);
    for (std::uint8_t& byte : sense) byte = static_cast<std::uint8_t>(random() % 16);
    if (!sense.empty()) sense[0] = static_cast<std::uint8_t>(0x70 + random() % 4);
    sense.shrink_to_fit();
    AtaRegistersIn(sense);
  }
}

}  // namespace
}  // namespace orvan::machine

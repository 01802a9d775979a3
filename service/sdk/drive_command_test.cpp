#include "service/sdk/drive_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

namespace orvan::sdk {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Codes = std::set<int>;

constexpr auto kNone = DataDirection::kNone;
constexpr auto kIn = DataDirection::kFromDevice;
constexpr auto kOut = DataDirection::kToDevice;

DriveCommand With(decltype(DriveCommand::command) what, DataDirection direction) {
  DriveCommand command;
  command.command = std::move(what);
  command.direction = direction;
  if (direction == kIn) command.bytesIn = 512;
  if (direction == kOut) command.dataOut.resize(512);
  return command;
}

bool AtaReads(int opcode, int feature, DataDirection direction) {
  AtaCommand command;
  command.command = static_cast<std::uint8_t>(opcode);
  command.feature = static_cast<std::uint16_t>(feature);
  return OnlyReads(With(command, direction));
}

bool ScsiReads(Bytes cdb, DataDirection direction = kIn) {
  return OnlyReads(With(ScsiCommand{std::move(cdb)}, direction));
}

// The codes of 0 to 255 that hold.
Codes Those(const std::function<bool(int)>& holds) {
  Codes codes;
  for (int code = 0; code < 256; ++code) {
    if (holds(code)) codes.insert(code);
  }
  return codes;
}

// Source: ACS-4, table of command codes.
TEST(OnlyReads, OfAtaTheseAloneWithoutAFeature) {
  EXPECT_EQ(Those([](int code) { return AtaReads(code, 0, kIn); }),
            (Codes{0x20, 0x24, 0x25, 0x29, 0x2F, 0x47, 0x4A, 0x5C, 0x5D, 0xA1, 0xC4, 0xC8, 0xEC}));
  EXPECT_EQ(Those([](int code) { return AtaReads(code, 0, kNone); }),
            (Codes{0x27, 0x40, 0x42, 0x78, 0xE5, 0xF8}));
  EXPECT_TRUE(Those([](int code) { return AtaReads(code, 0, kOut); }).empty());
}

TEST(OnlyReads, AFeatureMayMakeAnotherCommandOfIt) {
  const auto features = [](int opcode, DataDirection direction) {
    return Those([=](int feature) { return AtaReads(opcode, feature, direction); });
  };
  EXPECT_EQ(features(0xB0, kIn), (Codes{0xD0, 0xD1, 0xD5}));  // SMART
  EXPECT_EQ(features(0xB0, kNone), Codes{0xDA});
  EXPECT_EQ(features(0xB1, kIn), Codes{0xC2});  // DEVICE CONFIGURATION
  EXPECT_TRUE(features(0xB1, kNone).empty());   // restore, freeze
  EXPECT_EQ(features(0x2F, kIn), Codes{0});     // a counter's log may be reset by it
  EXPECT_EQ(features(0x47, kIn), Codes{0});
  EXPECT_EQ(features(0x78, kNone), Codes{0});  // SET and FREEZE are others
  EXPECT_EQ(features(0x5C, kIn), Codes{0});
  EXPECT_EQ(features(0x4A, kIn), (Codes{0x00, 0x20, 0x40, 0x60, 0x80, 0xA0, 0xC0, 0xE0}));
  EXPECT_FALSE(AtaReads(0xB0, 0x1D0, kIn));
  EXPECT_FALSE(AtaReads(0x2F, 0x100, kIn));
}

// A descriptor block of the length that its code asks for.
Bytes Block(int code, int byte1) {
  static constexpr int kLengths[] = {6, 10, 10, 0, 16, 12, 0, 0};
  Bytes cdb(static_cast<std::size_t>(std::max(kLengths[code >> 5], 6)));
  cdb[0] = static_cast<std::uint8_t>(code);
  cdb[1] = static_cast<std::uint8_t>(byte1);
  return cdb;
}

// Source: SPC-5 and SBC-4, tables of operation codes.
TEST(OnlyReads, OfScsiTheseAlone) {
  EXPECT_EQ(Those([](int code) { return ScsiReads(Block(code, 0)); }),
            (Codes{0x00, 0x03, 0x08, 0x12, 0x1A, 0x1C, 0x25, 0x28, 0x37, 0x4D, 0x5A, 0x5E, 0x88,
                   0x95, 0xA0, 0xA2, 0xA8, 0xB7}));
  const Codes withoutData = Those([](int code) { return ScsiReads(Block(code, 0), kNone); });
  EXPECT_TRUE(withoutData.contains(0x2F) && withoutData.contains(0x8F) &&
              withoutData.contains(0xAF));
  EXPECT_TRUE(Those([](int code) { return ScsiReads(Block(code, 0), kOut); }).empty());
}

TEST(OnlyReads, ByteOneMayMakeAnotherCommandOfIt) {
  const auto actions = [](int code, DataDirection direction = kIn) {
    Codes codes;
    for (int action = 0; action < 32; ++action) {
      if (ScsiReads(Block(code, action), direction)) codes.insert(action);
    }
    return codes;
  };
  EXPECT_EQ(actions(0x3C), (Codes{2, 3}));                                // READ BUFFER
  EXPECT_EQ(actions(0x5E), (Codes{0, 1, 2, 3}));                          // PERSISTENT RESERVE IN
  EXPECT_EQ(actions(0x9E), (Codes{0x10, 0x12, 0x17}));                    // SERVICE ACTION IN(16)
  EXPECT_EQ(actions(0xA3), (Codes{0x05, 0x0A, 0x0C, 0x0D, 0x0E, 0x0F}));  // MAINTENANCE IN
  EXPECT_EQ(actions(0x95), Codes{0});
  EXPECT_EQ(actions(0xA2), Codes{0});
  EXPECT_FALSE(ScsiReads(Block(0x4D, 1)));         // LOG SENSE that saves
  EXPECT_FALSE(ScsiReads(Block(0x2F, 2), kNone));  // VERIFY that compares
  EXPECT_FALSE(ScsiReads(Block(0x2F, 0), kIn));
  EXPECT_FALSE(ScsiReads(Block(0xA2, 0xEF)));  // of the ATA passwords
}

TEST(OnlyReads, ABlockOfAnotherLengthIsNotListed) {
  EXPECT_FALSE(ScsiReads({}));
  for (const int code : {0x12, 0x28, 0x88, 0xA8}) {
    Bytes cdb = Block(code, 0);
    cdb.push_back(0);
    EXPECT_FALSE(ScsiReads(cdb)) << code;
    cdb.erase(cdb.end() - 2, cdb.end());
    EXPECT_FALSE(ScsiReads(cdb)) << code;
  }
}

// IDENTIFY DEVICE in either form.
Bytes LongIdentify() {
  return {0x85, 4 << 1, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC, 0};
}
Bytes ShortIdentify() {
  return {0xA1, 4 << 1, 0x0E, 0, 1, 0, 0, 0, 0, 0xEC, 0, 0};
}

TEST(OnlyReads, APassThroughIsJudgedByTheCommandInside) {
  EXPECT_TRUE(ScsiReads(LongIdentify()));
  EXPECT_TRUE(ScsiReads(ShortIdentify()));
  EXPECT_EQ(Those([](int code) {
              Bytes cdb = LongIdentify();
              cdb[14] = static_cast<std::uint8_t>(code);
              return ScsiReads(cdb);
            }),
            Those([](int code) { return AtaReads(code, 0, kIn); }));
  EXPECT_EQ(Those([](int code) {
              Bytes cdb = ShortIdentify();
              cdb[1] = 3 << 1;
              cdb[9] = static_cast<std::uint8_t>(code);
              return ScsiReads(cdb, kNone);
            }),
            Those([](int code) { return AtaReads(code, 0, kNone); }));
  Bytes feature = LongIdentify();
  feature[14] = 0x2F;
  EXPECT_TRUE(ScsiReads(feature));
  feature[3] = 1;
  EXPECT_FALSE(ScsiReads(feature));
}

TEST(OnlyReads, APassThroughOfNoPlainProtocolIsNot) {
  Codes protocols;
  for (int protocol = 0; protocol < 16; ++protocol) {
    Bytes cdb = LongIdentify();
    cdb[1] = static_cast<std::uint8_t>(protocol << 1);
    if (ScsiReads(cdb)) protocols.insert(protocol);
    EXPECT_FALSE(ScsiReads(cdb, kNone)) << protocol;
  }
  EXPECT_EQ(protocols, (Codes{4, 6}));  // PIO data-in, DMA
  Bytes out = LongIdentify();
  out[1] = 6 << 1;
  out[2] = 0x06;
  EXPECT_FALSE(ScsiReads(out));
  Bytes parked = LongIdentify();
  parked[2] |= 0x40;
  EXPECT_FALSE(ScsiReads(parked));
}

bool NvmeReads(int opcode, std::uint32_t dword10, DataDirection direction = kIn) {
  NvmeAdminCommand command;
  command.opcode = static_cast<std::uint8_t>(opcode);
  command.dwords[0] = dword10;
  return OnlyReads(With(command, direction));
}

// Source: NVM Express Base 2.0, opcodes for admin commands.
TEST(OnlyReads, OfNvmeTheseAlone) {
  EXPECT_EQ(Those([](int code) { return NvmeReads(code, 0); }), (Codes{0x06, 0x0A, 0x82}));
  EXPECT_TRUE(Those([](int code) { return NvmeReads(code, 0, kOut); }).empty());
  const auto log = [](int page) { return static_cast<std::uint32_t>(page); };
  EXPECT_EQ(Those([&](int page) { return NvmeReads(0x02, 0x7F8000U | log(page)); }),
            (Codes{0x01, 0x02, 0x03, 0x05, 0x06}));
  // What the drive had to tell is forgotten then.
  EXPECT_TRUE(Those([&](int page) { return NvmeReads(0x02, 0x7F0000U | log(page)); }).empty());
  for (const std::uint32_t own : {0x100U, 0x4000U}) EXPECT_FALSE(NvmeReads(0x02, 0x8002U | own));
  EXPECT_FALSE(NvmeReads(0x82, 0x01000000));
  EXPECT_TRUE(NvmeReads(0x82, 0x00FFFFFF));
}

TEST(OnlyReads, TheLogOfQueuedCommandsIsTheKernels) {
  for (const int opcode : {0x2F, 0x47}) {
    AtaCommand command;
    command.command = static_cast<std::uint8_t>(opcode);
    command.is48Bit = true;
    command.lba = 0x11;
    EXPECT_TRUE(OnlyReads(With(command, kIn)));
    command.lba = 0x10;
    EXPECT_FALSE(OnlyReads(With(command, kIn)));
  }
  Bytes cdb = LongIdentify();
  cdb[8] = 0x10;
  EXPECT_TRUE(ScsiReads(cdb));
  cdb[14] = 0x2F;
  EXPECT_FALSE(ScsiReads(cdb));
}

TEST(OnlyReads, NotWhereAReservedBitIsSet) {
  const auto bytesThatMayBeSet = [](Bytes cdb) {
    Codes bytes;
    for (std::size_t i = 1; i < cdb.size(); ++i) {
      const std::uint8_t before = cdb[i];
      cdb[i] = static_cast<std::uint8_t>(cdb[i] | 0x80);
      if (ScsiReads(cdb)) bytes.insert(static_cast<int>(i));
      cdb[i] = before;
    }
    return bytes;
  };
  // REPORT SUPPORTED OPERATION CODES: options, code, action and length.
  EXPECT_EQ(bytesThatMayBeSet(Block(0xA3, 0x0C)), (Codes{2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(bytesThatMayBeSet(Block(0xA3, 0x0A)), (Codes{1, 6, 7, 8, 9}));
  EXPECT_EQ(bytesThatMayBeSet(Block(0xA3, 0x0D)), (Codes{2, 6, 7, 8, 9}));
  EXPECT_EQ(bytesThatMayBeSet(Block(0xA3, 0x0E)), (Codes{2, 6, 7, 8, 9}));
  for (const int action : {0x05, 0x0F}) {
    EXPECT_EQ(bytesThatMayBeSet(Block(0xA3, action)), (Codes{6, 7, 8, 9})) << action;
  }
  EXPECT_EQ(bytesThatMayBeSet(Block(0xA0, 0)), (Codes{2, 6, 7, 8, 9}));     // REPORT LUNS
  EXPECT_EQ(bytesThatMayBeSet(Block(0x1C, 1)), (Codes{2, 3, 4}));           // DIAGNOSTIC RESULTS
  EXPECT_EQ(bytesThatMayBeSet(Block(0x5E, 0)), (Codes{7, 8}));              // PERSISTENT RESERVE IN
  EXPECT_EQ(bytesThatMayBeSet(Block(0x4D, 0)), (Codes{2, 3, 5, 6, 7, 8}));  // LOG SENSE
  EXPECT_EQ(bytesThatMayBeSet(Block(0x9E, 0x17)), (Codes{6, 7, 8, 9, 10, 11, 12, 13, 14}));
  // SEND KEY of optical drives has this code, and sets the region.
  Bytes key = Block(0xA3, 0x0C);
  key[10] = 0x06;
  EXPECT_FALSE(ScsiReads(key));
}

TEST(OnlyReads, NotOfFlagsThatReadingResets) {
  for (const int control : {0x00, 0x40, 0xC0}) {
    Bytes cdb = Block(0x4D, 0);
    cdb[2] = static_cast<std::uint8_t>(control | 0x2E);
    EXPECT_FALSE(ScsiReads(cdb)) << control;
    cdb[2] = static_cast<std::uint8_t>(control | 0x2F);
    EXPECT_TRUE(ScsiReads(cdb)) << control;
  }
}

bool ChangesDrive(const DriveCommand& command) {
  return EffectOf(command) == CommandEffect::kChangesDrive;
}

// Source: ACS-4, 7: SMART, and its EXECUTE OFF-LINE IMMEDIATE by the lowest byte of the address.
TEST(CommandEffect, OfAtaTheseChangeTheDriveAlone) {
  AtaCommand command;
  command.command = 0xB0;
  command.lba = 0xC24F00;
  const auto those = [&](DataDirection direction) {
    return Those([&](int feature) {
      command.feature = static_cast<std::uint16_t>(feature);
      return ChangesDrive(With(command, direction));
    });
  };
  EXPECT_EQ(those(kNone), (Codes{0xD2, 0xD4, 0xD8, 0xD9}));
  EXPECT_TRUE(those(kIn).empty());
  EXPECT_TRUE(those(kOut).empty());
  command.feature = 0xD4;
  EXPECT_EQ(Those([&](int kind) {
              command.lba = 0xC24F00U | static_cast<std::uint64_t>(kind);
              return ChangesDrive(With(command, kNone));
            }),
            (Codes{0, 1, 2, 3, 4, 0x7F, 0x81, 0x82, 0x83, 0x84}));
  EXPECT_TRUE(Those([](int code) {
                AtaCommand other;
                other.command = static_cast<std::uint8_t>(code);
                return ChangesDrive(With(other, kNone));
              }).empty());
}

// Source: SPC-5, SEND DIAGNOSTIC.
TEST(CommandEffect, OfScsiASelfTestThatTouchesNoDataChangesTheDriveAlone) {
  const auto sends = [](Bytes cdb, DataDirection direction = kNone) {
    return ChangesDrive(With(ScsiCommand{std::move(cdb)}, direction));
  };
  EXPECT_EQ(Those([&](int byte1) { return sends(Block(0x1D, byte1)); }),
            (Codes{0x04, 0x14, 0x20, 0x30, 0x40, 0x50, 0x80, 0x90, 0xA0, 0xB0, 0xC0, 0xD0}));
  EXPECT_FALSE(sends(Block(0x1D, 0x20), kOut));
  Bytes withList = Block(0x1D, 0x20);
  withList[4] = 8;
  EXPECT_FALSE(sends(withList));
  EXPECT_EQ(Those([&](int code) { return sends(Block(code, 0x20)); }), Codes{0x1D});
}

// Source: NVM Express Base 2.0, Device Self-test command.
TEST(CommandEffect, OfNvmeASelfTestChangesTheDriveAlone) {
  NvmeAdminCommand command;
  command.opcode = 0x14;
  EXPECT_EQ(Those([&](int kind) {
              command.dwords[0] = static_cast<std::uint32_t>(kind);
              return ChangesDrive(With(command, kNone));
            }),
            (Codes{1, 2, 0xF}));
  EXPECT_EQ(Those([](int code) {
              NvmeAdminCommand other;
              other.opcode = static_cast<std::uint8_t>(code);
              other.dwords[0] = 1;
              return ChangesDrive(With(other, kNone));
            }),
            Codes{0x14});
}

TEST(CommandEffect, WhatIsOnNoListMayChangeTheMedium) {
  EXPECT_EQ(EffectOf(With(ScsiCommand{Block(0x04, 0)}, kNone)), CommandEffect::kChangesMedium);
  EXPECT_EQ(EffectOf(With(ScsiCommand{Block(0x2A, 0)}, kOut)), CommandEffect::kChangesMedium);
  EXPECT_EQ(EffectOf(With(ScsiCommand{Block(0x12, 0)}, kIn)), CommandEffect::kReads);
}

TEST(OnlyReads, DataThatGoOutAreNoReading) {
  DriveCommand command = With(ScsiCommand{Block(0x12, 0)}, kIn);
  EXPECT_TRUE(OnlyReads(command));
  command.dataOut = {0};
  EXPECT_FALSE(OnlyReads(command));
}

}  // namespace
}  // namespace orvan::sdk

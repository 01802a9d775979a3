#include "service/modules/storage/drive/drive_commands.h"

#include <gtest/gtest.h>

#include <set>

#include "service/machine/ata_pass_through.h"

namespace orvan::storage {
namespace {

using R = DriveRequest;
using CommandBlock = std::vector<std::uint8_t>;

DriveAddress Address(bool uses12Bytes = false) {
  return {"/dev/sdx", 77, 29, 3, uses12Bytes};
}

std::optional<sdk::DriveCommand> Made(R request, const RequestDetails& details = {},
                                      bool uses12Bytes = false) {
  return MakeCommand(RowOf(request), details, Address(uses12Bytes));
}

// The block that reaches the drive, or what speaks for it.
CommandBlock BlockOf(const std::optional<sdk::DriveCommand>& command) {
  if (!command) return {};
  if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command->command)) return scsi->cdb;
  return machine::AtaPassThrough(std::get<sdk::AtaCommand>(command->command), command->direction,
                                 command->bytesIn)
      .value_or(CommandBlock());
}

CommandBlock Block(R request, const RequestDetails& details = {}, bool uses12Bytes = false) {
  return BlockOf(Made(request, details, uses12Bytes));
}

TEST(DriveCommandsTest, EachDoesToTheDriveWhatItsRowSays) {
  for (const DriveCommandRow& row : AllDriveCommands()) {
    const auto command = MakeCommand(row, {}, Address());
    ASSERT_TRUE(command) << row.name;
    EXPECT_EQ(sdk::EffectOf(*command), row.effect) << row.name;
    EXPECT_NE(row.effect, sdk::CommandEffect::kChangesMedium) << row.name;
  }
}

TEST(DriveCommandsTest, EachDoesTheSameInTheShortForm) {
  int made = 0;
  for (const DriveCommandRow& row : AllDriveCommands()) {
    const auto command = MakeCommand(row, {}, Address(true));
    if (!command) continue;
    EXPECT_EQ(sdk::EffectOf(*command), row.effect) << row.name;
    ++made;
  }
  EXPECT_EQ(made, static_cast<int>(kDriveRequests) - 4);  // the four logs of READ LOG EXT
}

TEST(DriveCommandsTest, APageThatIsResetWhenItIsReadIsNot) {
  for (std::uint16_t page = 0; page < 0x40; ++page) {
    constexpr std::uint16_t kTapeAlert = 0x2E;
    EXPECT_EQ(Made(R::kScsiLogSense, {.page = page}).has_value(), page != kTapeAlert) << page;
  }
}

TEST(DriveCommandsTest, EachNamesItsDriveAndItsTime) {
  for (const DriveCommandRow& row : AllDriveCommands()) {
    const auto command = MakeCommand(row, {}, Address());
    ASSERT_TRUE(command);
    EXPECT_EQ(command->device, "/dev/sdx");
    EXPECT_EQ(command->expectedDevice, 77U);
    EXPECT_EQ(command->diskSequence, 29U);
    EXPECT_EQ(command->timeLimit, row.timeLimit);
    EXPECT_EQ(command->bytesIn, row.bytes);
    EXPECT_EQ(command->direction == sdk::DataDirection::kFromDevice, row.bytes != 0);
    EXPECT_GE(row.timeLimit, std::chrono::seconds(1));
    EXPECT_LE(row.leastBytes, row.bytes);
  }
}

TEST(DriveCommandsTest, OnlyTheEndOfASelfTestIsSentAfterAStop) {
  std::set<R> sent;
  for (const DriveCommandRow& row : AllDriveCommands()) {
    if (row.isSentAfterStop) sent.insert(row.request);
  }
  EXPECT_EQ(sent, (std::set{R::kAtaAbortSelfTest, R::kScsiAbortSelfTest, R::kNvmeAbortSelfTest}));
}

// Worked out from SAT-4's ATA PASS-THROUGH (16) and the inputs of each command in ACS-4.
TEST(DriveCommandsTest, AtaCommandsAreThoseOfTheStandard) {
  const auto in = [](std::uint8_t feature, std::uint8_t low, std::uint8_t command) {
    const bool isSmart = command == 0xB0;
    return CommandBlock{0x85,
                        0x08,
                        0x0E,
                        0,
                        feature,
                        0,
                        1,
                        0,
                        low,
                        0,
                        static_cast<std::uint8_t>(isSmart ? 0x4F : 0),
                        0,
                        static_cast<std::uint8_t>(isSmart ? 0xC2 : 0),
                        0,
                        command,
                        0};
  };
  const auto order = [](std::uint8_t feature, std::uint8_t low) {
    return CommandBlock{0x85, 0x06, 0x20, 0, feature, 0, 0, 0, low, 0, 0x4F, 0, 0xC2, 0, 0xB0, 0};
  };
  const auto log = [](std::uint8_t address) {
    return CommandBlock{0x85, 0x09, 0x0E, 0, 0, 0, 1, 0, address, 0, 0, 0, 0, 0, 0x2F, 0};
  };
  EXPECT_EQ(Block(R::kAtaIdentify), in(0, 0, 0xEC));
  EXPECT_EQ(Block(R::kSmartData), in(0xD0, 0, 0xB0));
  EXPECT_EQ(Block(R::kSmartThresholds), in(0xD1, 0, 0xB0));
  EXPECT_EQ(Block(R::kSmartReturnStatus), order(0xDA, 0));
  EXPECT_EQ(Block(R::kAtaErrorLog), in(0xD5, 0x01, 0xB0));
  EXPECT_EQ(Block(R::kAtaSelfTestLog), in(0xD5, 0x06, 0xB0));
  EXPECT_EQ(Block(R::kAtaLogDirectory), log(0x00));
  EXPECT_EQ(Block(R::kAtaExtErrorLog), log(0x03));
  EXPECT_EQ(Block(R::kAtaDeviceStatistics), log(0x04));
  EXPECT_EQ(Block(R::kAtaExtSelfTestLog), log(0x07));
  EXPECT_EQ(Block(R::kAtaShortSelfTest), order(0xD4, 0x01));
  EXPECT_EQ(Block(R::kAtaExtendedSelfTest), order(0xD4, 0x02));
  EXPECT_EQ(Block(R::kAtaAbortSelfTest), order(0xD4, 0x7F));
}

TEST(DriveCommandsTest, ALogIsReadFromItsPageOn) {
  EXPECT_EQ(Block(R::kAtaDeviceStatistics, {.page = 0x0105, .bytes = 1024}),
            (CommandBlock{0x85, 0x09, 0x0E, 0, 0, 0, 2, 0, 0x04, 0x01, 0x05, 0, 0, 0, 0x2F, 0}));
}

TEST(DriveCommandsTest, TheShortFormHasNo48BitCommands) {
  EXPECT_EQ(Block(R::kSmartData, {}, true),
            (CommandBlock{0xA1, 0x08, 0x0E, 0xD0, 1, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0}));
  EXPECT_FALSE(Made(R::kAtaLogDirectory, {}, true));
}

// Worked out from SPC-5 and SBC-4.
TEST(DriveCommandsTest, ScsiCommandsAreThoseOfTheStandard) {
  EXPECT_EQ(Block(R::kScsiTestUnitReady), (CommandBlock{0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(Block(R::kScsiInquiry), (CommandBlock{0x12, 0, 0, 0, 36, 0}));
  EXPECT_EQ(Block(R::kScsiVpdPage, {.page = 0xB1, .bytes = 0x0140}),
            (CommandBlock{0x12, 1, 0xB1, 0x01, 0x40, 0}));
  EXPECT_EQ(Block(R::kScsiLogSense, {.page = 0x19, .subpage = 0x01, .bytes = 0x1234}),
            (CommandBlock{0x4D, 0, 0x59, 0x01, 0, 0, 0, 0x12, 0x34, 0}));
  EXPECT_EQ(Block(R::kScsiRequestSense), (CommandBlock{0x03, 0, 0, 0, 252, 0}));
  EXPECT_EQ(Block(R::kScsiReadCapacity16),
            (CommandBlock{0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0}));
  EXPECT_EQ(Block(R::kScsiControlPage), (CommandBlock{0x5A, 0x08, 0x0A, 0, 0, 0, 0, 0, 252, 0}));
  EXPECT_EQ(Block(R::kScsiShortSelfTest), (CommandBlock{0x1D, 0x20, 0, 0, 0, 0}));
  EXPECT_EQ(Block(R::kScsiExtendedSelfTest), (CommandBlock{0x1D, 0x40, 0, 0, 0, 0}));
  EXPECT_EQ(Block(R::kScsiAbortSelfTest), (CommandBlock{0x1D, 0x80, 0, 0, 0, 0}));
}

// Worked out from NVM Express Base 2.0: opcode, namespace, dwords 10 and 11.
TEST(DriveCommandsTest, NvmeCommandsAreThoseOfTheStandard) {
  struct Row {
    R request;
    std::uint8_t opcode;
    std::uint32_t target;
    std::uint32_t dword10;
    std::uint32_t bytes;
  };
  constexpr std::uint32_t kAll = 0xFFFFFFFF;
  const std::vector<Row> rows = {
      {R::kNvmeIdentifyController, 0x06, 0, 1, 4096},
      {R::kNvmeIdentifyNamespace, 0x06, 3, 0, 4096},
      {R::kNvmeErrorLog, 0x02, kAll, 0x000F8001, 64},
      {R::kNvmeSmartLog, 0x02, kAll, 0x007F8002, 512},
      {R::kNvmeSelfTestLog, 0x02, kAll, 0x008C8006, 564},
      {R::kNvmeShortSelfTest, 0x14, kAll, 1, 0},
      {R::kNvmeExtendedSelfTest, 0x14, kAll, 2, 0},
      {R::kNvmeAbortSelfTest, 0x14, kAll, 0xF, 0},
  };
  for (const Row& row : rows) {
    const auto made = Made(row.request);
    ASSERT_TRUE(made) << RowOf(row.request).name;
    const auto& command = std::get<sdk::NvmeAdminCommand>(made->command);
    EXPECT_EQ(command.opcode, row.opcode) << RowOf(row.request).name;
    EXPECT_EQ(command.namespaceId, row.target) << RowOf(row.request).name;
    EXPECT_EQ(command.dwords, (std::array<std::uint32_t, 6>{row.dword10, 0, 0, 0, 0, 0}));
    EXPECT_EQ(made->bytesIn, row.bytes) << RowOf(row.request).name;
  }
  const auto large = Made(R::kNvmeErrorLog, {.bytes = 0x80000});
  ASSERT_TRUE(large);
  const auto& dwords = std::get<sdk::NvmeAdminCommand>(large->command).dwords;
  EXPECT_EQ(dwords[0], 0xFFFF8001U);
  EXPECT_EQ(dwords[1], 1U);
}

TEST(DriveCommandsTest, DetailsThatDoNotFitMakeNoCommand) {
  EXPECT_FALSE(Made(R::kAtaIdentify, {.bytes = 1024}));
  EXPECT_FALSE(Made(R::kSmartData, {.page = 1}));
  EXPECT_FALSE(Made(R::kSmartData, {.subpage = 1}));
  EXPECT_FALSE(Made(R::kSmartReturnStatus, {.bytes = 512}));
  EXPECT_FALSE(Made(R::kAtaLogDirectory, {.bytes = 500}));
  EXPECT_TRUE(Made(R::kAtaLogDirectory, {.bytes = 1U << 20}));
  EXPECT_FALSE(Made(R::kAtaLogDirectory, {.bytes = (1U << 20) + 512}));
  EXPECT_FALSE(Made(R::kScsiInquiry, {.page = 1}));
  EXPECT_FALSE(Made(R::kScsiInquiry, {.bytes = 35}));
  EXPECT_FALSE(Made(R::kScsiVpdPage, {.page = 0x100}));
  EXPECT_FALSE(Made(R::kScsiVpdPage, {.subpage = 1}));
  EXPECT_FALSE(Made(R::kScsiVpdPage, {.bytes = 0x10000}));
  EXPECT_FALSE(Made(R::kScsiLogSense, {.page = 0x40}));
  EXPECT_FALSE(Made(R::kScsiRequestSense, {.bytes = 256}));
  EXPECT_FALSE(Made(R::kScsiTestUnitReady, {.bytes = 1}));
  EXPECT_FALSE(Made(R::kNvmeIdentifyController, {.bytes = 512}));
  EXPECT_FALSE(Made(R::kNvmeSmartLog, {.bytes = 510}));
  EXPECT_FALSE(Made(R::kNvmeSmartLog, {.page = 1}));
  DriveAddress unknown = Address();
  unknown.namespaceId.reset();
  EXPECT_FALSE(MakeCommand(RowOf(R::kNvmeIdentifyNamespace), {}, unknown));
  EXPECT_TRUE(MakeCommand(RowOf(R::kNvmeIdentifyController), {}, unknown));
}

}  // namespace
}  // namespace orvan::storage

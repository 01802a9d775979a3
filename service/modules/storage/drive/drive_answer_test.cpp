#include "service/modules/storage/drive/drive_answer.h"

#include <gtest/gtest.h>

#include "service/modules/storage/drive/drive_test_support.h"

namespace orvan::storage {
namespace {

using R = DriveRequest;

DriveAnswer Meaning(R request, sdk::CommandAnswer answer) {
  return MeaningOf(RowOf(request), RowOf(request).bytes, std::move(answer));
}

TEST(DriveAnswerTest, AScsiDriveSaysWhyInWords) {
  struct Row {
    sdk::CommandAnswer answer;
    Kind kind;
    const char* reason;
  };
  const auto status = [](std::uint8_t code) {
    sdk::CommandAnswer answer = Good(RawBytes(252));
    answer.scsiStatus = code;
    return answer;
  };
  sdk::CommandAnswer deferred = Condition(4, 0x44, 0);
  deferred.sense[0] = 0x71;
  const std::vector<Row> rows = {
      {status(0x08), Kind::kNotNow, "the drive is busy"},
      {status(0x18), Kind::kNotNow, "somebody else has reserved the drive"},
      {status(0x40), Kind::kNotNow, "somebody else has aborted it"},
      {status(0x04), Kind::kGarbage, "no such command ends with status 04h"},
      {Condition(2, 0x3A, 0), Kind::kNotNow, "not ready: medium not present (3Ah/00h)"},
      {Condition(2, 4, 9), Kind::kNotNow,
       "not ready: not ready, a self-test is in progress (04h/09h)"},
      {Condition(3, 0x11, 0), Kind::kFailed, "medium error: unrecovered read error (11h/00h)"},
      {Condition(4, 0x44, 0), Kind::kFailed,
       "hardware error: internal failure of the drive (44h/00h)"},
      {Condition(5, 0x2C, 0), Kind::kFailed, "illegal request: command sequence error (2Ch/00h)"},
      {Condition(5, 0x26, 0), Kind::kNotSupported,
       "illegal request: invalid field in the parameters (26h/00h)"},
      {Condition(6, 0x29, 0), Kind::kNotNow, "unit attention: power on or reset (29h/00h)"},
      {Condition(7, 0x20, 0x7F), Kind::kNotNow, ""},
      {Condition(0xB, 0x47, 3), Kind::kFailed,
       "aborted command: checksum error on the bus (47h/03h)"},
      {Condition(0xB, 0, 0), Kind::kNotNow, "aborted command: no additional sense (00h/00h)"},
      {Condition(9, 1, 2), Kind::kFailed, ""},
      {deferred, Kind::kNotNow,
       "the drive first reports an earlier command, hardware error: internal failure of the drive "
       "(44h/00h)"},
  };
  for (const Row& row : rows) {
    const DriveAnswer meaning = Meaning(R::kScsiLogSense, row.answer);
    EXPECT_EQ(meaning.kind, row.kind) << row.reason;
    EXPECT_EQ(meaning.reason.rfind(std::string("LOG SENSE: ") + row.reason, 0), 0U)
        << meaning.reason;
  }
}

TEST(DriveAnswerTest, ARecoveredErrorIsNone) {
  sdk::CommandAnswer answer = Condition(1, 0x0B, 1);
  answer.data = RawBytes(252, 7);
  const DriveAnswer meaning = Meaning(R::kScsiLogSense, answer);
  EXPECT_TRUE(meaning.IsDone());
  EXPECT_EQ(meaning.data, RawBytes(252, 7));
  ASSERT_TRUE(meaning.sense);
  EXPECT_EQ(meaning.sense->additional, (scsi::AdditionalSense{0x0B, 1}));
}

TEST(DriveAnswerTest, AnNvmeDriveSaysWhyInWords) {
  struct Row {
    std::uint16_t status;
    Kind kind;
    const char* reason;
  };
  const std::vector<Row> rows = {
      {0x4001, Kind::kNotSupported, "invalid command opcode (001h)"},
      {0x4109, Kind::kNotSupported, "invalid log page (109h)"},
      {0x411D, Kind::kNotNow, "a self-test is in progress (11Dh)"},
      {0x0082, Kind::kNotNow, "the namespace is not ready (082h)"},
      {0x0006, Kind::kFailed, "internal error (006h)"},
      {0x00BE, Kind::kFailed, "an error without a name here (0BEh)"},
      {0x01BE, Kind::kFailed, "an error of this command (1BEh)"},
      {0x0281, Kind::kFailed, "unrecovered read error (281h)"},
      {0x0302, Kind::kNotNow, "the path is inaccessible (302h)"},
      {0x0500, Kind::kGarbage, "an error of unknown type (500h)"},
      {0x07C0, Kind::kFailed, "an error of the maker's (7C0h)"},
  };
  for (const Row& row : rows) {
    const DriveAnswer meaning = Meaning(R::kNvmeSelfTestLog, Completion(row.status));
    EXPECT_EQ(meaning.kind, row.kind) << row.reason;
    EXPECT_EQ(meaning.reason, std::string("Device Self-test log: ") + row.reason);
    EXPECT_EQ(meaning.nvmeStatus, row.status);
  }
}

TEST(DriveAnswerTest, AShortAnswerSaysHowShort) {
  EXPECT_EQ(Meaning(R::kSmartData, Good(RawBytes(300))).reason,
            "SMART READ DATA: the answer has 300 of 512 bytes");
  EXPECT_TRUE(Meaning(R::kScsiLogSense, Good(RawBytes(4))).IsDone());
  EXPECT_EQ(Meaning(R::kScsiLogSense, Good(RawBytes(3))).reason,
            "LOG SENSE: the answer has 3 of 4 bytes");
}

TEST(DriveAnswerTest, RegistersOutrankWhatIsSaidInTheirPlaceOnlyWithAnError) {
  // The drive is content, and who speaks for it is not.
  sdk::CommandAnswer answer = WithRegisters(0x50, 0, 0, RawBytes(512));
  answer.sense[2] = 0x04;
  answer.sense[12] = 0x44;
  EXPECT_EQ(Meaning(R::kSmartData, answer).kind, Kind::kFailed);
  // The drive aborts, and who speaks for it calls that an error of the hardware.
  answer.registers.status = 0x51;
  answer.registers.error = 0x04;
  EXPECT_EQ(Meaning(R::kSmartData, answer).kind, Kind::kNotSupported);
}

TEST(DriveAnswerTest, TheRegistersOfSmartReturnStatusSayGoodOrBadOrNothing) {
  sdk::AtaRegisters registers;
  const auto said = [&registers](std::uint64_t lba) {
    registers.lba = lba;
    return SmartStatusIn(registers);
  };
  EXPECT_EQ(said(0xC24F00), SmartStatus::kGood);
  EXPECT_EQ(said(0x2CF400), SmartStatus::kThresholdExceeded);
  // What lies around the signature belongs to others.
  EXPECT_EQ(said(0x55C24F77), SmartStatus::kGood);
  for (const std::uint64_t other :
       {0x000000U, 0xFFFFFFU, 0x4FC200U, 0xF42C00U, 0xC2F400U, 0x2C4F00U}) {
    EXPECT_FALSE(said(other)) << other;
  }
}

TEST(DriveAnswerTest, EveryStatusAndSenseHasAMeaning) {
  for (int status = 0; status < 256; ++status) {
    for (const R request : {R::kSmartData, R::kSmartReturnStatus, R::kScsiLogSense}) {
      sdk::CommandAnswer answer = Good();
      answer.scsiStatus = static_cast<std::uint8_t>(status);
      const DriveAnswer meaning = Meaning(request, answer);
      EXPECT_FALSE(meaning.IsDone()) << status;
      EXPECT_FALSE(meaning.reason.empty()) << status;
    }
  }
  for (int key = 0; key < 16; ++key) {
    const DriveAnswer meaning =
        Meaning(R::kScsiShortSelfTest, Condition(static_cast<std::uint8_t>(key), 0x7E, 0x7E));
    EXPECT_EQ(meaning.IsDone(), key == 1 || key == 15) << key;
  }
}

}  // namespace
}  // namespace orvan::storage

#include "service/modules/storage/scsi/sense.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

Sense SenseOf(const std::string& hex) {
  const auto found = DecodeSense(FromHex(hex));
  EXPECT_TRUE(found.value) << hex << ": " << found.trouble;
  EXPECT_EQ(found.trouble, "");
  return found.value.value_or(Sense());
}

TEST(FixedSense, TellsKeyCodeAndLba) {
  const Sense sense = SenseOf("F0 00 03 00 00 10 00 0A 00*4 11 00 05 00 00 00");
  EXPECT_FALSE(sense.isDescriptor);
  EXPECT_FALSE(sense.isDeferred);
  EXPECT_EQ(sense.key, SenseKey::kMediumError);
  EXPECT_EQ(sense.additional, (AdditionalSense{0x11, 0x00}));
  EXPECT_EQ(sense.information, 4096U);
  EXPECT_EQ(sense.replaceableUnit, 5);
  EXPECT_FALSE(sense.progress);
  EXPECT_FALSE(sense.registers);
  EXPECT_EQ(SenseText(sense), "medium error: unrecovered read error (11h/00h)");
}

TEST(FixedSense, TellsNoLbaThatIsNotValid) {
  const Sense sense = SenseOf("71 00 04 00 00 10 00 0A 00*4 44 00 00 00 00 00");
  EXPECT_TRUE(sense.isDeferred);
  EXPECT_EQ(sense.key, SenseKey::kHardwareError);
  EXPECT_FALSE(sense.information);
  EXPECT_FALSE(sense.replaceableUnit);
}

// With other keys the same bytes count retries, or point at a field of the command.
TEST(FixedSense, TellsAProgressOnlyWhenNotReadyOrWithoutAKey) {
  EXPECT_EQ(SenseOf("70 00 02 00*4 0A 00*4 04 09 00 80 40 00").progress, 16384);
  EXPECT_EQ(SenseOf("70 00 00 00*4 0A 00*4 00 16 00 80 80 00").progress, 32768);
  EXPECT_FALSE(SenseOf("70 00 02 00*4 0A 00*4 04 09 00 00 40 00").progress);
  EXPECT_FALSE(SenseOf("70 00 03 00*4 0A 00*4 11 00 00 80 40 00").progress);
  EXPECT_FALSE(SenseOf("70 00 05 00*4 0A 00*4 24 00 00 C0 00 02").progress);
}

// A bridge that tells no additional length has not told what stands behind it.
TEST(FixedSense, EndsWhereTheDriveSays) {
  const Sense none = SenseOf("70 00 05 00*4 00 00*4 24 00 00 00 00 00");
  EXPECT_EQ(none.key, SenseKey::kIllegalRequest);
  EXPECT_FALSE(none.additional);
  EXPECT_EQ(SenseText(none), "illegal request");
  const Sense noPointer = SenseOf("70 00 02 00*4 06 00*4 04 09 00 80 40 00");
  EXPECT_EQ(noPointer.additional, (AdditionalSense{0x04, 0x09}));
  EXPECT_FALSE(noPointer.progress);
}

TEST(FixedSense, OfFewBytesTellsTheKeyAlone) {
  const Sense sense = SenseOf("F0 00 06 00");
  EXPECT_EQ(sense.key, SenseKey::kUnitAttention);
  EXPECT_FALSE(sense.additional);
  EXPECT_FALSE(sense.information);
}

// SMART RETURN STATUS of a drive whose threshold is passed: F4h in the middle, 2Ch in the high byte
// of the address. Flags, and the registers where an LBA would be.
TEST(FixedSense, HoldsTheRegistersOfAnAtaDrive) {
  const Sense sense = SenseOf("F0 00 01 04 51 40 02 0A 00 01 F4 2C 00 1D 00 00 00 00");
  ASSERT_TRUE(sense.registers);
  EXPECT_EQ(sense.registers->error, 0x04);
  EXPECT_EQ(sense.registers->status, 0x51);
  EXPECT_EQ(sense.registers->device, 0x40);
  EXPECT_EQ(sense.registers->count, 0x02);
  EXPECT_EQ(sense.registers->lba, 0x2CF401U);
  EXPECT_FALSE(sense.information);
}

TEST(DescriptorSense, TellsKeyCodeAndLba) {
  const Sense sense =
      SenseOf("72 03 11 00 00 00 00 10 00 0A 80 00 00 00 00 01 2A 05 F2 00 03 02 00 07");
  EXPECT_TRUE(sense.isDescriptor);
  EXPECT_FALSE(sense.isDeferred);
  EXPECT_EQ(sense.key, SenseKey::kMediumError);
  EXPECT_EQ(sense.additional, (AdditionalSense{0x11, 0x00}));
  EXPECT_EQ(sense.information, 5000000000U);
  EXPECT_EQ(sense.replaceableUnit, 7);
  EXPECT_TRUE(SenseOf("73 03 11 00 00 00 00 00").isDeferred);
}

TEST(DescriptorSense, TellsNoLbaThatIsNotValid) {
  EXPECT_FALSE(SenseOf("72 03 11 00 00 00 00 0C 00 0A 00 00 00 00 00 01 2A 05 F2 00").information);
}

TEST(DescriptorSense, TellsAProgress) {
  EXPECT_EQ(SenseOf("72 02 04 09 00 00 00 08 02 06 00 00 80 40 00 00").progress, 16384);
  EXPECT_FALSE(SenseOf("72 02 04 09 00 00 00 08 02 06 00 00 00 40 00 00").progress);
  EXPECT_FALSE(SenseOf("72 05 24 00 00 00 00 08 02 06 00 00 C0 00 02 00").progress);
}

// The same as in fixed format, of a 48-bit command: count 0102h, address 060504030201h.
TEST(DescriptorSense, HoldsTheRegistersOfAnAtaDrive) {
  const Sense sense = SenseOf("72 01 00 1D 00 00 00 0E 09 0C 01 04 01 02 04 01 05 02 06 03 E0 51");
  ASSERT_TRUE(sense.registers);
  EXPECT_EQ(sense.registers->error, 0x04);
  EXPECT_EQ(sense.registers->count, 0x0102);
  EXPECT_EQ(sense.registers->lba, 0x060504030201U);
  EXPECT_EQ(sense.registers->device, 0xE0);
  EXPECT_EQ(sense.registers->status, 0x51);
}

// What stands in the high bytes after a 28-bit command is left over from another.
TEST(DescriptorSense, HoldsTheLowRegistersOfAShortCommand) {
  const Sense sense = SenseOf("72 01 00 1D 00 00 00 0E 09 0C 00 00 01 02 04 00 05 4F 06 C2 40 50");
  ASSERT_TRUE(sense.registers);
  EXPECT_EQ(sense.registers->count, 0x02);
  EXPECT_EQ(sense.registers->lba, 0xC24F00U);
}

TEST(DescriptorSense, PassesOverWhatItDoesNotKnowAndWhatIsTooShort) {
  const Sense sense = SenseOf(
      "72 03 11 00 00 00 00 1A 80 02 AA BB 00 02 80 00 00 00 00 00 09 00 "
      "00 0A 80 00 00 00 00 00 00 00 00 09");
  EXPECT_EQ(sense.information, 9U);
  EXPECT_FALSE(sense.registers);
}

TEST(DescriptorSense, SaysThatADescriptorIsCut) {
  const auto found = DecodeSense(FromHex("72 03 11 00 00 00 00 0C 00 0A 80 00 00 00"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->key, SenseKey::kMediumError);
  EXPECT_FALSE(found.value->information);
  EXPECT_EQ(found.trouble, "the descriptor 00h of the sense data is cut");
}

TEST(DescriptorSense, EndsWhereTheDriveSays) {
  const Sense sense = SenseOf("72 03 11 00 00 00 00 00 00 0A 80 00 00 00 00 01 2A 05 F2 00");
  EXPECT_FALSE(sense.information);
}

TEST(Sense, IsNoneWithoutDataOrInAnUnknownFormat) {
  EXPECT_EQ(DecodeSense({}).trouble, "there is no sense data");
  EXPECT_EQ(DecodeSense(FromHex("70 00")).trouble, "there is no sense data");
  EXPECT_EQ(DecodeSense(FromHex("00*18")).trouble, "there is no sense data");
  EXPECT_EQ(DecodeSense(FromHex("7F 00 03 11")).trouble, "the sense data has the format 7Fh");
  EXPECT_EQ(DecodeSense(FromHex("80 00 03 11")).trouble, "the sense data has the format 00h");
  EXPECT_FALSE(DecodeSense(FromHex("FF*18")).value);
}

}  // namespace
}  // namespace orvan::storage::scsi

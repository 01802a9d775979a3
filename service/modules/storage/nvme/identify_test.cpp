#include "service/modules/storage/nvme/identify.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::nvme {
namespace {

std::vector<std::uint8_t> NamespaceData() {
  return FromHexFile("nvme/identify_namespace.hex");
}

TEST(NvmeController, TellsWhoItIsAndWhatItCan) {
  const auto found = DecodeController(FromHexFile("nvme/identify_controller.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  const Controller& controller = *found.value;
  EXPECT_EQ(controller.serial, "S4EWNX0R123456A");
  EXPECT_EQ(controller.model, "Samsung SSD 970 EVO Plus 1TB");
  EXPECT_EQ(controller.firmware, "2B2QEXM7");
  EXPECT_EQ(controller.vendor, 0x144D);
  EXPECT_EQ(controller.version, 0x00010300U);
  EXPECT_EQ(controller.transferPages, 9);
  EXPECT_TRUE(controller.hasSecurity);
  EXPECT_TRUE(controller.hasFormat);
  EXPECT_TRUE(controller.hasSelfTest);
  EXPECT_TRUE(controller.hasTrim);
  EXPECT_TRUE(controller.hasVolatileCache);
  EXPECT_TRUE(controller.hasHealthOfNamespaces);
  EXPECT_TRUE(controller.hasLongLogs);
  EXPECT_TRUE(controller.testsOneAtATime);
  EXPECT_EQ(controller.errorEntries, 64);
  EXPECT_EQ(controller.namespaces, 1U);
  EXPECT_EQ(controller.warningKelvin, 358);
  EXPECT_EQ(controller.criticalKelvin, 359);
  EXPECT_EQ(controller.totalBytes->Text(), "1000204886016");
  EXPECT_FALSE(controller.unallocatedBytes);
  EXPECT_EQ(controller.extendedTestMinutes, 35);
  EXPECT_TRUE(controller.canCryptoErase);
  EXPECT_TRUE(controller.canBlockErase);
  EXPECT_FALSE(controller.canOverwrite);
}

TEST(NvmeController, OfTheLaboratoryIsKnown) {
  const auto found = DecodeController(FromHexFile("nvme/lab_identify_controller.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->serial, "nvme");
  EXPECT_EQ(found.value->model, "QEMU NVMe Ctrl");
  EXPECT_EQ(found.value->firmware, "7.2.22");
  EXPECT_EQ(found.value->vendor, 0x1B36);
  EXPECT_EQ(found.value->version, 0x00010400U);
  EXPECT_TRUE(found.value->hasFormat);
  EXPECT_FALSE(found.value->hasSelfTest);
  EXPECT_TRUE(found.value->hasTrim);
  EXPECT_EQ(found.value->errorEntries, 1);
  EXPECT_EQ(found.value->namespaces, 256U);
  EXPECT_EQ(found.value->warningKelvin, 343);
  EXPECT_EQ(found.value->criticalKelvin, 373);
  EXPECT_FALSE(found.value->totalBytes);
}

TEST(NvmeController, ThatTellsNothingHasNothing) {
  const auto found = DecodeController(FromHex("4D 14 00*260 FF 00*3833"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->serial, "");
  EXPECT_FALSE(found.value->version);
  EXPECT_FALSE(found.value->hasSelfTest);
  EXPECT_EQ(found.value->errorEntries, 256);
  EXPECT_FALSE(found.value->warningKelvin);
  EXPECT_FALSE(found.value->totalBytes);
  EXPECT_FALSE(found.value->extendedTestMinutes);
}

struct AbilityRow {
  std::size_t at;
  unsigned bit;
  bool Controller::*ability;
};

// Each ability is told by its own bit and by no other.
TEST(NvmeController, CanWhatItsBitsSay) {
  const std::vector<AbilityRow> rows = {
      {256, 0, &Controller::hasSecurity},     {256, 1, &Controller::hasFormat},
      {256, 4, &Controller::hasSelfTest},     {261, 0, &Controller::hasHealthOfNamespaces},
      {261, 2, &Controller::hasLongLogs},     {318, 0, &Controller::testsOneAtATime},
      {328, 0, &Controller::canCryptoErase},  {328, 1, &Controller::canBlockErase},
      {328, 2, &Controller::canOverwrite},    {520, 2, &Controller::hasTrim},
      {525, 0, &Controller::hasVolatileCache}};
  for (const AbilityRow& set : rows) {
    auto answer = FromHex("4D 14 00*4094");
    answer[set.at] = static_cast<std::uint8_t>(1U << set.bit);
    const Controller found = *DecodeController(answer).value;
    for (const AbilityRow& row : rows) {
      EXPECT_EQ(found.*row.ability, &row == &set) << row.at << ' ' << row.bit << ' ' << set.at;
    }
  }
}

TEST(NvmeController, IsNotTakenFromAShortOrEmptyAnswer) {
  auto answer = FromHexFile("nvme/identify_controller.hex");
  answer.pop_back();
  EXPECT_EQ(DecodeController(answer).trouble, "the answer has 4095 of 4096 bytes");
  EXPECT_EQ(DecodeController({}).trouble, "the answer has 0 of 4096 bytes");
  EXPECT_EQ(DecodeController(FromHex("00*4096")).trouble, "the answer is all zeros");
  EXPECT_EQ(DecodeController(FromHex("FF*4096")).trouble, "the answer is all ones");
}

TEST(NvmeNamespace, TellsItsSizeFormatAndName) {
  const auto found = DecodeNamespace(NamespaceData());
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  const Namespace& space = *found.value;
  EXPECT_EQ(space.blocks, 1953525168U);
  EXPECT_EQ(space.blocksThatMayBeUsed, 1953525168U);
  EXPECT_EQ(space.blocksInUse, 973078528U);
  ASSERT_EQ(space.formats.size(), 2U);
  EXPECT_EQ(space.format, 0U);
  EXPECT_EQ(space.formats[0].dataBytes, 512U);
  EXPECT_EQ(space.formats[0].performance, 2);
  EXPECT_EQ(space.formats[1].dataBytes, 4096U);
  EXPECT_FALSE(space.isThin);
  EXPECT_FALSE(space.hasDataTags);
  EXPECT_EQ(space.protectionType, 0);
  EXPECT_EQ(space.bytes->Text(), "1000204886016");
  EXPECT_FALSE(space.globalId);
  EXPECT_EQ(WorldWideName(space), "eui.0025385b71b0cafe");
}

TEST(NvmeNamespace, OfTheLaboratoryIsKnown) {
  const auto found = DecodeNamespace(FromHexFile("nvme/lab_identify_namespace.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->blocks, 16384U);
  ASSERT_EQ(found.value->formats.size(), 8U);
  EXPECT_EQ(found.value->format, 0U);
  EXPECT_EQ(found.value->formats[0].dataBytes, 512U);
  EXPECT_EQ(found.value->formats[3].metadataBytes, 64);
  EXPECT_EQ(found.value->formats[4].dataBytes, 4096U);
  EXPECT_EQ(WorldWideName(*found.value), "");
}

TEST(NvmeNamespace, PrefersItsGlobalName) {
  auto answer = NamespaceData();
  for (std::size_t i = 0; i < 16; ++i) answer[104 + i] = static_cast<std::uint8_t>(0xA0 + i);
  EXPECT_EQ(WorldWideName(*DecodeNamespace(answer).value), "eui.a0a1a2a3a4a5a6a7a8a9aaabacadaeaf");
  for (std::size_t i = 104; i < 128; ++i) answer[i] = 0xFF;
  EXPECT_EQ(WorldWideName(*DecodeNamespace(answer).value), "");
}

TEST(NvmeNamespace, ThatIsNotActiveIsNone) {
  EXPECT_EQ(DecodeNamespace(FromHex("00*4096")).trouble, "the namespace is not active");
  EXPECT_EQ(DecodeNamespace(FromHex("00*512")).trouble, "the answer has 512 of 4096 bytes");
  EXPECT_EQ(DecodeNamespace(FromHex("FF*4096")).trouble, "the answer is all ones");
}

TEST(NvmeNamespace, HasAFormatOutOfItsList) {
  auto answer = NamespaceData();
  answer[26] = 0x12;
  EXPECT_EQ(DecodeNamespace(answer).trouble, "the namespace has the format 2 of 2");
  answer[26] = 0x11;
  const auto second = DecodeNamespace(answer);
  ASSERT_TRUE(second.value);
  EXPECT_EQ(second.value->format, 1U);
  EXPECT_TRUE(second.value->hasDataTags);
  answer[25] = 64;
  EXPECT_EQ(DecodeNamespace(answer).trouble, "the namespace has 65 formats, 64 are the most");
}

// With more than 16 formats bits 6:5 go in front of the others: 01 and 0001 are 17.
TEST(NvmeNamespace, HasOneOfManyFormats) {
  auto answer = NamespaceData();
  answer[25] = 17;
  answer[26] = 0x21;
  answer[128 + 4 * 17 + 2] = 12;
  const auto found = DecodeNamespace(answer);
  ASSERT_TRUE(found.value) << found.trouble;
  EXPECT_EQ(found.value->format, 17U);
  EXPECT_EQ(found.value->formats[17].dataBytes, 4096U);
  answer[25] = 15;
  EXPECT_EQ(DecodeNamespace(answer).value->format, 1U);
}

TEST(NvmeNamespace, HasBlocksOfSomeSize) {
  auto answer = NamespaceData();
  for (const int power : {0, 8, 32, 255}) {
    answer[130] = static_cast<std::uint8_t>(power);
    EXPECT_EQ(DecodeNamespace(answer).trouble, "the namespace has blocks of no size") << power;
  }
  answer[130] = 9;
  answer[134] = 0;
  const auto found = DecodeNamespace(answer);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->formats[1].dataBytes, 0U);
}

}  // namespace
}  // namespace orvan::storage::nvme

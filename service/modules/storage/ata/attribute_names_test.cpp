#include "service/modules/storage/ata/attribute_names.h"

#include <gtest/gtest.h>

namespace orvan::storage::ata {
namespace {

constexpr const char* kModels[] = {"",
                                   "QEMU HARDDISK",
                                   "FUJITSU MHT2060AT",
                                   "INTEL SSDSC2BP480G4",
                                   "KINGSTON SV300S37A120G",
                                   "Maxtor 6Y080L0",
                                   "Crucial_CT256MX100SSD1",
                                   "CT500MX500SSD1",
                                   "SAMSUNG HD103UJ",
                                   "Samsung SSD 860 EVO 500GB",
                                   "ST4000DM004-2CV104",
                                   "WDC WD40EFRX-68N32N0"};

AttributeMeaning Of(std::uint8_t id, const char* model, std::optional<bool> isRotating = {}) {
  return MeaningOf(id, model, isRotating);
}

TEST(AtaAttributeNamesTest, NamesWhatDrivesShare) {
  EXPECT_EQ(Of(5, "").name, "Reallocated sectors");
  EXPECT_EQ(Of(197, "WDC WD40EFRX-68N32N0", true).name, "Pending sectors");
  EXPECT_EQ(Of(198, "", false).name, "Offline uncorrectable sectors");
  EXPECT_EQ(Of(187, "").name, "Reported uncorrectable errors");
  EXPECT_EQ(Of(199, "").name, "Interface CRC errors");
  EXPECT_EQ(Of(194, "").form, RawForm::kTemperature);
  EXPECT_EQ(Of(9, "QEMU HARDDISK").form, RawForm::kHours);
}

TEST(AtaAttributeNamesTest, KnowsMakersByTheirModels) {
  EXPECT_EQ(Of(9, "FUJITSU MHT2060AT").form, RawForm::kSeconds);
  EXPECT_EQ(Of(9, "Maxtor 6Y080L0").form, RawForm::kMinutes);
  EXPECT_EQ(Of(9, "SAMSUNG HD103UJ").form, RawForm::kHalfMinutes);
  EXPECT_EQ(Of(9, "Samsung SSD 860 EVO 500GB").form, RawForm::kHours);
  EXPECT_EQ(Of(190, "INTEL SSDSC2BP480G4", false).name, "Case temperature");
  EXPECT_EQ(Of(202, "CT500MX500SSD1", false).name, "Percent lifetime remaining");
  EXPECT_EQ(Of(202, "Crucial_CT256MX100SSD1", false).name, "Percent lifetime remaining");
  EXPECT_EQ(Of(202, "ST4000DM004-2CV104", true).name, "Data address mark errors");
  EXPECT_EQ(Of(188, "ST4000DM004-2CV104", true).form, RawForm::kThreeWords);
  // A maker's own word goes before that of all drives; what it says nothing of is shared.
  EXPECT_EQ(Of(233, "KINGSTON SV300S37A120G", false).name, "Lifetime writes to flash, GiB");
  EXPECT_EQ(Of(12, "KINGSTON SV300S37A120G", false).name, "Power cycles");
  // Models that only begin alike.
  EXPECT_EQ(Of(188, "STORAGE DISK").form, RawForm::kNumber);
  EXPECT_EQ(Of(202, "CT5", false).name, "Vendor specific");
}

TEST(AtaAttributeNamesTest, TellsDisksFromSolidStateDrives) {
  EXPECT_EQ(Of(7, "", true).name, "Seek error rate");
  EXPECT_FALSE(Of(7, "", false).isKnown);
  EXPECT_EQ(Of(177, "", false).name, "Wear leveling count");
  EXPECT_FALSE(Of(177, "", true).isKnown);
  EXPECT_EQ(Of(7, "", std::nullopt).name, "Seek error rate");
  EXPECT_EQ(Of(177, "", std::nullopt).name, "Wear leveling count");
}

TEST(AtaAttributeNamesTest, SaysOfWhatNobodyNamesThatItIsTheVendors) {
  const AttributeMeaning meaning = Of(99, "");
  EXPECT_EQ(meaning.name, "Vendor specific");
  EXPECT_EQ(meaning.form, RawForm::kNumber);
  EXPECT_FALSE(meaning.isKnown);
}

TEST(AtaAttributeNamesTest, EveryNameFitsTheColumnOfLists) {
  for (int id = 0; id < 256; ++id) {
    for (const char* model : kModels) {
      for (const std::optional<bool> isRotating :
           {std::optional<bool>{}, std::optional{true}, std::optional{false}}) {
        const AttributeMeaning meaning = Of(static_cast<std::uint8_t>(id), model, isRotating);
        EXPECT_LE(meaning.name.size(), 29U) << meaning.name;
        EXPECT_EQ(meaning.name.find_first_of("\"{}:"), std::string_view::npos) << meaning.name;
        EXPECT_FALSE(meaning.name.empty());
      }
    }
  }
}

}  // namespace
}  // namespace orvan::storage::ata

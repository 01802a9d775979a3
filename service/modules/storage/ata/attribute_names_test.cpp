#include "service/modules/storage/ata/attribute_names.h"

#include <gtest/gtest.h>

namespace orvan::storage::ata {
namespace {

constexpr const char* kModels[] = {"",
                                   "QEMU HARDDISK",
                                   "FUJITSU MHT2060AT",
                                   "FUJITSU MHZ2320BJ",
                                   "INTEL SSDSC2BP480G4",
                                   "KINGSTON SV300S37A120G",
                                   "Maxtor 6Y080L0",
                                   "Crucial_CT256MX100SSD1",
                                   "CT500MX500SSD1",
                                   "CT1000MX500SSD1",
                                   "SAMSUNG SV1204H",
                                   "SAMSUNG SV4012H",
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
  EXPECT_EQ(Of(9, "SAMSUNG SV4012H").form, RawForm::kHalfMinutes);
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

// What a maker counted in units of its own, it counts in hours and degrees in its later drives.
TEST(AtaAttributeNamesTest, TellsAMakersEarlyDrivesFromItsLaterOnes) {
  for (const char* model :
       {"FUJITSU MHW2120BH", "FUJITSU MHY2160BH", "FUJITSU MHZ2320BH G2", "FUJITSU MJA2320BH",
        "Maxtor 6G160E0", "Maxtor 6H500F0", "Maxtor 6V250F0", "Maxtor 7H500F0", "Maxtor 7V300F0",
        "MAXTOR STM3250310AS", "MAXTOR 6L060J3", "SAMSUNG HD103SJ", "SAMSUNG HD103UJ",
        "SAMSUNG SP2504C"}) {
    EXPECT_EQ(Of(9, model, true).form, RawForm::kHours) << model;
    EXPECT_EQ(Of(194, model, true).form, RawForm::kTemperature) << model;
  }
  EXPECT_EQ(Of(9, "FUJITSU MPG3204AT").form, RawForm::kSeconds);
  EXPECT_EQ(Of(9, "FUJITSU MHZ2320BJ").form, RawForm::kMinutes);
  EXPECT_EQ(Of(9, "SAMSUNG SV1204H").form, RawForm::kHalfMinutes);
  EXPECT_EQ(Of(194, "SAMSUNG SV1204H").form, RawForm::kTenths);
  EXPECT_EQ(Of(194, "SAMSUNG SV4012H").form, RawForm::kTemperature);
  EXPECT_EQ(Of(188, "MAXTOR STM3250310AS", true).form, RawForm::kThreeWords);
}

// The firmware of one family raises it for moments in which nothing is wrong.
TEST(AtaAttributeNamesTest, DoesNotCallAPendingSectorWhatIsNone) {
  EXPECT_EQ(Of(197, "CT500MX500SSD1", false).name, "Pending sectors (unreliable)");
  EXPECT_EQ(Of(197, "CT1000MX500SSD4", false).name, "Pending sectors (unreliable)");
  EXPECT_EQ(Of(197, "CT250MX100SSD1", false).name, "Pending sectors");
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

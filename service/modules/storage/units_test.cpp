#include "service/modules/storage/units.h"

#include <gtest/gtest.h>

namespace orvan::storage {
namespace {

TEST(UnitsTest, SizesAreCutAndNotRounded) {
  EXPECT_EQ(DecimalSize(0), "0 bytes");
  EXPECT_EQ(DecimalSize(999), "999 bytes");
  EXPECT_EQ(DecimalSize(1000), "1.0 kB");
  EXPECT_EQ(DecimalSize(999'999), "999.9 kB");
  EXPECT_EQ(DecimalSize(1'999'999), "1.9 MB");
  EXPECT_EQ(DecimalSize(256'060'514'304), "256.0 GB");
  EXPECT_EQ(DecimalSize(18'446'744'073'709'551'615U), "18446.7 PB");
}

TEST(UnitsTest, ATemperatureIsTheOneOfPeopleAndTheDrives) {
  EXPECT_EQ(KelvinText(323), "50 C (323 K)");
  EXPECT_EQ(KelvinText(263), "-10 C (263 K)");
}

}  // namespace
}  // namespace orvan::storage

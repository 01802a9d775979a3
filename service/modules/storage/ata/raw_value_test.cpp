#include "service/modules/storage/ata/raw_value.h"

#include <gtest/gtest.h>

namespace orvan::storage::ata {
namespace {

using Raw = std::array<std::uint8_t, 6>;

struct Case {
  RawForm form;
  Raw raw;
  std::int64_t number;
  const char* text;
};

TEST(AtaRawValueTest, ReadsEachForm) {
  for (const Case& row : {
           Case{RawForm::kNumber, {1, 2, 3, 4, 5, 6}, 0x060504030201, "6618611909121"},
           Case{RawForm::kNumber, {}, 0, "0"},
           Case{RawForm::kWord, {8, 0, 0, 0, 0, 0}, 8, "8"},
           Case{RawForm::kWord, {8, 1, 2, 0, 3, 0}, 264, "264 (3 2)"},
           Case{RawForm::kAverage, {100, 1, 0x2C, 1, 9, 9}, 356, "356 (Average 300)"},
           Case{RawForm::kAverage, {100, 1, 0, 0, 9, 9}, 356, "356"},
           Case{RawForm::kHours, {0x10, 0x27, 0, 0, 0, 0}, 10000, "10000"},
           Case{RawForm::kHours, {0x10, 0x27, 0, 1, 2, 3}, 10000, "10000 (3 2 1)"},
           Case{RawForm::kLongHours, {0, 0, 0, 1, 0, 0}, 0x1000000, "16777216"},
           Case{RawForm::kLongHours, {1, 0, 0, 0, 0, 2}, 1, "1 (2 0)"},
           Case{RawForm::kMinutes, {0x7D, 0, 0, 0, 0, 0}, 2, "2h+05m"},
           Case{RawForm::kHalfMinutes, {0xFB, 0, 0, 0, 0, 0}, 2, "2h+05m"},
           Case{RawForm::kSeconds, {0x29, 0x1D, 0, 0, 0, 0}, 2, "2h+04m+25s"},
           Case{RawForm::kThreeWords, {1, 0, 2, 0, 3, 0}, 1, "3 2 1"},
           Case{RawForm::kTenths, {0x6B, 1, 9, 9, 9, 9}, 36, "36.3"},
       }) {
    const RawValue value = ReadRaw(row.form, row.raw);
    EXPECT_EQ(value.number, row.number) << row.text;
    EXPECT_EQ(value.text, row.text);
    EXPECT_FALSE(value.lowest || value.highest) << row.text;
  }
}

struct TemperatureCase {
  Raw raw;
  std::int64_t number;
  std::optional<int> lowest;
  std::optional<int> highest;
  const char* text;
};

TEST(AtaRawValueTest, FindsExtremesOfTemperaturesWhereMakersPutThem) {
  for (const TemperatureCase& row : {
           TemperatureCase{{36, 0, 0, 0, 0, 0}, 36, {}, {}, "36"},
           // Two words behind, the lowest first or last.
           TemperatureCase{{36, 0, 20, 0, 41, 0}, 36, 20, 41, "36 (Min/Max 20/41)"},
           TemperatureCase{{36, 0, 41, 0, 20, 0}, 36, 20, 41, "36 (Min/Max 20/41)"},
           // Two bytes behind a word, and behind a byte.
           TemperatureCase{{36, 0, 20, 41, 0, 0}, 36, 20, 41, "36 (Min/Max 20/41)"},
           TemperatureCase{{36, 0, 20, 41, 3, 0}, 36, 20, 41, "36 (Min/Max 20/41)"},
           TemperatureCase{{36, 20, 41, 0, 0, 0}, 36, 20, 41, "36 (Min/Max 20/41)"},
           // Below zero, with its sign carried on.
           TemperatureCase{{0xF6, 0xFF, 0, 0, 0, 0}, -10, {}, {}, "-10"},
           TemperatureCase{{0xF6, 0xFF, 0xF1, 0xFF, 41, 0}, -10, -15, 41, "-10 (Min/Max -15/41)"},
           // The emulator's drive.
           TemperatureCase{{0x1F, 0, 0x1F, 0x1F, 0, 0}, 31, 31, 31, "31 (Min/Max 31/31)"},
           // Extremes that the temperature does not lie between are none.
           TemperatureCase{{50, 0, 20, 41, 0, 0}, 50, {}, {}, "50 (0 0 41 20 0)"},
           TemperatureCase{{36, 1, 2, 3, 4, 5}, 36, {}, {}, "36 (5 4 3 2 1)"},
       }) {
    const RawValue value = ReadRaw(RawForm::kTemperature, row.raw);
    EXPECT_EQ(value.number, row.number) << row.text;
    EXPECT_EQ(value.lowest, row.lowest) << row.text;
    EXPECT_EQ(value.highest, row.highest) << row.text;
    EXPECT_EQ(value.text, row.text);
  }
}

}  // namespace
}  // namespace orvan::storage::ata

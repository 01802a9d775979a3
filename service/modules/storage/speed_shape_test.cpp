#include "service/modules/storage/speed_shape.h"

#include <gtest/gtest.h>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

constexpr double kMib = 1U << 20;

DiskFacts Drive(bool isRotating, const std::string& model = "DISK 1000") {
  DiskFacts facts;
  facts.isRotating = isRotating;
  facts.model = model;
  facts.transport = Transport::kSata;
  return facts;
}

SpeedFacts Speed(double outer, double inner, std::chrono::nanoseconds random = 9ms) {
  return {outer * kMib, (outer + inner) / 2 * kMib, inner * kMib, std::max(outer, inner) * kMib,
          random};
}

struct Case {
  const char* what;
  bool isRotating;
  double outer, inner;
  std::chrono::nanoseconds random;
  bool isTrouble;
};

class Shapes : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(
    All, Shapes,
    testing::Values(Case{"a sound drive", true, 200, 95, 9ms, false},
                    Case{"behind a slow bus", true, 33, 33, 12ms, false},
                    Case{"the least sound ratio", true, 200, 60.1, 9ms, false},
                    Case{"an inner edge that crawls", true, 200, 59, 9ms, true},
                    Case{"an outer edge that crawls", true, 90, 120, 9ms, true},
                    Case{"about even", true, 100, 124, 9ms, false},
                    Case{"memory that says that it rotates", true, 5000, 100, 50us, false},
                    Case{"random reads that none rotating does", true, 500, 50, 1900us, false},
                    Case{"faster than any that rotates", true, 700, 50, 9ms, false},
                    Case{"as fast as one that rotates may be", true, 600, 100, 9ms, true},
                    Case{"just faster than that", true, 600.1, 100, 9ms, false},
                    Case{"as soon as one that rotates may be", true, 200, 20, 2ms, true},
                    Case{"just sooner than that", true, 200, 20, 1999us, false},
                    Case{"flash", false, 530, 510, 100us, false},
                    Case{"flash that holds nothing at its end", false, 900, 6500, 90us, false},
                    Case{"nothing at its begin, by ten", false, 7000, 300, 90us, false},
                    Case{"cells that are read with retries", false, 530, 30, 90us, true},
                    Case{"the same at its begin", false, 30, 530, 90us, true},
                    Case{"a slow stick", false, 25, 20, 900us, false}));

TEST_P(Shapes, AreJudgedByWhatADriveIs) {
  const Case& test = GetParam();
  const std::string trouble =
      SpeedTrouble(Drive(test.isRotating), Speed(test.outer, test.inner, test.random), 0);
  EXPECT_EQ(!trouble.empty(), test.isTrouble) << test.what << ": " << trouble;
}

TEST(SpeedShape, SaysBothRates) {
  EXPECT_EQ(
      SpeedTrouble(Drive(true), Speed(200, 40), 0),
      "|ITS_BEGIN_READS_WITH_200_|MI|B/S_AND_ITS_END_WITH_40_|MI|B/S,_WHICH_NO_SOUND_DRIVE_OF_"
      "ITS_KIND_DOES");
}

TEST(SpeedShape, OfVirtualDrivesAndOfUnknownOnesNothingIsExpected) {
  const SpeedFacts odd = Speed(200, 20);
  for (const char* model : {"QEMU HARDDISK", "VBOX HARDDISK", "VMware Virtual I", "Virtual Disk",
                            "Amazon Elastic Block Store"}) {
    EXPECT_EQ(SpeedTrouble(Drive(true, model), odd, 0), "") << model;
  }
  DiskFacts facts = Drive(true);
  facts.transport = Transport::kVirtio;
  EXPECT_EQ(SpeedTrouble(facts, odd, 0), "");
  facts = Drive(true);
  facts.backingFile = "/disk.img";
  EXPECT_EQ(SpeedTrouble(facts, odd, 0), "");
  facts = Drive(true);
  facts.isRotating.reset();
  EXPECT_EQ(SpeedTrouble(facts, odd, 0), "");
}

TEST(SpeedShape, ARateBelowWhatWasWantedIsNamed) {
  DiskFacts facts = Drive(true, "QEMU HARDDISK");
  EXPECT_EQ(SpeedTrouble(facts, Speed(100, 80), 81),
            "|ITS_END_READS_WITH_80_|MI|B/S,_AT_LEAST_81_WERE_WANTED");
  EXPECT_EQ(SpeedTrouble(facts, Speed(100, 80), 80), "");
  EXPECT_EQ(SpeedTrouble(facts, Speed(70, 90), 75),
            "|ITS_BEGIN_READS_WITH_70_|MI|B/S,_AT_LEAST_75_WERE_WANTED");
}

TEST(SpeedShape, WhereTooLittleWasReadNothingIsWrongButWhatWasWantedIsNotShown) {
  SpeedFacts speed = Speed(200, 20);
  speed.inner.reset();
  EXPECT_EQ(SpeedTrouble(Drive(true), speed, 0), "");
  EXPECT_EQ(SpeedTrouble(Drive(true), {}, 0), "");
  EXPECT_EQ(SpeedTrouble(Drive(true), speed, 10),
            "|TOO_LITTLE_WAS_READ_TO_TELL_WHETHER_IT_READS_WITH_10_|MI|B/S");
}

}  // namespace
}  // namespace orvan::storage

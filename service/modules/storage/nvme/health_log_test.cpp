#include "service/modules/storage/nvme/health_log.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::nvme {
namespace {

TEST(NvmeHealth, TellsEveryFieldOfTheLog) {
  const auto found = DecodeHealthLog(FromHexFile("nvme/health_log.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  const HealthLog& log = *found.value;
  EXPECT_EQ(log.criticalWarning, kSpareIsLow | kMediaAreReadOnly);
  EXPECT_EQ(log.kelvin, 323);
  EXPECT_EQ(Celsius(*log.kelvin), 50);
  EXPECT_EQ(log.sparePercent, 7);
  EXPECT_EQ(log.spareThresholdPercent, 10);
  EXPECT_EQ(log.usedPercent, 103);
  EXPECT_EQ(log.enduranceGroupWarning, 4);
  EXPECT_EQ(log.dataUnitsRead.Text(), "12345");
  EXPECT_EQ(log.dataUnitsWritten.Text(), "36893488147419103231");
  EXPECT_EQ(log.hostReads.Text(), "1000");
  EXPECT_EQ(log.hostWrites.Text(), "2000");
  EXPECT_EQ(log.busyMinutes.Text(), "60");
  EXPECT_EQ(log.powerCycles.Text(), "100");
  EXPECT_EQ(log.powerOnHours.Text(), "10000");
  EXPECT_EQ(log.unsafeShutdowns.Text(), "12");
  EXPECT_EQ(log.mediaErrors.Text(), "5");
  EXPECT_EQ(log.errorEntries.Text(), "42");
  EXPECT_EQ(log.warningMinutes, 17U);
  EXPECT_EQ(log.criticalMinutes, 2U);
  EXPECT_EQ(log.sensorKelvin[0], 323);
  EXPECT_EQ(log.sensorKelvin[1], 343);
  EXPECT_FALSE(log.sensorKelvin[2]);
  EXPECT_FALSE(log.sensorKelvin[7]);
  EXPECT_EQ(log.throttleCounts[0], 3U);
  EXPECT_EQ(log.throttleCounts[1], 1U);
  EXPECT_EQ(log.throttleSeconds[0], 180U);
  EXPECT_EQ(log.throttleSeconds[1], 30U);
}

// The emulator has no spare and no threshold, and one warning that was set from outside.
TEST(NvmeHealth, OfTheLaboratoryIsKnown) {
  const auto found = DecodeHealthLog(FromHexFile("nvme/lab_health_log.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->criticalWarning, kReliabilityIsDegraded);
  EXPECT_EQ(found.value->kelvin, 323);
  EXPECT_EQ(found.value->sparePercent, 0);
  EXPECT_EQ(found.value->spareThresholdPercent, 0);
  EXPECT_EQ(found.value->dataUnitsRead.Text(), "1");
  EXPECT_EQ(found.value->hostReads.Text(), "4");
  EXPECT_EQ(found.value->mediaErrors, WideCount());
}

TEST(NvmeHealth, OfAControllerThatTellsNoTemperatureHasNone) {
  auto answer = FromHexFile("nvme/health_log.hex");
  answer[1] = answer[2] = 0;
  EXPECT_FALSE(DecodeHealthLog(answer).value->kelvin);
}

TEST(NvmeHealth, HasNoSpareAboveAWhole) {
  auto answer = FromHexFile("nvme/health_log.hex");
  answer[3] = 101;
  const auto found = DecodeHealthLog(answer);
  ASSERT_TRUE(found.value);
  EXPECT_FALSE(found.value->sparePercent);
  EXPECT_EQ(found.value->spareThresholdPercent, 10);
  EXPECT_EQ(found.trouble, "the available spare, or its threshold, is 101 percent");
  answer[3] = 100;
  answer[4] = 255;
  EXPECT_EQ(DecodeHealthLog(answer).value->sparePercent, 100);
  EXPECT_FALSE(DecodeHealthLog(answer).value->spareThresholdPercent);
}

TEST(NvmeHealth, IsNotTakenFromAShortOrEmptyAnswer) {
  auto answer = FromHexFile("nvme/health_log.hex");
  answer.resize(300);
  EXPECT_EQ(DecodeHealthLog(answer).trouble, "the answer has 300 of 512 bytes");
  EXPECT_EQ(DecodeHealthLog(FromHex("00*512")).trouble, "the answer is all zeros");
  EXPECT_EQ(DecodeHealthLog(FromHex("FF*512")).trouble, "the answer is all ones");
}

}  // namespace
}  // namespace orvan::storage::nvme

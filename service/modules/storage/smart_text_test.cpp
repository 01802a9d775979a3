#include "service/modules/storage/smart_text.h"

#include <gtest/gtest.h>

namespace orvan::storage {
namespace {

TEST(SmartTextTest, EachAttributeIsARecordInTheOrderOfTheColumns) {
  const HealthAttributes attributes{{5, "Reallocated sectors", "36", "100", "99", "7"},
                                    {9, "Power-on hours"}};
  EXPECT_EQ(TextOfColumns(attributes),
            R"([{"id":"5","name":"Reallocated sectors","threshold":"36","value":"100",)"
            R"("worst":"99","data":"7"},)"
            R"({"id":"9","name":"Power-on hours","threshold":"-","value":"-","worst":"-",)"
            R"("data":"-"}])");
  EXPECT_EQ(TextOfData(attributes), R"([{"id":"5","name":"Reallocated sectors","data":"7"},)"
                                    R"({"id":"9","name":"Power-on hours","data":"-"}])");
}

TEST(SmartTextTest, NothingIsAnEmptyText) {
  EXPECT_EQ(TextOfColumns({}), "");
  EXPECT_EQ(TextOfData({}), "");
  EXPECT_EQ(TextOf(DriveInformation()), "");
}

TEST(SmartTextTest, WhatADriveTellsOfItselfIsPairs) {
  EXPECT_EQ(TextOf({{"Model", "M 1"}, {"TRIM", "yes"}}),
            R"([{"name":"Model","value":"M 1"},{"name":"TRIM","value":"yes"}])");
}

// Who cuts the text up takes a brace for the end of a record and a quote for that of a value.
TEST(SmartTextTest, NoValueBreaksTheTextApart) {
  EXPECT_EQ(TextOf({{"Model", R"(a"},{"id":"9)"}}), R"([{"name":"Model","value":"a'),('id':'9"}])");
  HealthAttributes attributes{{1, "na\"me{"}};
  attributes[0].data = "}1:2";
  EXPECT_EQ(TextOfData(attributes), R"([{"id":"1","name":"na'me(","data":")1:2"}])");
}

}  // namespace
}  // namespace orvan::storage

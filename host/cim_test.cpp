#include "host/cim.h"

#include <gtest/gtest.h>

namespace tarvex {
namespace {

TEST(RefusingCimTest, RefusesBothOperationsWithOne) {
  RefusingCim cim;
  EXPECT_EQ(cim.WriteRecord({"key"}, {"value"}, "class", L"root\\name"), 1);
  EXPECT_EQ(cim.RemoveNamespace("root", "parent", "name"), 1);
}

}  // namespace
}  // namespace tarvex

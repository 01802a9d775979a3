#include "os/machine_id.h"

#include <gtest/gtest.h>

#include <fstream>

namespace tarvex {
namespace {

TEST(MachineId, IsAStableNumberAndNotTheSystemsOwn) {
  const std::string id = MachineId();
  EXPECT_EQ(MachineId(), id);
  std::string own;
  std::ifstream("/etc/machine-id") >> own;
  if (own.size() != 32) {
    EXPECT_EQ(id, "");
    return;
  }
  EXPECT_EQ(id.size(), 32U);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(id, own);
}

}  // namespace
}  // namespace tarvex

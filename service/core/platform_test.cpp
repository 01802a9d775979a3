#include "service/core/platform.h"

#include <gtest/gtest.h>

#include "tests/support/service_test_support.h"

namespace orvan::core {
namespace {

using testing::TemporaryFolder;

TEST(IsWritableFolder, IsTrueForFoldersOnly) {
  TemporaryFolder folder;
  EXPECT_TRUE(IsWritableFolder(folder.Path()));
  EXPECT_FALSE(IsWritableFolder(folder.Write("file", "")));
  EXPECT_FALSE(IsWritableFolder(folder.Path("missing")));
  EXPECT_FALSE(IsWritableFolder(folder.Path() + std::string("\0x", 2)));
}

}  // namespace
}  // namespace orvan::core

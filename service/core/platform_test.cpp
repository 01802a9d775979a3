#include "service/core/platform.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

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

TEST(MakeModuleFolder, IsForItsOwnerAloneAndClosedWhereItWasNot) {
  TemporaryFolder folder;
  const std::string state = folder.Path() + std::string("/state");
  for (const bool wasOpen : {false, true}) {
    if (wasOpen) {
      for (const char* name : {"/modules", "/modules/storage"}) {
        std::filesystem::permissions(state + name, std::filesystem::perms(0755));
      }
    }
    std::string fault;
    EXPECT_TRUE(MakeModuleFolder(state, "storage", fault).IsOpen()) << fault;
    for (const char* name : {"/modules", "/modules/storage"}) {
      EXPECT_EQ(std::filesystem::status(state + name).permissions(), std::filesystem::perms(0700))
          << name;
    }
  }
  // What lies beside it is for other programs, too.
  EXPECT_EQ(std::filesystem::status(state).permissions(), std::filesystem::perms(0755));
}

TEST(MakeModuleFolder, IsNoneWhereOthersMayHaveWrittenIt) {
  TemporaryFolder folder;
  const std::string state = folder.Path() + std::string("/state");
  std::string fault;
  ASSERT_TRUE(MakeModuleFolder(state, "storage", fault).IsOpen());
  std::filesystem::permissions(state + "/modules", std::filesystem::perms(0777));
  EXPECT_FALSE(MakeModuleFolder(state, "storage", fault).IsOpen());
  EXPECT_EQ(fault, "can be written by others");
}

}  // namespace
}  // namespace orvan::core

#include "system/drive_info.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/test_folder.h"

namespace tarvex {
namespace {

class DriveInfo : public testing::Test {
 protected:
  DriveInfo() { std::filesystem::current_path(folder_.Path()); }
  ~DriveInfo() override { std::filesystem::current_path(before_); }
  bool IsOn(const std::string& text) {
    folder_.Write("config.ini", text);
    return IsDriveInfoEnabled();
  }
  const TestFolder folder_;
  const std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(DriveInfo, IsOffWithoutAFile) {
  EXPECT_FALSE(IsDriveInfoEnabled());
}

TEST_F(DriveInfo, IsOnForExactlyTheCharacterOne) {
  EXPECT_TRUE(IsOn("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1"));
  EXPECT_TRUE(IsOn("[storage]\nenable_tarvex_drive_info = 1;on\n"));
  EXPECT_TRUE(IsOn("[Storage] Enable_Tarvex_Drive_Info= 1\r\n"));
  for (const char* const value : {"0", "2", "11", "1 ", "01", "true", "\"1\""}) {
    EXPECT_FALSE(IsOn(std::string("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=") + value)) << value;
  }
}

TEST_F(DriveInfo, IsOffInAnotherPlace) {
  EXPECT_FALSE(IsOn("ENABLE_TARVEX_DRIVE_INFO=1"));
  EXPECT_FALSE(IsOn("[OTHER]\nENABLE_TARVEX_DRIVE_INFO=1"));
  EXPECT_FALSE(IsOn("[ STORAGE ]\nENABLE_TARVEX_DRIVE_INFO=1"));
}

TEST_F(DriveInfo, IsOffInAFileWithAFaultAnywhere) {
  EXPECT_FALSE(IsOn("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\nword"));
  EXPECT_FALSE(IsOn("word\n[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1"));
}

TEST_F(DriveInfo, IsReadAnewEachTime) {
  EXPECT_TRUE(IsOn("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1"));
  EXPECT_FALSE(IsOn("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=0"));
}

TEST_F(DriveInfo, IsOffAndSaidSoWhereNothingCanReadIt) {
  folder_.Write("config.ini", "[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(IsDriveInfoEnabledBy("libno-such-thing.so.7"));
  EXPECT_FALSE(IsDriveInfoEnabledBy("libm.so.6")) << "it lacks the function";
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find("config.ini is not read: libno-such-thing.so.7: "), std::string::npos);
  EXPECT_NE(told.find("undefined symbol: TarvexReadDriveInfo"), std::string::npos) << told;
}

TEST_F(DriveInfo, NothingIsLoadedWhereThereIsNoFile) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(IsDriveInfoEnabledBy("libno-such-thing.so.7"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(DriveInfo, ALinkIsNotFollowed) {
  folder_.Write("other", "[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1");
  std::filesystem::create_symlink("other", folder_ / "config.ini");
  EXPECT_FALSE(IsDriveInfoEnabled());
}

}  // namespace
}  // namespace tarvex

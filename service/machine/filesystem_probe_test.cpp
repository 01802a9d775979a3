#include "service/machine/filesystem_probe.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "tests/support/file_server.h"
#include "tests/support/test_threads.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;

class FilesystemProbeTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "probe_XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string folder_;
  std::shared_ptr<LeftBehindCount> left_ = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls_{left_};
};

// Source: Linux, include/linux/swap.h: version at 1024, pages at 1028, label at 1052, and the
// magic in the last ten bytes of the first page of 4096.
std::string SwapImage(const std::string& label) {
  std::string image(1 << 20, '\0');
  image[1024] = 1;
  image[1028] = static_cast<char>(255);
  image.replace(1036, 16, "0123456789abcdef");
  image.replace(1052, label.size(), label);
  image.replace(4086, 10, "SWAPSPACE2");
  return image;
}

// A table with one partition of type 83h at sector 1, 1024 sectors long.
std::string DosTableImage() {
  std::string image(1 << 20, '\0');
  image[446 + 4] = static_cast<char>(0x83);
  image[446 + 8] = 1;
  image[446 + 13] = 4;
  image[510] = static_cast<char>(0x55);
  image[511] = static_cast<char>(0xAA);
  return image;
}

TEST_F(FilesystemProbeTest, FindsKindAndLabelOfAFileSystem) {
  std::ofstream(folder_ + "/image") << SwapImage("my disk");
  const auto facts = MakeFilesystemProbe(calls_, 5s)->Probe(folder_ + "/image", "", 5s, {});
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->fileSystem, "swap");
  EXPECT_EQ(facts->label, "my disk");
  EXPECT_EQ(facts->tableType, "");
  EXPECT_FALSE(facts->use);
}

TEST_F(FilesystemProbeTest, FindsTheKindOfAPartitionTable) {
  std::ofstream(folder_ + "/image") << DosTableImage();
  const auto facts = MakeFilesystemProbe(calls_, 5s)->Probe(folder_ + "/image", "", 5s, {});
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->tableType, "dos");
  EXPECT_EQ(facts->fileSystem, "");
}

TEST_F(FilesystemProbeTest, TellsTheUseOfAMountedFileSystem) {
  struct statvfs status {};
  ASSERT_EQ(statvfs("/", &status), 0);
  const auto facts = MakeFilesystemProbe(calls_, 5s)->Probe("", "/", 5s, {});
  ASSERT_TRUE(facts && facts->use);
  EXPECT_GT(facts->use->usedBytes, 0U);
  // Used and free make up the whole, however much is written meanwhile.
  EXPECT_EQ(facts->use->usedBytes + facts->use->freeBytes, status.f_blocks * status.f_frsize);
}

TEST_F(FilesystemProbeTest, WhatCannotBeOpenedHasNoFacts) {
  const auto facts = MakeFilesystemProbe(calls_, 5s)->Probe("/no/device", "/no/mount", 5s, {});
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->fileSystem, "");
  EXPECT_FALSE(facts->use);
}

TEST_F(FilesystemProbeTest, OneProbeThatIsStoppedDoesNotSpoilTheNext) {
  const auto probe = MakeFilesystemProbe(calls_, 5s);
  std::stop_source stop;
  stop.request_stop();
  EXPECT_FALSE(probe->Probe("", "/", 5s, stop.get_token()));
  EXPECT_TRUE(probe->Probe("", "/", 5s, {}));
  const RefusedThreads refused;
  ApartCalls calls(left_);
  EXPECT_FALSE(MakeFilesystemProbe(calls, 5s)->Probe("", "/", 5s, {}));
}

// A file whose reads hang in the kernel stands in for a device that does.
class HangingProbeTest : public FilesystemProbeTest {
 protected:
  void SetUp() override {
    FilesystemProbeTest::SetUp();
    if (!FileServer::CanServe()) GTEST_SKIP() << "needs root and /dev/fuse";
    server_.emplace("faulty_disk", "disk", "1048576");
    server_->Command("hang 0 2048");
  }
  void TearDown() override {
    if (server_) server_->Command("resume");
    FilesystemProbeTest::TearDown();
  }
  std::optional<FileServer> server_;
};

TEST_F(HangingProbeTest, DevicesTogetherCostTheBudgetAndNoMore) {
  const auto probe = MakeFilesystemProbe(calls_, 100ms);
  const auto start = std::chrono::steady_clock::now();
  for (int device = 0; device < 50; ++device)
    EXPECT_FALSE(probe->Probe(server_->Path(), "", 1h, {}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
  EXPECT_EQ(*left_, 1U);
}

TEST_F(HangingProbeTest, OneDeviceCostsItsLimitAndTheNextIsLookedAt) {
  const auto probe = MakeFilesystemProbe(calls_, 1h);
  EXPECT_FALSE(probe->Probe(server_->Path(), "", 200ms, {}));
  EXPECT_EQ(*left_, 1U);
  EXPECT_TRUE(probe->Probe("", "/", 5s, {}));
}

TEST_F(HangingProbeTest, TheTimeOfAllOfThemIsTheBudgets) {
  const auto probe = MakeFilesystemProbe(calls_, 1000ms);
  const auto start = std::chrono::steady_clock::now();
  for (int device = 0; device < 10; ++device)
    EXPECT_FALSE(probe->Probe(server_->Path(), "", 600ms, {}));
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, 900ms);
  EXPECT_LT(took, 3s);
  EXPECT_EQ(*left_, 2U);
}

}  // namespace
}  // namespace orvan::machine

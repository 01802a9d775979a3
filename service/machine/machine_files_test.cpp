#include "service/machine/machine_files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "service/sdk/watched_files.h"
#include "tests/support/captured_files.h"
#include "tests/support/refusing_kernel.h"

namespace orvan::machine {
namespace {

namespace fs = std::filesystem;
using sdk::testing::CapturedFiles;

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "machine_files_XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() { fs::remove_all(path_); }
  std::string Path() const { return path_; }

 private:
  std::string path_;
};

// One small machine, live below a folder and as the capture that describes it.
constexpr char kCapture[] =
    "# a comment\n"
    "f /sys/devices/pci0/sda/size 2048\\x0a\n"
    "f /sys/devices/pci0/sda/model  Disk\\x20One \\x00\n"
    "f /sys/devices/pci0/sda/odd\\x20name x\n"
    "f /sys/devices/pci0/sda/text 12a\n"
    "f /sys/devices/pci0/sda/empty \n"
    "l /sys/block/sda ../devices/pci0/sda\n"
    "l /sys/block/round round\n"
    "l /sys/block/absolute /sys/devices/pci0\n"
    "d /sys/bare\n";

std::unique_ptr<sdk::MachineFiles> MakeLive(const std::string& root) {
  const fs::path disk = fs::path(root) / "sys/devices/pci0/sda";
  fs::create_directories(disk);
  fs::create_directories(fs::path(root) / "sys/block");
  fs::create_directories(fs::path(root) / "sys/bare");
  std::ofstream(disk / "size") << "2048\n";
  std::ofstream(disk / "model") << " Disk One " << '\0';
  std::ofstream(disk / "odd name") << "x";
  std::ofstream(disk / "text") << "12a";
  std::ofstream(disk / "empty");
  fs::create_symlink("../devices/pci0/sda", fs::path(root) / "sys/block/sda");
  fs::create_symlink("round", fs::path(root) / "sys/block/round");
  fs::create_symlink("/sys/devices/pci0", fs::path(root) / "sys/block/absolute");
  return std::make_unique<LiveFiles>(root);
}

class MachineFilesContract : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "captured") {
      files_ = std::make_unique<CapturedFiles>(kCapture);
      return;
    }
    files_ = MakeLive(folder_.Path());
  }
  TemporaryFolder folder_;
  std::unique_ptr<sdk::MachineFiles> files_;
};

TEST_P(MachineFilesContract, ReadsThroughLinksAndTrims) {
  EXPECT_EQ(files_->ReadText("/sys/block/sda/model"), "Disk One");
  EXPECT_EQ(files_->ReadText("/sys/block/sda/odd name"), "x");
  EXPECT_EQ(files_->ReadText("/sys/block/sda/empty"), "");
}

TEST_P(MachineFilesContract, ReadBytesKeepsEveryByteAndTheLimit) {
  EXPECT_EQ(files_->ReadBytes("/sys/block/sda/model", 100), std::string(" Disk One \0", 11));
  EXPECT_EQ(files_->ReadBytes("/sys/block/sda/model", 3), " Di");
}

TEST_P(MachineFilesContract, ReadAtGivesAPartOfAFile) {
  EXPECT_EQ(files_->ReadAt("/sys/block/sda/model", 1, 4), "Disk");
  EXPECT_EQ(files_->ReadAt("/sys/block/sda/model", 6, 100), std::string("One \0", 5));
  EXPECT_EQ(files_->ReadAt("/sys/block/sda/model", 11, 4), "");
  EXPECT_EQ(files_->ReadAt("/sys/block/sda/model", 12, ~std::size_t{0}), "");
  EXPECT_FALSE(files_->ReadAt("/sys/block/sdb/model", 1, 4));
  int error = 0;
  EXPECT_FALSE(files_->ReadAt("/sys/block/round/model", 1, 4, &error));
  EXPECT_EQ(error, ELOOP);
}

TEST_P(MachineFilesContract, WhatIsMissingIsNoFile) {
  EXPECT_FALSE(files_->ReadBytes("/sys/block/sdb/size", 10));
  EXPECT_FALSE(files_->ReadBytes("/sys/bare", 10));
  EXPECT_EQ(files_->ReadText("/nothing"), "");
  EXPECT_TRUE(files_->List("/nothing").empty());
  EXPECT_FALSE(files_->Exists("/nothing"));
  EXPECT_TRUE(files_->Exists("/sys/block/sda/size"));
  EXPECT_TRUE(files_->Exists("/sys/bare"));
}

TEST_P(MachineFilesContract, NumbersAreDigitsOnly) {
  EXPECT_EQ(files_->ReadNumber("/sys/block/sda/size"), 2048U);
  EXPECT_FALSE(files_->ReadNumber("/sys/block/sda/text"));
  EXPECT_FALSE(files_->ReadNumber("/sys/block/sda/empty"));
}

TEST_P(MachineFilesContract, LinksAreShownAsStoredAndResolvedWhole) {
  EXPECT_EQ(files_->ReadLink("/sys/block/sda"), "../devices/pci0/sda");
  EXPECT_FALSE(files_->ReadLink("/sys/block/sda/size"));
  EXPECT_EQ(files_->Resolve("/sys/block/sda"), "/sys/devices/pci0/sda");
  EXPECT_EQ(files_->Resolve("/sys/block/./sda/../sda/size"), "/sys/devices/pci0/sda/size");
  EXPECT_EQ(files_->Resolve("/sys/block/absolute/sda"), "/sys/devices/pci0/sda");
  EXPECT_EQ(files_->Resolve("/../.."), "/");
}

TEST_P(MachineFilesContract, ALinkToItselfResolvesToNothing) {
  EXPECT_EQ(files_->Resolve("/sys/block/round"), "");
}

TEST_P(MachineFilesContract, ListsSortedNamesThroughLinks) {
  EXPECT_EQ(files_->List("/sys/block/sda"),
            (std::vector<std::string>{"empty", "model", "odd name", "size", "text"}));
  EXPECT_EQ(files_->List("/sys"), (std::vector<std::string>{"bare", "block", "devices"}));
}

TEST_P(MachineFilesContract, ThatNothingIsThereIsAnAnswerAndNoError) {
  int error = 99;
  EXPECT_FALSE(files_->ReadBytes("/sys/block/sdb/size", 10, &error));
  EXPECT_EQ(std::exchange(error, 99), 0);
  EXPECT_FALSE(files_->ReadBytes("/sys/block/sda/size/below", 10, &error));
  EXPECT_EQ(std::exchange(error, 99), 0);
  EXPECT_FALSE(files_->ReadLink("/sys/block/sda/size", &error));
  EXPECT_EQ(std::exchange(error, 99), 0);
  EXPECT_TRUE(files_->List("/nothing", &error).empty());
  EXPECT_EQ(std::exchange(error, 99), 0);
  EXPECT_FALSE(files_->Exists("/nothing", &error));
  EXPECT_EQ(std::exchange(error, 99), 0);
}

TEST_P(MachineFilesContract, WhatCannotBeReachedIsAnErrorAndNotMissing) {
  int error = 0;
  EXPECT_EQ(files_->Resolve("/sys/block/round", &error), "");
  EXPECT_EQ(std::exchange(error, 0), ELOOP);
  EXPECT_FALSE(files_->ReadBytes("/sys/block/round/size", 10, &error));
  EXPECT_EQ(std::exchange(error, 0), ELOOP);
  EXPECT_TRUE(files_->List("/sys/block/round", &error).empty());
  EXPECT_EQ(std::exchange(error, 0), ELOOP);
  EXPECT_FALSE(files_->Exists("/sys/block/round", &error));
  EXPECT_EQ(error, ELOOP);
}

INSTANTIATE_TEST_SUITE_P(All, MachineFilesContract, testing::Values("live", "captured"),
                         [](const auto& info) { return info.param; });

constexpr char kTroubled[] =
    "e /a/file 13\n"
    "e /a/folder 24\n"
    "f /a/folder/below x\n"
    "b /a/link 5\n";

TEST(CapturedFilesTest, AnswersErrorsAsTheMachineDid) {
  const CapturedFiles files(kTroubled);
  int error = 0;
  EXPECT_FALSE(files.ReadBytes("/a/file", 10, &error));
  EXPECT_EQ(std::exchange(error, 0), EACCES);
  EXPECT_TRUE(files.List("/a/folder", &error).empty());
  EXPECT_EQ(std::exchange(error, 0), EMFILE);
  EXPECT_EQ(files.ReadBytes("/a/folder/below", 10, &error), "x");
  EXPECT_EQ(error, 0);
  EXPECT_FALSE(files.ReadBytes("/a/link/below", 10, &error));
  EXPECT_EQ(error, EIO);
  EXPECT_EQ(files.List("/a"), (std::vector<std::string>{"file", "folder", "link"}));
}

TEST(WatchedFilesTest, RemembersWhatCouldNotBeLookedAtOnce) {
  const CapturedFiles machine(kTroubled);
  const sdk::WatchedFiles files(machine);
  files.ReadText("/a/file");
  files.ReadText("/a/file");
  files.ReadAt("/a/file", 1, 1);
  files.ReadText("/a/nothing");
  files.List("/a/folder");
  files.ReadText("/a/folder/below");
  files.ReadLink("/a/link");
  using Troubles = std::vector<sdk::FileTrouble>;
  EXPECT_EQ(files.TakeTroubles(),
            (Troubles{{"/a/file", EACCES}, {"/a/folder", EMFILE}, {"/a/link", EIO}}));
  EXPECT_EQ(files.TakeTroubles(), Troubles());
}

TEST(LiveFilesTest, APathThatIsTooLongIsAnErrorAndNotMissing) {
  int error = 0;
  EXPECT_FALSE(LiveFiles().ReadBytes('/' + std::string(300, 'x'), 10, &error));
  EXPECT_EQ(error, ENAMETOOLONG);
}

// A kernel that knows no way below a root, and one that is disturbed on it.
TEST(LiveFilesTest, FollowsLinksItselfWhereTheKernelDoesNot) {
  const TemporaryFolder folder;
  const auto files = MakeLive(folder.Path());
  for (const int refusal : {ENOSYS, EAGAIN}) {
    WhereTheKernelRefuses({SYS_openat2, refusal}, [&] {
      int error = 0;
      EXPECT_EQ(files->ReadText("/sys/block/absolute/sda/model"), "Disk One");
      EXPECT_EQ(files->List("/sys/block/sda").size(), 5U);
      EXPECT_TRUE(files->Exists("/sys/block/sda/size"));
      EXPECT_FALSE(files->ReadBytes("/sys/block/round/size", 10, &error));
      EXPECT_EQ(error, ELOOP);
      EXPECT_FALSE(files->Exists("/nothing", &error));
      EXPECT_EQ(error, 0);
    });
  }
}

TEST(LiveFilesTest, NoLinkLeadsOutOfTheRoot) {
  const TemporaryFolder folder;
  fs::create_directories(fs::path(folder.Path()) / "etc");
  std::ofstream(folder.Path() + "/etc/hostname") << "inside";
  fs::create_symlink("../../../../../../etc/hostname", folder.Path() + "/up");
  fs::create_symlink("/etc/hostname", folder.Path() + "/absolute");
  const LiveFiles files(folder.Path());
  EXPECT_EQ(files.ReadText("/up"), "inside");
  EXPECT_EQ(files.ReadText("/absolute"), "inside");
  EXPECT_EQ(files.ReadText("/../etc/hostname"), "inside");
}

TEST(LiveFilesTest, WithoutDescriptorsNothingIsMissing) {
  const TemporaryFolder folder;
  std::ofstream(folder.Path() + "/file") << "x";
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  int file = 0;
  int list = 0;
  int exists = 99;
  const LiveFiles files(folder.Path());
  EXPECT_FALSE(files.ReadBytes("/file", 10, &file));
  EXPECT_TRUE(files.List("/", &list).empty());
  EXPECT_TRUE(files.Exists("/file", &exists));
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(file, EMFILE);
  EXPECT_EQ(list, EMFILE);
  EXPECT_EQ(exists, 0);
}

TEST(CapturedFilesTest, DamagedLinesAreSkipped) {
  const CapturedFiles files("f\nx /a b\nf relative x\nf /a \\xZZ\\x4\nnoise\n\nf /b\n");
  EXPECT_EQ(files.ReadText("/a"), "\\xZZ\\x4");
  EXPECT_EQ(files.ReadBytes("/b", 10), "");
  EXPECT_EQ(files.List("/"), (std::vector<std::string>{"a", "b"}));
}

}  // namespace
}  // namespace orvan::machine

// The whole module against real block devices: loop devices over a file that fails on purpose.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "os/descriptor.h"
#include "service/machine/live_machine.h"
#include "service/modules/storage/disk.h"
#include "service/modules/storage/storage_module.h"
#include "service/sdk/module_test_support.h"
#include "tests/support/file_server.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using sdk::testing::FindTest;
using sdk::testing::RememberingContext;
using tarvex::Descriptor;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kBytes = 2U << 20;
constexpr std::uint64_t kSectors = kBytes / 512;

// A read-only loop device with direct I/O.
class LoopDevice {
 public:
  LoopDevice(const std::string& file, std::uint32_t sectorBytes) {
    const Descriptor control(open("/dev/loop-control", O_RDWR | O_CLOEXEC));
    const Descriptor backing(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    // Another program may take the free one first.
    for (int attempt = 0; attempt < 16 && !device_.IsOpen(); ++attempt) {
      number_ = ioctl(control.Get(), LOOP_CTL_GET_FREE);
      Descriptor device(open(Path().c_str(), O_RDONLY | O_CLOEXEC));
      loop_config config{};
      config.fd = static_cast<std::uint32_t>(backing.Get());
      config.block_size = sectorBytes;
      config.info.lo_flags = LO_FLAGS_READ_ONLY | LO_FLAGS_DIRECT_IO | LO_FLAGS_AUTOCLEAR;
      if (ioctl(device.Get(), LOOP_CONFIGURE, &config) == 0) device_ = std::move(device);
    }
    EXPECT_TRUE(device_.IsOpen()) << "errno " << errno;
  }
  ~LoopDevice() { Detach(); }
  void Detach() {
    if (device_.IsOpen()) ioctl(device_.Get(), LOOP_CLR_FD);
    device_ = Descriptor();
  }

  std::string Name() const { return "loop" + std::to_string(number_); }
  std::string Path() const { return "/dev/" + Name(); }

 private:
  int number_ = -1;
  Descriptor device_;
};

class LiveDisk : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0 || access("/dev/fuse", R_OK | W_OK) != 0 ||
        access("/dev/loop-control", R_OK | W_OK) != 0) {
      GTEST_SKIP() << "needs root, /dev/fuse and /dev/loop-control";
    }
    file_ = std::make_unique<FileServer>("faulty_disk", "disk", std::to_string(kBytes));
  }

  // Closing a device waits for reads of its cached pages, so those that hang are let go first.
  void TearDown() override {
    if (file_) file_->Command("resume");
  }

  // The module finds the loop device by itself; a scan of this machine.
  const Disk& Attach(std::uint32_t sectorBytes = 512, const char* timeout = "30") {
    loop_ = std::make_unique<LoopDevice>(file_->Path(), sectorBytes);
    sdk::ModuleEnvironment environment;
    environment.settings = {{"storage/include_loop", "1"}, {"storage/timeout_seconds", timeout}};
    environment.machine = machine_.get();
    module_ = std::make_unique<StorageModule>(environment);
    devices_ = sdk::testing::DevicesOf(*module_);
    for (const auto& device : devices_) {
      const auto& disk = dynamic_cast<const Disk&>(*device);
      if (disk.Facts().kernelName == loop_->Name()) return disk;
    }
    throw std::runtime_error(loop_->Name() + " was not found");
  }

  sdk::Verdict Run(const Disk& disk, const char* diagnostic, const char* test,
                   sdk::ParameterValues parameters = {}) {
    context_ = std::make_unique<RememberingContext>(&disk, std::move(parameters));
    return FindTest(module_->Diagnostics(), diagnostic, test).run(*context_);
  }

  // Declared so that the loop device goes before the file below it.
  std::unique_ptr<FileServer> file_;
  std::unique_ptr<LoopDevice> loop_;
  const std::unique_ptr<machine::KeptMachine> machine_ = machine::MakeLiveMachine({});
  std::unique_ptr<StorageModule> module_;
  std::vector<std::unique_ptr<sdk::Device>> devices_;
  std::unique_ptr<RememberingContext> context_;
};

TEST_F(LiveDisk, IsFoundWithItsBackingFile) {
  const Disk& disk = Attach();
  EXPECT_EQ(disk.Facts().backingFile, file_->Path());
  EXPECT_EQ(disk.Facts().sizeBytes, kBytes);
  EXPECT_EQ(disk.Facts().transport, Transport::kLoop);
}

TEST_F(LiveDisk, PassesEveryTestThatReadsWhenItIsGood) {
  const Disk& disk = Attach();
  for (const auto& diagnostic : module_->Diagnostics()) {
    for (const auto& test : diagnostic.tests) {
      if (test.mayWrite) continue;
      const sdk::Verdict verdict = Run(disk, diagnostic.option.c_str(), test.option.c_str());
      // A file answers no commands of a drive.
      const bool asksDrive = test.parameters.empty();
      EXPECT_EQ(verdict.status, asksDrive ? kTestNotApplicable : kTestPassed)
          << test.name << ' ' << verdict.message;
      EXPECT_EQ(context_->percents.back(), 100);
    }
  }
}

TEST_F(LiveDisk, EveryTestNamesExactlyTheUnreadableSectors) {
  file_->Command("fail 0 1 61");
  file_->Command("fail 2047 3 5");
  file_->Command("fail 3001 1 5");
  file_->Command("fail " + std::to_string(kSectors - 1) + " 1 5");
  const Disk& disk = Attach();
  for (const auto& [diagnostic, test] : {std::pair{"Q", "f"}, {"Q", "r"}, {"E", "l"}}) {
    const sdk::Verdict verdict = Run(disk, diagnostic, test);
    EXPECT_EQ(verdict.status, kTestFailed);
    EXPECT_EQ(verdict.message,
              "|UNREADABLE_SECTORS:_FIRST_|L|B|A_0,_COUNT_6,_ERROR_61_(CRITICAL_MEDIUM_ERROR),"
              "_SECTORS_0,_2047-2049,_3001,_4095")
        << diagnostic << test;
  }
}

TEST_F(LiveDisk, CountsInItsOwnSectors) {
  file_->Command("fail 100 1 5");  // inside the thirteenth sector of 4096 bytes
  const sdk::Verdict verdict = Run(Attach(4096), "E", "l");
  EXPECT_EQ(verdict.message,
            "|UNREADABLE_SECTORS:_FIRST_|L|B|A_12,_COUNT_1,_ERROR_5_(INPUT/OUTPUT_ERROR),"
            "_SECTORS_12");
}

TEST_F(LiveDisk, AHangingReadFailsAtTheTimeLimitAndNothingWaitsForIt) {
  const Disk& disk = Attach(512, "1");
  file_->Command("hang 2100 8");
  const auto start = Clock::now();
  const sdk::Verdict verdict = Run(disk, "E", "l");
  EXPECT_LT(Clock::now() - start, 10s);
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message, "|A_READ_AT_|L|B|A_2048_DID_NOT_COME_BACK_WITHIN_1_SECOND");
}

TEST_F(LiveDisk, ADiskThatHangsHoldsUpWhoAsksWhatIsOnItForOneProbe) {
  file_->Command("hang 0 " + std::to_string(kSectors));
  const Disk& disk = Attach();
  EXPECT_EQ(disk.Facts().sizeBytes, kBytes);
  const auto start = Clock::now();
  EXPECT_TRUE(disk.Resources({}).empty());
  EXPECT_LT(Clock::now() - start, 12s);
}

TEST_F(LiveDisk, AStopEndsAHangingTestLongBeforeItsTimeLimit) {
  sdk::Verdict verdict;
  std::thread test;
  Clock::time_point stopped;
  {
    const Disk& disk = Attach(512, "600");
    context_ = std::make_unique<RememberingContext>(&disk);
    file_->Command("hang 0 " + std::to_string(kSectors));
    const std::string before = file_->Command("reads");
    test =
        std::thread([&] { verdict = FindTest(module_->Diagnostics(), "E", "l").run(*context_); });
    while (file_->Command("reads") == before) std::this_thread::yield();
    stopped = Clock::now();
    context_->stop.request_stop();
  }
  test.join();
  EXPECT_LT(Clock::now() - stopped, 10s);
  EXPECT_EQ(verdict.status, kTestCanceled);
}

TEST_F(LiveDisk, ADiskThatGoesOfflineHasVanished) {
  const Disk& disk = Attach();
  file_->Command("vanish 19");
  const sdk::Verdict verdict = Run(disk, "E", "l");
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message, "|THE_DISK_VANISHED_WHILE_READING_AT_|L|B|A_0");
}

TEST_F(LiveDisk, ADiskThatIsGoneBeforeTheTestIsInvalid) {
  const Disk& disk = Attach();
  loop_->Detach();
  const sdk::Verdict verdict = Run(disk, "Q", "f");
  // The kernel lets a detached loop device be opened, but it is another one by then.
  EXPECT_EQ(verdict.status, kTestInvalid) << verdict.message;
  EXPECT_EQ(verdict.message, "|THE_DISK_IS_NOT_THERE_ANY_MORE");
}

TEST_F(LiveDisk, ADeadDiskIsGoneOverAndFails) {
  const Disk& disk = Attach();
  file_->Command("vanish 5");
  const sdk::Verdict verdict = Run(disk, "E", "l");
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message,
            "|UNREADABLE_SECTORS:_FIRST_|L|B|A_0,_COUNT_4096,_ERROR_5_(INPUT/OUTPUT_ERROR),"
            "_SECTORS_0-4095");
}

}  // namespace
}  // namespace orvan::storage

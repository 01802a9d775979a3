#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "service/machine/reader_test_support.h"
#include "tests/support/loop_device.h"
#include "tests/support/refusing_kernel.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_threads.h"

// Which devices are not opened for reading, and why.

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using sdk::BlockReaderOptions;
using sdk::kMostReadsInFlight;
using sdk::OpenedReader;
using sdk::OpenFailure;

struct OpenCase {
  const char* name;
  std::function<BlockReaderOptions(const DiskFile&)> options;
  OpenFailure failure;
  int error;
};

class OpenFailures : public testing::TestWithParam<OpenCase> {};

TEST_P(OpenFailures, HaveTheirOwnAnswer) {
  const DiskFile file;
  const OpenedReader opened = Opener().Open(GetParam().options(file));
  EXPECT_EQ(opened.reader, nullptr);
  EXPECT_EQ(opened.failure, GetParam().failure);
  EXPECT_EQ(opened.error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    All, OpenFailures,
    testing::Values(OpenCase{"missing",
                             [](const DiskFile&) { return OptionsFor("/dev/no-such-disk"); },
                             OpenFailure::kDevice, ENOENT},
                    OpenCase{"regular_file",
                             [](const DiskFile& file) {
                               BlockReaderOptions options = OptionsFor(file.Path());
                               options.fileSectorBytes = 0;
                               return options;
                             },
                             OpenFailure::kDevice, ENOTBLK},
                    OpenCase{"depth",
                             [](const DiskFile& file) {
                               BlockReaderOptions options = OptionsFor(file.Path());
                               options.depth = kMostReadsInFlight + 1;
                               return options;
                             },
                             OpenFailure::kReader, EINVAL},
                    OpenCase{"long_path",
                             [](const DiskFile&) { return OptionsFor(std::string(5000, 'x')); },
                             OpenFailure::kDevice, ENAMETOOLONG}),
    [](const auto& info) { return info.param.name; });

TEST(LiveBlockReader, ALinkIsNotFollowed) {
  const DiskFile file;
  const std::string link = file.Path() + ".link";
  ASSERT_EQ(symlink(file.Path().c_str(), link.c_str()), 0);
  const OpenedReader opened = Opener().Open(OptionsFor(link));
  unlink(link.c_str());
  EXPECT_EQ(opened.failure, OpenFailure::kDevice);
  EXPECT_EQ(opened.error, ELOOP);
}

TEST(LiveBlockReader, WithoutAThreadItIsOurOwnFault) {
  const DiskFile file;
  Opener opener;
  {
    const RefusedThreads refused;  // none to open it
    const OpenedReader opened = opener.Open(OptionsFor(file.Path()));
    EXPECT_EQ(opened.failure, OpenFailure::kReader);
    EXPECT_EQ(opened.error, EAGAIN);
  }
  EXPECT_EQ(opener.Open(OptionsFor(file.Path())).failure, OpenFailure::kNone);
  const RefusedThreads refused;  // none to read it
  const OpenedReader opened = opener.Open(OptionsFor(file.Path()));
  EXPECT_EQ(opened.failure, OpenFailure::kReader);
  EXPECT_EQ(opened.error, EAGAIN);
  EXPECT_EQ(*opener.left, 0U);
}

// A pipe without a writer stands in for a device whose opening hangs.
TEST(LiveBlockReader, AnOpeningThatHangsEndsAtTheTimeLimit) {
  const std::string path =
      std::string(TARVEX_BINARY_DIR) + "/tests/pipe_" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  BlockReaderOptions options = OptionsFor(path);
  options.timeLimit = 100ms;
  Opener opener;
  EXPECT_EQ(opener.Open(options).failure, OpenFailure::kHung);
  EXPECT_EQ(*opener.left, 1U);
  std::stop_source stop;
  stop.request_stop();
  options.timeLimit = 1h;
  EXPECT_EQ(opener.Open(options, stop.get_token()).failure, OpenFailure::kStopped);
  const tarvex::Descriptor writer(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  EXPECT_TRUE(Comes([&] { return *opener.left == 0; }));
  unlink(path.c_str());
}

TEST(LiveBlockReader, AKernelThatForbidsTheInterfaceIsNoFaultOfTheDevice) {
  const DiskFile file;
  WhereTheKernelRefuses({SYS_io_uring_setup, EPERM}, [&] {
    Opener opener;
    const OpenedReader opened = opener.Open(OptionsFor(file.Path()));
    EXPECT_EQ(opened.failure, OpenFailure::kReader);
    EXPECT_EQ(opened.error, EPERM);
  });
}

// The kernel gives a number that has become free to who comes next.
TEST(BlockReader, AnotherMediumUnderTheSameNumberIsNotRead) {
  if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
  const TestFolder folder;
  folder.Write("before", std::string(kSectors * kSector, 'b'));
  folder.Write("after", std::string(kSectors * kSector, 'a'));
  LoopDevice device(folder / "before", kSector);
  BlockReaderOptions options = OptionsFor(device.Path());
  options.expectedDevice = NumberOf(device.Path());
  options.diskSequence = SequenceOf(device.Path());
  Opener opener;
  EXPECT_EQ(opener.Open(options).failure, OpenFailure::kNone);
  ASSERT_TRUE(device.Exchange(folder / "after")) << "the loop device was taken";
  const OpenedReader opened = opener.Open(options);
  EXPECT_EQ(opened.failure, OpenFailure::kDevice);
  EXPECT_EQ(opened.error, ENODEV);
  options.diskSequence = 0;
  EXPECT_EQ(opener.Open(options).failure, OpenFailure::kNone);
}

}  // namespace
}  // namespace orvan::machine

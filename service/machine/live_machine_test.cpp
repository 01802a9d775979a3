#include "service/machine/live_machine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <cerrno>
#include <set>
#include <thread>

#include "tests/support/loop_device.h"
#include "tests/support/refusing_kernel.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;

TEST(LiveMachine, SeesTheFilesBelowItsRoot) {
  const TestFolder root;
  root.Write("value", "17\n");
  const auto machine = MakeLiveMachine({.root = root.Path()});
  EXPECT_EQ(machine->Files().ReadNumber("/value"), 17U);
}

TEST(LiveMachine, HasATimeThatGoesOnAndNumbersThatDiffer) {
  const auto machine = MakeLiveMachine({});
  const auto before = machine->Now();
  std::set<std::uint64_t> numbers;
  for (int i = 0; i < 1000; ++i) numbers.insert(machine->Chance());
  EXPECT_EQ(numbers.size(), 1000U);
  EXPECT_GT(machine->Now(), before);
}

TEST(LiveMachine, PausesForAsLongAsItWasToldUnlessItIsStopped) {
  const auto machine = MakeLiveMachine({});
  const auto before = machine->Now();
  machine->Pause(5ms, {});
  EXPECT_GE(machine->Now(), before + 5ms);
  std::stop_source stop;
  const std::jthread stopper([&stop] { stop.request_stop(); });
  machine->Pause(24h, stop.get_token());
  EXPECT_LT(machine->Now(), before + 1h);
}

// The processors that the calling thread may run on.
std::set<std::size_t> Allowed() {
  cpu_set_t set;
  CPU_ZERO(&set);
  std::set<std::size_t> allowed;
  EXPECT_EQ(sched_getaffinity(0, sizeof(set), &set), 0);
  for (std::size_t i = 0; i < CPU_SETSIZE; ++i) {
    if (CPU_ISSET(i, &set)) allowed.insert(i);
  }
  return allowed;
}

TEST(LiveMachine, KeepsTheCallingThreadAndNoOtherOnOneProcessor) {
  const auto machine = MakeLiveMachine({});
  const std::set<std::size_t> before = Allowed();
  std::thread([&] {
    for (const std::size_t processor : before) {
      EXPECT_EQ(machine->PinThisThread(static_cast<std::uint32_t>(processor)), 0);
      EXPECT_EQ(Allowed(), std::set<std::size_t>{processor});
    }
  }).join();
  EXPECT_EQ(Allowed(), before);
}

TEST(LiveMachine, AProcessorThatIsNotThereIsRefused) {
  const auto machine = MakeLiveMachine({});
  EXPECT_EQ(machine->PinThisThread(60000), EINVAL);
  EXPECT_EQ(machine->PinThisThread(~std::uint32_t{0}), EINVAL);
  WhereTheKernelRefuses({SYS_sched_setaffinity, EPERM},
                        [&] { EXPECT_EQ(machine->PinThisThread(0), EPERM); });
}

TEST(LiveMachine, PassesOnWhatWritesOnlyWhileThatIsGranted) {
  const TestFolder folder;
  const auto machine = MakeLiveMachine({});
  sdk::DriveCommand selfTest;
  selfTest.device = folder / "missing";
  selfTest.expectedDevice = sdk::DeviceNumber(4000, 1);
  selfTest.command = sdk::ScsiCommand{{0x1D, 0x20, 0, 0, 0, 0}};
  using Outcome = sdk::CommandAnswer::Outcome;
  EXPECT_EQ(machine->Send(selfTest, {}).outcome, Outcome::kNotGranted);
  machine->GrantWriting(true);
  EXPECT_EQ(machine->Send(selfTest, {}).outcome, Outcome::kGone);
  machine->GrantWriting(false);
  EXPECT_EQ(machine->Send(selfTest, {}).outcome, Outcome::kNotGranted);
  sdk::DriveCommand ready = selfTest;
  ready.command = sdk::ScsiCommand{{0x00, 0, 0, 0, 0, 0}};
  EXPECT_EQ(machine->Send(ready, {}).outcome, Outcome::kGone);
  EXPECT_EQ(machine->LeftBehind(), 0U);
}

TEST(LiveMachine, OpensNothingForWritingUnlessThatIsGranted) {
  const auto machine = MakeLiveMachine({});
  sdk::BlockWriterOptions options;
  options.device = "/dev/no-such-disk";
  options.expectedDevice = sdk::DeviceNumber(4000, 1);
  EXPECT_EQ(machine->OpenWriter(options, {}).refusal, sdk::WriteRefusal::kNotGranted);
  machine->GrantWriting(true);
  EXPECT_EQ(machine->OpenWriter(options, {}).refusal, sdk::WriteRefusal::kUnknownUse);
}

TEST(LiveMachine, LooksAtNoDeviceWhileProbesAreSkipped) {
  const auto machine = MakeLiveMachine({});
  EXPECT_TRUE(machine->MakeProbe(5s)->Probe("", "/", 5s, {}));
  machine->SkipProbes(true);
  EXPECT_FALSE(machine->MakeProbe(5s)->Probe("", "/", 5s, {}));
  machine->SkipProbes(false);
  EXPECT_TRUE(machine->MakeProbe(5s)->Probe("", "/", 5s, {}));
}

TEST(LiveMachine, AWriterEndsWithTheRowThatOpenedIt) {
  if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
  const TestFolder folder;
  folder.Write("disk", std::string(65536, 'x'));
  const LoopDevice disk(folder / "disk", 512, false);
  const auto machine = MakeLiveMachine({});
  machine->GrantWriting(true);
  const sdk::OpenedWriter opened =
      machine->OpenWriter({disk.Path(), NumberOf(disk.Path()), SequenceOf(disk.Path())}, {});
  ASSERT_NE(opened.writer, nullptr) << opened.error;
  const std::vector<std::byte> sector(512);
  EXPECT_TRUE(opened.writer->Write(0, sector).IsDone());
  machine->GrantWriting(false);
  machine->GrantWriting(true);  // of the next row
  const sdk::TransferResult late = opened.writer->Write(512, sector);
  EXPECT_EQ(late.outcome, sdk::TransferResult::Outcome::kNotTried);
  EXPECT_EQ(late.error, EPERM);
  EXPECT_EQ(folder.Read("disk").substr(512, 512), std::string(512, 'x'));
}

TEST(LiveMachine, LocksMemory) {
  const auto machine = MakeLiveMachine({});
  const sdk::LockedMemoryResult result = machine->LockMemory(65536);
  ASSERT_NE(result.memory, nullptr) << result.error;
  EXPECT_EQ(result.memory->Bytes().size(), 65536U);
}

TEST(LiveMachine, KeepsStateWhereItWasTold) {
  const TestFolder folder;
  const auto machine = MakeLiveMachine(
      {.stateFolder = tarvex::Descriptor(open(folder.Path().c_str(), O_RDONLY | O_CLOEXEC))});
  EXPECT_EQ(machine->State().Replace("journal", "one"), 0);
  EXPECT_EQ(folder.Read("journal"), "one");
  int error = 0;
  EXPECT_FALSE(MakeLiveMachine({})->State().Read("journal", error));
  EXPECT_EQ(error, EOPNOTSUPP);
}

}  // namespace
}  // namespace orvan::machine

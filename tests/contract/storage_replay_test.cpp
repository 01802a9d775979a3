#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

#include "service/modules/storage/storage_module.h"
#include "service/sdk/module_test_support.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/recording_test_support.h"

// That a replay of the storage module gives what the recorded run gave, whatever the disks do and
// however long they take: listings, resources, verdicts, progress and measurements.
namespace orvan::storage {
namespace {

using recording::TestTape;
using sdk::testing::FaultyMachine;
using sdk::testing::MemoryDisk;

std::string CaptureText(const std::string& name) {
  std::ifstream file(std::string(TARVEX_SOURCE_DIR) + "/service/modules/storage/testdata/" + name +
                     ".capture");
  return {std::istreambuf_iterator<char>(file), {}};
}

// What is wrong with the disks of a machine.
struct Trouble {
  const char* name;
  void (*make)(sdk::testing::FaultyDisk& disk);
};

const Trouble kTroubles[] = {
    {"none", [](sdk::testing::FaultyDisk&) {}},
    {"bad sectors",
     [](sdk::testing::FaultyDisk& disk) {
       for (const std::uint64_t sector : {0U, 4097U, 4098U, 32767U}) {
         disk.medium->faults.badSectors[sector] = sector % 2 == 0 ? EIO : ENODATA;
       }
     }},
    {"hanging", [](sdk::testing::FaultyDisk& disk) { disk.reads.hangingSectors = {20000}; }},
    {"hung reader",
     [](sdk::testing::FaultyDisk& disk) {
       disk.reads.hangingSectors = {20000};
       disk.reads.callsUntilTimeOut = 0;
     }},
    {"vanishing", [](sdk::testing::FaultyDisk& disk) { disk.medium->faults.vanishAfter = 9000; }},
    {"second try",
     [](sdk::testing::FaultyDisk& disk) {
       disk.reads.failuresLeft = {{77, 1}};
     }},
    {"not to be opened",
     [](sdk::testing::FaultyDisk& disk) {
       disk.openFailure = sdk::OpenFailure::kDevice;
       disk.openError = EACCES;
     }},
};

// A clock that goes on by another time with each answer.
class UnsteadyMachine final : public machine::KeptMachine {
 public:
  UnsteadyMachine(std::unique_ptr<FaultyMachine> inner, unsigned seed)
      : inner_(std::move(inner)), random_(seed) {}
  const sdk::MachineFiles& Files() const override { return inner_->Files(); }
  sdk::OpenedReader OpenReader(const sdk::BlockReaderOptions& options,
                               std::stop_token stop) override {
    return inner_->OpenReader(options, std::move(stop));
  }
  sdk::OpenedWriter OpenWriter(const sdk::BlockWriterOptions& options,
                               std::stop_token stop) override {
    return inner_->OpenWriter(options, std::move(stop));
  }
  std::unique_ptr<sdk::FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) override {
    return inner_->MakeProbe(budget);
  }
  sdk::CommandAnswer Send(const sdk::DriveCommand& command, std::stop_token stop) override {
    return inner_->Send(command, std::move(stop));
  }
  std::chrono::steady_clock::time_point Now() const override {
    inner_->now += std::chrono::microseconds(random_() % 3000);
    inner_->collectTakes = std::chrono::microseconds(random_() % 120000);
    return inner_->Now();
  }
  void Pause(std::chrono::milliseconds time, std::stop_token stop) override {
    inner_->Pause(time, std::move(stop));
  }
  std::uint64_t Chance() override { return inner_->Chance(); }
  int PinThisThread(std::uint32_t processor) override { return inner_->PinThisThread(processor); }
  sdk::LockedMemoryResult LockMemory(std::size_t bytes) override {
    return inner_->LockMemory(bytes);
  }
  sdk::ModuleState& State() override { return inner_->State(); }
  void GrantWriting(bool isGranted) override { inner_->GrantWriting(isGranted); }
  std::size_t LeftBehind() const override { return inner_->LeftBehind(); }

 private:
  const std::unique_ptr<FaultyMachine> inner_;
  mutable std::mt19937 random_;
};

std::unique_ptr<machine::KeptMachine> MakeMachine(const std::string& capture,
                                                  const Trouble& trouble, unsigned seed) {
  auto faulty = std::make_unique<FaultyMachine>(
      std::make_unique<sdk::testing::CapturedFiles>(CaptureText(capture)));
  const std::pair<const char*, std::uint64_t> kDisks[] = {
      {"/dev/sda", sdk::DeviceNumber(8, 0)},
      {"/dev/sdb", sdk::DeviceNumber(8, 16)},
      {"/dev/nvme0n1", sdk::DeviceNumber(259, 0)},
      {"/dev/vda", sdk::DeviceNumber(254, 0)}};
  for (const auto& [path, number] : kDisks) {
    sdk::testing::FaultyDisk& disk = faulty->disks[path];
    disk.medium = std::make_shared<MemoryDisk>(sdk::BlockGeometry{16U << 20, 512, 4096});
    disk.deviceNumber = number;
    trouble.make(disk);
  }
  faulty->fileSystems["/dev/sda1"] = {"", "ext4", "root", {}};
  faulty->hangingFileSystems = {"/dev/sdb2"};
  return std::make_unique<UnsteadyMachine>(std::move(faulty), seed);
}

void TellTest(const sdk::TestRecord& test, const sdk::Device& device, std::ostream& said) {
  sdk::testing::RememberingContext context(&device, {{"block_kib", "256"}, {"seconds", "2"}});
  const sdk::Verdict verdict = test.run(context);
  said << test.option << ": " << static_cast<int>(verdict.status) << ' ' << verdict.message << '|'
       << verdict.expected << '|' << verdict.found << '|' << verdict.where << "\n ";
  for (const int percent : context.percents) said << ' ' << percent;
  for (const std::string& message : context.messages) said << ' ' << message;
  for (const sdk::Measurement& measured : context.measurements) {
    said << ' ' << measured.name << '=' << measured.value;
  }
  for (const sdk::MeasurementSeries& series : context.series) {
    said << ' ' << series.name;
    for (const auto& point : series.points) said << ' ' << point.position << ':' << point.value;
  }
  said << '\n';
}

// Everything that the module says of a machine.
std::string RunAll(machine::KeptMachine& machine) {
  sdk::ModuleEnvironment environment;
  environment.machine = &machine;
  StorageModule module(environment);
  std::ostringstream said;
  for (const auto& device : sdk::testing::DevicesOf(module)) {
    said << device->Id() << ' ' << device->UniqueId() << ' ' << device->Information().name << '\n';
    for (const auto& [value, label] : device->Information().entries) {
      said << "  " << label << '=' << value << '\n';
    }
    for (const DiagResource& resource : device->Resources({})) {
      for (const auto& [label, value] : resource.pairs) said << "  " << label << '=' << value;
      said << '\n';
    }
    if (device->WhyUntestable()) continue;
    for (const sdk::DiagnosticRecord& diagnostic : module.Diagnostics()) {
      for (const sdk::TestRecord& test : diagnostic.tests) TellTest(test, *device, said);
    }
  }
  return said.str();
}

class StorageReplay : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Machines, StorageReplay,
                         testing::Values("desktop", "virtual_machine", "server"),
                         [](const auto& info) { return std::string(info.param); });

TEST_P(StorageReplay, SaysWhatTheRecordedRunSaid) {
  for (const Trouble& trouble : kTroubles) {
    for (unsigned seed = 0; seed < 3; ++seed) {
      const TestTape tape;
      const std::string said = RunAll(*tape.Record(MakeMachine(GetParam(), trouble, seed)));
      EXPECT_GT(said.size(), 500U);
      EXPECT_EQ(RunAll(*tape.Replay()), said) << trouble.name << ' ' << seed;
    }
  }
}

TEST_P(StorageReplay, DoesNotPassWhatWasNotRecorded) {
  const TestTape tape;
  const auto machine = tape.Record(MakeMachine(GetParam(), kTroubles[0], 1));
  sdk::ModuleEnvironment environment;
  environment.machine = machine.get();
  // The scan alone.
  StorageModule module(environment);
  sdk::testing::DevicesOf(module);
  const std::string said = RunAll(*tape.Replay());
  EXPECT_EQ(said.find(": " + std::to_string(static_cast<int>(kTestPassed)) + ' '),
            std::string::npos);
  EXPECT_NE(said.find("NOT_IN_THE_RECORDING"), std::string::npos);
}

}  // namespace
}  // namespace orvan::storage

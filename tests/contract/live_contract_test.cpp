#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <sstream>

#include "service/machine/live_machine.h"
#include "service/machine/reader_test_support.h"
#include "service/sdk/read_errors.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/recording_test_support.h"

// What the live machine does as every other one: over a folder in the place of its root and a file
// in the place of a disk.
namespace orvan {
namespace {

using machine::KeptMachine;
using recording::TestTape;

void SeeFiles(KeptMachine& machine, std::ostream& seen) {
  int error = 0;
  for (const char* path : {"/value", "/link", "/none", "/folder"}) {
    const auto bytes = machine.Files().ReadBytes(path, 10, &error);
    seen << path << ": " << bytes.value_or("none") << ' ';
  }
  seen << machine.Files().ReadLink("/link").value_or("none") << ' '
       << machine.Files().Exists("/folder") << machine.Files().Exists("/none") << '\n';
  for (const std::string& name : machine.Files().List("/")) seen << name << ' ';
  seen << machine.Files().Resolve("/folder/../link") << '\n';
}

void SeeReads(KeptMachine& machine, const std::string& device, std::ostream& seen) {
  sdk::BlockReaderOptions options;
  options.device = device;
  options.depth = 4;
  options.queued = 4;
  options.fileSectorBytes = machine::kSector;
  const sdk::OpenedReader opened = machine.OpenReader(options, {});
  seen << static_cast<int>(opened.failure) << '/' << opened.error;
  if (!opened.reader) return;
  seen << ' ' << opened.reader->Geometry().sizeBytes << ' '
       << opened.reader->Geometry().logicalSectorBytes;
  std::map<std::uint64_t, int> outcomes;
  opened.reader->Submit({{0, 0, machine::kSector, 0}, {1, 8192, 2 * machine::kSector, 0}});
  for (int call = 0; call < 100 && outcomes.size() < 2; ++call) {
    std::vector<sdk::BlockReadResult> results;
    opened.reader->Collect(results, std::chrono::milliseconds(100));
    for (const auto& result : results) outcomes[result.id] = static_cast<int>(result.outcome);
  }
  for (const auto& [id, outcome] : outcomes) seen << ' ' << id << ':' << outcome;
}

void SeeState(KeptMachine& machine, std::ostream& seen) {
  sdk::ModuleState& state = machine.State();
  int error = 0;
  seen << state.Read("a", error).value_or("none") << state.Replace("a", "one")
       << state.Append("a", " two") << ' ' << state.Read("a", error).value_or("none") << ' '
       << state.List(error).size() << state.Remove("a") << state.Replace("../a", "x") << '\n';
}

void SeeAll(KeptMachine& machine, const std::string& device, std::ostream& seen) {
  SeeFiles(machine, seen);
  SeeReads(machine, device, seen);
  seen << ' ';
  SeeReads(machine, device + ".none", seen);
  seen << '\n';
  SeeState(machine, seen);
  seen << static_cast<int>(machine.OpenWriter({device, 1}, {}).refusal) << ' ';
  sdk::DriveCommand format;
  format.device = device;
  format.command = sdk::ScsiCommand{{0x04, 0, 0, 0, 0, 0}};
  format.direction = sdk::DataDirection::kToDevice;
  format.dataOut = {1};
  seen << static_cast<int>(machine.Send(format, {}).outcome) << ' ' << machine.PinThisThread(60000)
       << ' ' << machine.LockMemory(4096).error << ' ' << (machine.Chance() != machine.Chance())
       << ' ' << machine.LeftBehind() << '\n';
}

std::string Expected(int memoryError) {
  return "/value: 17\n /link: 17\n /none: none /folder: none value 10\n"
         "folder link value /value\n"
         "0/0 1048576 4096 0:0 1:0 2/2\n"
         "none00 one two 1022\n"
         "1 1 22 " +
         std::to_string(memoryError) + " 1 0\n";
}

class LiveContract : public testing::Test {
 protected:
  LiveContract() {
    root_.Write("value", "17\n");
    std::filesystem::create_symlink("value", root_ / "link");
    std::filesystem::create_directory(root_ / "folder");
  }

  std::unique_ptr<KeptMachine> Live() const {
    return machine::MakeLiveMachine(
        {.root = root_.Path(),
         .stateFolder =
             tarvex::Descriptor(open(state_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
         .filesMayBeDrives = true});
  }

  std::string Seen(KeptMachine& machine) const {
    std::ostringstream seen;
    SeeAll(machine, disk_.Path(), seen);
    return seen.str();
  }

  const TestFolder root_;
  const TestFolder state_;
  const machine::DiskFile disk_;
};

TEST_F(LiveContract, TheLiveMachineKeepsIt) {
  EXPECT_EQ(Seen(*Live()), Expected(0));
}

TEST_F(LiveContract, SoDoItsRecordingAndTheReplay) {
  const TestTape tape;
  EXPECT_EQ(Seen(*tape.Record(Live())), Expected(0));
  EXPECT_EQ(Seen(*tape.Replay()), Expected(sdk::kNotRecorded));
}

TEST_F(LiveContract, SoDoesTheOneInMemory) {
  sdk::testing::FaultyMachine faulty(std::make_unique<sdk::testing::CapturedFiles>(
      "f /value 17\\x0a\nl /link value\nd /folder\n"));
  faulty.disks[disk_.Path()].medium = std::make_shared<sdk::testing::MemoryDisk>(
      sdk::BlockGeometry{machine::kSectors * machine::kSector, machine::kSector, machine::kSector});
  EXPECT_EQ(Seen(faulty), Expected(0));
}

}  // namespace
}  // namespace orvan
